// Which points of a sphere are probed, and where the machine moves for it.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

namespace cmm {

/// A sphere with a known form error: its radius differs by amplitude x cos(lobes x azimuth) x cos(latitude).
struct SpherePart {
    Eigen::Vector3d centre{100, 80, 50};  // mm
    double radius = 15;                   // mm, tip radius included
    double formAmplitude = 0.004;         // mm
    int formLobes = 3;

    /// Distance of the surface from the centre along a unit vector.
    double SurfaceAt(const Eigen::Vector3d &direction) const;
};

/// One point to probe.
struct ProbingPoint {
    uint32_t id;                // 1, 2, ...
    Eigen::Vector3d direction;  // from the centre, unit length
    Eigen::Vector3d nominal;    // on the nominal sphere
    Eigen::Vector3d surface;    // on the part with its form error: where the tip should touch
};

/// Points on latitude rings from the pole, which is reached from above, to the equator: 1, 5, 8, 10 and 12.
std::vector<ProbingPoint> PlanSphere(const SpherePart &part);

}  // namespace cmm
