// What stands on the machine's table.
#pragma once

#include <array>
#include <cmath>
#include <memory>
#include <optional>

namespace emulator {

/// Millimetres, or a direction.
using Vector = std::array<double, 3>;

inline Vector operator+(const Vector &a, const Vector &b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vector operator-(const Vector &a, const Vector &b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vector operator*(double s, const Vector &a) {
    return {s * a[0], s * a[1], s * a[2]};
}
inline double Dot(const Vector &a, const Vector &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline double Length(const Vector &a) {
    return std::sqrt(Dot(a, a));
}

class Part {
  public:
    virtual ~Part() = default;

    /// Distance of a point from the surface in millimetres, negative inside; near the surface right to first
    /// order.
    virtual double Distance(const Vector &point) const = 0;

    /// The first point at which the way from `from` to `to` touches the part, or nothing.
    std::optional<Vector> Touch(const Vector &from, const Vector &to) const;
};

/// A sphere whose radius differs by formAmplitude x cos(formLobes x azimuth) x cos(latitude). Tip radius
/// included.
class SpherePart final : public Part {
  public:
    Vector centre{100, 80, 50};
    double radius = 15;
    double formAmplitude = 0.004;
    int formLobes = 3;

    /// Distance of the surface from the centre along a unit vector.
    double SurfaceAt(const Vector &direction) const;
    double Distance(const Vector &point) const override;
};

/// Everything below a plane through `origin` with the unit vector `normal`.
class PlanePart final : public Part {
  public:
    Vector origin{0, 0, 0};
    Vector normal{0, 0, 1};

    double Distance(const Vector &point) const override { return Dot(point - origin, normal); }
};

}  // namespace emulator
