#include "part.h"

#include <algorithm>
#include <numbers>

namespace emulator {

std::optional<Vector> Part::Touch(const Vector &from, const Vector &to) const {
    // Steps of nearly the distance cannot jump over the surface; the shortest one ends the search on it.
    constexpr double kShortestStep = 1e-6;
    constexpr double kShare = 0.9;
    const double length = Length(to - from);
    for (double way = 0; way <= length;) {
        const Vector point = length > 0 ? from + (way / length) * (to - from) : from;
        const double distance = Distance(point);
        if (distance <= kShortestStep) return point;
        way += std::max(kShare * distance, kShortestStep);
    }
    return std::nullopt;
}

double SpherePart::SurfaceAt(const Vector &direction) const {
    const double azimuth = std::atan2(direction[1], direction[0]);
    return radius + formAmplitude * std::cos(formLobes * azimuth) * std::hypot(direction[0], direction[1]);
}

double SpherePart::Distance(const Vector &point) const {
    const Vector arm = point - centre;
    const double length = Length(arm);
    return length > 0 ? length - SurfaceAt((1 / length) * arm) : -radius;
}

std::pair<Vector, Vector> AxesAcross(const Vector &direction) {
    // From X, or from Y where X is nearly the direction itself.
    const Vector start = std::abs(direction[0]) < 0.9 ? Vector{1, 0, 0} : Vector{0, 1, 0};
    const Vector across = start - Dot(start, direction) * direction;
    const Vector first = (1 / Length(across)) * across;
    const Vector second{direction[1] * first[2] - direction[2] * first[1],
                        direction[2] * first[0] - direction[0] * first[2],
                        direction[0] * first[1] - direction[1] * first[0]};
    return {first, second};
}

double PlatePart::Distance(const Vector &point) const {
    constexpr double kTurn = 2 * std::numbers::pi;
    const auto [along, across] = AxesAcross(normal);
    const Vector arm = point - centre;
    const double u = Dot(arm, along), v = Dot(arm, across), height = Dot(arm, normal);
    const double top = formAmplitude * std::cos(kTurn * u / length) * std::cos(kTurn * v / width);
    return std::max({height - top, -kThickness - height, std::abs(u) - length / 2 - kRim,
                     std::abs(v) - width / 2 - kRim});
}

double CylinderPart::Distance(const Vector &point) const {
    const auto [first, second] = AxesAcross(axis);
    const Vector arm = point - centre;
    const double x = Dot(arm, first), y = Dot(arm, second);
    const double fromAxis = std::hypot(x, y);
    const double surface = radius + formAmplitude * std::cos(formLobes * std::atan2(y, x));
    const double beyondEnd = std::abs(Dot(arm, axis)) - length / 2;
    if (!bore) return std::max(fromAxis - surface, beyondEnd);
    return std::max({surface - fromAxis, fromAxis - radius - kWall, beyondEnd});
}

}  // namespace emulator
