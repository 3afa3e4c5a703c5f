#include "measure/sphere_fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace cmm {
namespace {

constexpr int kIterations = 20;
constexpr double kConverged = 1e-12;  // length of a step, relative to the radius

Eigen::Vector4d Solve(const Eigen::MatrixX4d &matrix, const Eigen::VectorXd &right) {
    const Eigen::ColPivHouseholderQR<Eigen::MatrixX4d> decomposition(matrix);
    if (decomposition.rank() < 4) throw std::invalid_argument("the points do not determine a sphere");
    return decomposition.solve(right);
}

// |p|^2 = 2 c.p + (r^2 - |c|^2), linear in c and the bracket. Points are taken about their mean, for the sake
// of digits.
SphereFit AlgebraicFit(const std::vector<Eigen::Vector3d> &points, const Eigen::Vector3d &mean) {
    const auto count = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixX4d matrix(count, 4);
    Eigen::VectorXd right(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        const Eigen::Vector3d p = points[static_cast<size_t>(i)] - mean;
        matrix.row(i) << 2 * p.transpose(), 1;
        right(i) = p.squaredNorm();
    }
    const Eigen::Vector4d x = Solve(matrix, right);
    const Eigen::Vector3d centre = x.head<3>();
    return {mean + centre, std::sqrt(x(3) + centre.squaredNorm()), {}, 0};
}

}  // namespace

SphereFit FitSphere(const std::vector<Eigen::Vector3d> &points) {
    if (points.size() < 4) throw std::invalid_argument("a sphere needs four points");
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    for (const Eigen::Vector3d &point : points) mean += point / static_cast<double>(points.size());
    SphereFit fit = AlgebraicFit(points, mean);
    const auto count = static_cast<Eigen::Index>(points.size());
    for (int iteration = 0; iteration < kIterations; ++iteration) {
        Eigen::MatrixX4d jacobian(count, 4);
        Eigen::VectorXd residual(count);
        for (Eigen::Index i = 0; i < count; ++i) {
            const Eigen::Vector3d arm = points[static_cast<size_t>(i)] - fit.centre;
            jacobian.row(i) << -arm.normalized().transpose(), -1;
            residual(i) = arm.norm() - fit.radius;
        }
        const Eigen::Vector4d step = Solve(jacobian, -residual);
        fit.centre += step.head<3>();
        fit.radius += step(3);
        if (step.norm() < kConverged * fit.radius) break;
    }
    for (const Eigen::Vector3d &point : points)
        fit.deviations.push_back((point - fit.centre).norm() - fit.radius);
    const auto [least, most] = std::minmax_element(fit.deviations.begin(), fit.deviations.end());
    fit.form = *most - *least;
    return fit;
}

}  // namespace cmm
