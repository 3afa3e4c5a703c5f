// Least-squares sphere.
#pragma once

#include <Eigen/Core>
#include <vector>

namespace cmm {

struct SphereFit {
    Eigen::Vector3d centre;
    double radius;
    std::vector<double> deviations;  // distance of each point from the sphere, outside positive
    double form;                     // largest less smallest deviation
};

/// The sphere with the least sum of squared distances, by Gauss-Newton from the algebraic fit. At least four
/// points that do not lie in one plane; throws std::invalid_argument otherwise.
SphereFit FitSphere(const std::vector<Eigen::Vector3d> &points);

}  // namespace cmm
