#include "measure/plan.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <numbers>

#include "machine/failure.h"

namespace cmm {
namespace {

using Eigen::Vector3d;

constexpr struct {
    double latitude;  // degrees
    int points;
} kSphereRings[] = {{90, 1}, {75, 5}, {50, 8}, {25, 10}, {0, 12}};

constexpr double kCylinderRings[] = {0.4, 0, -0.4};  // of the length, from its middle

constexpr size_t kMostPoints = 65000;  // below the ids that the library takes

double Radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

void Add(std::vector<ProbingPoint> &plan, const Vector3d &nominal, const Vector3d &direction) {
    plan.push_back({static_cast<uint32_t>(plan.size() + 1), nominal, direction});
}

void AddSphere(std::vector<ProbingPoint> &plan, const Geometry &geometry) {
    for (const auto &ring : kSphereRings) {
        const double latitude = Radians(ring.latitude);
        for (int i = 0; i < ring.points; ++i) {
            const double azimuth = Radians(360.0 * i / ring.points);
            const Vector3d direction(std::cos(latitude) * std::cos(azimuth),
                                     std::cos(latitude) * std::sin(azimuth), std::sin(latitude));
            Add(plan, geometry.centre + geometry.radius * direction, direction);
        }
    }
}

void AddPlane(std::vector<ProbingPoint> &plan, const Geometry &geometry, int count) {
    const auto [along, across] = AxesAcross(geometry.axis);
    const double wanted = std::sqrt(count * geometry.width / geometry.length);
    const int rows = std::max(2, static_cast<int>(std::lround(wanted)));
    const int columns = std::max(2, (count + rows - 1) / rows);
    for (int row = 0; row < rows; ++row) {
        const double v = geometry.width * (static_cast<double>(row) / (rows - 1) - 0.5);
        for (int i = 0; i < columns; ++i) {
            const int column = row % 2 == 0 ? i : columns - 1 - i;
            const double u = geometry.length * (static_cast<double>(column) / (columns - 1) - 0.5);
            Add(plan, geometry.centre + u * along + v * across, geometry.axis);
        }
    }
}

void AddRing(std::vector<ProbingPoint> &plan, const Geometry &geometry, double height, int count) {
    const auto [first, second] = AxesAcross(geometry.axis);
    for (int i = 0; i < count; ++i) {
        const double angle = Radians(360.0 * i / count);
        const Vector3d outward = std::cos(angle) * first + std::sin(angle) * second;
        Add(plan, geometry.centre + height * geometry.axis + geometry.radius * outward,
            geometry.bore ? Vector3d(-outward) : outward);
    }
}

std::vector<double> Numbers(const std::string &line) {
    std::vector<double> numbers;
    const char *at = line.data();
    const char *const end = at + line.size();
    while (at != end) {
        if (std::string(",;\t \r").find(*at) != std::string::npos) {
            ++at;
            continue;
        }
        double number = 0;
        const auto [after, error] = std::from_chars(at, end, number);
        if (error != std::errc()) return {};
        numbers.push_back(number);
        at = after;
    }
    return numbers;
}

[[noreturn]] void RefuseLine(const std::string &path, int number, const std::string &line) {
    std::string cause = path;
    cause.append(", line ").append(std::to_string(number)).append(": '").append(line).append("'");
    throw Failure(
        kBadArguments, cause,
        "A line is six numbers: X Y Z of the point, and I J K of the direction out of the material.");
}

// Bends the straight way away from the material, as often as it takes.
void Bend(const Geometry &geometry, double clearance, const Vector3d &from, const Vector3d &to, int depth,
          std::vector<Vector3d> &way) {
    constexpr int kSamples = 16;
    constexpr double kStep = 1e-4;
    double nearest = clearance;
    for (int i = 1; i < kSamples; ++i) {
        nearest = std::min(nearest, Distance(geometry, from + (to - from) * i / kSamples));
    }
    if (nearest >= clearance / 2 || depth == 0) return;
    Vector3d middle = (from + to) / 2;
    Vector3d outward = Vector3d::Zero();
    for (int axis = 0; axis < 3; ++axis) {
        const Vector3d step = kStep * Vector3d::Unit(axis);
        outward[axis] = Distance(geometry, middle + step) - Distance(geometry, middle - step);
    }
    // In the middle of the material every way out is as good as another.
    if (outward.norm() < kStep) outward = AxesAcross((to - from).normalized()).first;
    middle += (clearance - Distance(geometry, middle)) * outward.normalized();
    Bend(geometry, clearance, from, middle, depth - 1, way);
    way.push_back(middle);
    Bend(geometry, clearance, middle, to, depth - 1, way);
}

}  // namespace

std::vector<ProbingPoint> Plan(const Geometry &geometry, int count) {
    std::vector<ProbingPoint> plan;
    const int rings = static_cast<int>(std::size(kCylinderRings));
    switch (geometry.shape) {
        case Shape::Sphere:
            AddSphere(plan, geometry);
            break;
        case Shape::Plane:
            AddPlane(plan, geometry, count);
            break;
        case Shape::Circle:
            AddRing(plan, geometry, 0, count);
            break;
        case Shape::Cylinder:
            for (const double share : kCylinderRings) {
                AddRing(plan, geometry, share * geometry.length, (count + rings - 1) / rings);
            }
            break;
        case Shape::Points:
            return geometry.points;
    }
    return plan;
}

std::vector<ProbingPoint> ReadPoints(const std::string &path) {
    std::ifstream file(path);
    std::vector<ProbingPoint> points;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        const std::vector<double> values = Numbers(line);
        if (values.empty() && points.empty() && number == 1) continue;
        if (values.size() != 6) RefuseLine(path, number, line);
        const Vector3d nominal(values[0], values[1], values[2]), direction(values[3], values[4], values[5]);
        if (!nominal.allFinite() || !direction.allFinite() || direction.norm() == 0)
            RefuseLine(path, number, line);
        Add(points, nominal, direction.normalized());
    }
    if (points.empty()) throw Failure(kBadArguments, path + " holds no points");
    if (points.size() > kMostPoints) throw Failure(kBadArguments, path + " holds too many points");
    return points;
}

