// The nominal shape of a part.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "part.h"

namespace cmm {

/// One point to probe.
struct ProbingPoint {
    uint32_t id;                // 1, 2, ...
    Eigen::Vector3d nominal;    // where the tip's centre should be when it touches, mm
    Eigen::Vector3d direction;  // out of the material, unit length
};

enum class Shape { Sphere, Plane, Circle, Cylinder, Points };

/// A nominal shape, in mm. The tip's radius is included: added to a radius that is touched from outside, taken from that
/// of a bore.
struct Geometry {
    Shape shape = Shape::Sphere;
    Eigen::Vector3d centre{100, 80, 50};  // of a circle, a cylinder or a plane: the middle of its size
    Eigen::Vector3d axis{0, 0, 1};  // of a circle or a cylinder, or a plane's normal; unit length. A bore is
                                    // entered from where it points to
    double radius = 15;
    double length = 40;  // of a cylinder along its axis, of a bore that a circle is in, of a plane
    double width = 40;   // of a plane
    bool bore = false;   // a circle or a cylinder is touched from inside
    std::vector<ProbingPoint> points;  // Shape::Points: the list
};

/// "sphere", "plane", "circle", "cylinder", "points".
const std::vector<std::pair<std::string, Shape>> &ShapeNames();
std::string NameOf(Shape shape);

/// Two unit vectors across the axis, as of emulator::AxesAcross.
std::pair<Eigen::Vector3d, Eigen::Vector3d> AxesAcross(const Eigen::Vector3d &axis);

/// Distance of a place from the nominal material, negative inside it; large where the shape is a list of points.
double Distance(const Geometry &geometry, const Eigen::Vector3d &place);

/// Z of the highest place of the nominal shape.
double TopOf(const Geometry &geometry);

/// The part for an emulated table. `formError`: largest less smallest deviation, mm. A list of points is taken to lie on a
/// sphere.
std::shared_ptr<const emulator::Part> EmulatedPart(const Geometry &geometry, double formError);

emulator::Vector ToPart(const Eigen::Vector3d &v);
Eigen::Vector3d FromPart(const emulator::Vector &v);

}  // namespace cmm
