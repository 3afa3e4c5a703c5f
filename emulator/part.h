// What stands on the machine's table.
#pragma once

#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

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

/// A plate whose top has its middle in `centre` and the unit vector `normal`. The top is formAmplitude x cos(2 pi u /
/// length) x cos(2 pi v / width) higher than a plane, with u and v along AxesAcross(normal); a rim of kRim goes on
/// beyond length and width.
class PlatePart final : public Part {
  public:
    static constexpr double kRim = 5;
    static constexpr double kThickness = 10;

    Vector centre{100, 80, 50};
    Vector normal{0, 0, 1};
    double length = 60;
    double width = 40;
    double formAmplitude = 0.004;

    double Distance(const Vector &point) const override;
};

/// A cylinder, or the bore of a ring with a wall of kWall, about `centre`, the middle of its length. Its radius differs by
/// formAmplitude x cos(formLobes x angle), with the angle from the first of AxesAcross(axis) to the second. Tip radius
/// included.
class CylinderPart final : public Part {
  public:
    static constexpr double kWall = 15;

    Vector centre{100, 80, 50};
    Vector axis{0, 0, 1};  // unit length
    double radius = 15;
    double length = 40;
    bool bore = false;
    double formAmplitude = 0.004;
    int formLobes = 3;

    double Distance(const Vector &point) const override;
};

/// Two unit vectors at right angles to a unit vector and to each other; of (0, 0, 1) they are X and Y.
std::pair<Vector, Vector> AxesAcross(const Vector &direction);

}  // namespace emulator
