// Which points of a sphere are probed, and where the machine moves for it.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "part.h"

namespace cmm {

using emulator::SpherePart;

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
