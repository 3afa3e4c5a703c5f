#include "part.h"

#include <algorithm>

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

}  // namespace emulator
