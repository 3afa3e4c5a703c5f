// Least-squares shapes through measured points.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "measure/shape.h"

namespace cmm {

/// A shape with the least sum of squared distances. Lengths in the points' unit.
struct Fit {
    Eigen::Vector3d centre =
        Eigen::Vector3d::Zero();  // of a plane or an axis: the place next to the points' mean
    Eigen::Vector3d axis =
        Eigen::Vector3d::UnitZ();  // of a circle or a cylinder, or a plane's normal; unit length
    double radius = 0;
    std::vector<double> deviations;  // of each point, positive away from centre, axis or material
    double form = 0;                 // largest less smallest deviation
};

/// All throw std::invalid_argument for points that do not determine the shape: fewer than four of a sphere, three of a
/// plane or a circle, five of a cylinder, or points that lie as those of another shape would.
Fit FitSphere(const std::vector<Eigen::Vector3d> &points);
/// `normal`: to which side the normal points.
Fit FitPlane(const std::vector<Eigen::Vector3d> &points, const Eigen::Vector3d &normal);
/// In the plane across `normal`, unit length: what points deviate along it does not count.
Fit FitCircle(const std::vector<Eigen::Vector3d> &points, const Eigen::Vector3d &normal);
/// `axis`: about where the axis points, within some 30 degrees; unit length.
Fit FitCylinder(const std::vector<Eigen::Vector3d> &points, const Eigen::Vector3d &axis);

/// The fit of the geometry's shape. A list of points is not fitted: each deviates along its direction.
Fit FitShape(const Geometry &geometry, const std::vector<ProbingPoint> &plan,
             const std::vector<Eigen::Vector3d> &points);

}  // namespace cmm