Vector3d SafePlace(const Geometry &geometry, const Approach &approach) {
    Vector3d place = geometry.centre;
    if (geometry.shape == Shape::Points) {
        place.setZero();
        for (const ProbingPoint &point : geometry.points) {
            place += point.nominal / static_cast<double>(geometry.points.size());
        }
    }
    place.z() = TopOf(geometry) + approach.retract;
    return place;
}

std::vector<Vector3d> WayIn(const Geometry &geometry, const Approach &approach, const Vector3d &outside) {
    const double height = TopOf(geometry) + approach.retract;
    const auto above = [height](const Vector3d &place) { return Vector3d(place.x(), place.y(), height); };
    if (geometry.bore) {
        const Vector3d mouth = geometry.centre + (geometry.length / 2 + approach.clearance) * geometry.axis;
        const Vector3d arm = outside - geometry.centre;
        return {above(mouth), mouth, geometry.centre + arm.dot(geometry.axis) * geometry.axis};
    }
    std::vector<Vector3d> way = {above(outside)};
    Bend(geometry, approach.clearance, way.front(), outside, 6, way);
    return way;
}

std::vector<Vector3d> WayAlong(const Geometry &geometry, const Approach &approach, const Vector3d &from,
                               const Vector3d &to) {
    std::vector<Vector3d> way;
    if (geometry.shape == Shape::Points) {
        // Nothing is known of what stands between: over it.
        const double height = TopOf(geometry) + approach.retract;
        return {{from.x(), from.y(), height}, {to.x(), to.y(), height}};
    }
    Bend(geometry, approach.clearance, from, to, 6, way);
    return way;
}

}  // namespace cmm
