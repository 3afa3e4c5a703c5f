#include "measure/probing_plan.h"

#include <cmath>
#include <numbers>

namespace cmm {
namespace {

constexpr struct {
    double latitude;  // degrees
    int points;
} kRings[] = {{90, 1}, {75, 5}, {50, 8}, {25, 10}, {0, 12}};

double Radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

}  // namespace

std::vector<ProbingPoint> PlanSphere(const SpherePart &part) {
    std::vector<ProbingPoint> points;
    const Eigen::Vector3d centre(part.centre[0], part.centre[1], part.centre[2]);
    for (const auto &ring : kRings) {
        const double latitude = Radians(ring.latitude);
        for (int i = 0; i < ring.points; ++i) {
            const double azimuth = Radians(360.0 * i / ring.points);
            const Eigen::Vector3d direction(std::cos(latitude) * std::cos(azimuth),
                                            std::cos(latitude) * std::sin(azimuth), std::sin(latitude));
            const double surface = part.SurfaceAt({direction.x(), direction.y(), direction.z()});
            points.push_back({static_cast<uint32_t>(points.size() + 1), direction,
                              centre + part.radius * direction, centre + surface * direction});
        }
    }
    return points;
}

}  // namespace cmm
