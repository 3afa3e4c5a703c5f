// The parametrisations are those of Forbes, "Least-squares best-fit geometric elements" (NPL report DITC 140/89): distances
// and their derivatives in a frame that lies in the present element, found anew in each step of Gauss-Newton.
#include "measure/fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace cmm {
namespace {

using Eigen::MatrixXd;
using Eigen::Vector3d;
using Eigen::VectorXd;

constexpr int kIterations = 50;
constexpr double kConverged = 1e-12;  // length of a step, relative to the size of the shape

VectorXd Solve(const MatrixXd &matrix, const VectorXd &right, const char *shape) {
    const Eigen::ColPivHouseholderQR<MatrixXd> decomposition(matrix);
    if (decomposition.rank() < matrix.cols())
        throw std::invalid_argument(std::string("the points do not determine a ") + shape);
    return decomposition.solve(right);
}

void NeedPoints(const std::vector<Vector3d> &points, size_t least, const char *shape) {
    if (points.size() < least)
        throw std::invalid_argument(std::string("a ") + shape + " needs " + std::to_string(least) +
                                    " points");
}

Vector3d Mean(const std::vector<Vector3d> &points) {
    Vector3d mean = Vector3d::Zero();
    for (const Vector3d &point : points) mean += point / static_cast<double>(points.size());
    return mean;
}

void SetForm(Fit &fit) {
    const auto [least, most] = std::minmax_element(fit.deviations.begin(), fit.deviations.end());
    fit.form = *most - *least;
}

// Sphere or circle, of `n` coordinates, from |p|^2 = 2 c.p + (r^2 - |c|^2), which is linear in c and the bracket. Points
// are columns, taken about their mean for the sake of digits.
std::pair<VectorXd, double> AlgebraicFit(const MatrixXd &points, const char *shape) {
    const Eigen::Index n = points.rows();
    MatrixXd matrix(points.cols(), n + 1);
    matrix << 2 * points.transpose(), VectorXd::Ones(points.cols());
    const VectorXd x = Solve(matrix, points.colwise().squaredNorm().transpose(), shape);
    const VectorXd centre = x.head(n);
    return {centre, std::sqrt(x(n) + centre.squaredNorm())};
}

// The same with the least sum of squared distances.
std::pair<VectorXd, double> GeometricFit(const MatrixXd &points, const char *shape) {
    auto [centre, radius] = AlgebraicFit(points, shape);
    const Eigen::Index n = points.rows();
    for (int iteration = 0; iteration < kIterations; ++iteration) {
        MatrixXd jacobian(points.cols(), n + 1);
        VectorXd residual(points.cols());
        for (Eigen::Index i = 0; i < points.cols(); ++i) {
            const VectorXd arm = points.col(i) - centre;
            jacobian.row(i) << -arm.normalized().transpose(), -1;
            residual(i) = arm.norm() - radius;
        }
        const VectorXd step = Solve(jacobian, -residual, shape);
        centre += step.head(n);
        radius += step(n);
        if (step.norm() < kConverged * radius) break;
    }
    return {centre, radius};
}

// Coordinates of the points in the frame of two directions across an axis and the axis itself, about `origin`.
MatrixXd InFrame(const std::vector<Vector3d> &points, const Vector3d &origin, const Vector3d &axis) {
    const auto [first, second] = AxesAcross(axis);
    MatrixXd local(3, static_cast<Eigen::Index>(points.size()));
    for (size_t i = 0; i < points.size(); ++i) {
        const Vector3d arm = points[i] - origin;
        local.col(static_cast<Eigen::Index>(i)) << arm.dot(first), arm.dot(second), arm.dot(axis);
    }
    return local;
}

}  // namespace

Fit FitSphere(const std::vector<Vector3d> &points) {
    NeedPoints(points, 4, "sphere");
    const Vector3d mean = Mean(points);
    const auto [centre, radius] = GeometricFit(InFrame(points, mean, Vector3d::UnitZ()), "sphere");
    Fit fit;
    fit.centre = mean + centre;
    fit.radius = radius;
    for (const Vector3d &point : points) fit.deviations.push_back((point - fit.centre).norm() - radius);
    SetForm(fit);
    return fit;
}

Fit FitPlane(const std::vector<Vector3d> &points, const Vector3d &normal) {
    NeedPoints(points, 3, "plane");
    constexpr double kFlat = 1e-9;  // of the second extent to the first: the points lie on a line
    Fit fit;
    fit.centre = Mean(points);
    const MatrixXd arms = InFrame(points, fit.centre, Vector3d::UnitZ());
    const Eigen::JacobiSVD<MatrixXd> decomposition(arms, Eigen::ComputeFullU);
    const VectorXd &extents = decomposition.singularValues();
    if (!(extents(1) > kFlat * extents(0)))
        throw std::invalid_argument("the points do not determine a plane");
    fit.axis = decomposition.matrixU().col(2);
    if (fit.axis.dot(normal) < 0) fit.axis = -fit.axis;
    for (const Vector3d &point : points) fit.deviations.push_back((point - fit.centre).dot(fit.axis));
    SetForm(fit);
    return fit;
}

Fit FitCircle(const std::vector<Vector3d> &points, const Vector3d &normal) {
    NeedPoints(points, 3, "circle");
    const Vector3d mean = Mean(points);
    const MatrixXd local = InFrame(points, mean, normal).topRows(2);
    const auto [centre, radius] = GeometricFit(local, "circle");
    const auto [first, second] = AxesAcross(normal);
    Fit fit;
    fit.centre = mean + centre(0) * first + centre(1) * second;
    fit.axis = normal;
    fit.radius = radius;
    for (Eigen::Index i = 0; i < local.cols(); ++i)
        fit.deviations.push_back((local.col(i) - centre).norm() - radius);
    SetForm(fit);
    return fit;
}

Fit FitCylinder(const std::vector<Vector3d> &points, const Vector3d &axis) {
    NeedPoints(points, 5, "cylinder");
    const Vector3d mean = Mean(points);
    Fit fit = FitCircle(points, axis);
    const auto count = static_cast<Eigen::Index>(points.size());
    // Unknowns: the axis's place across it, its tilt, the radius.
    for (int iteration = 0; iteration < kIterations; ++iteration) {
        const MatrixXd local = InFrame(points, fit.centre, fit.axis);
        MatrixXd jacobian(count, 5);
        VectorXd residual(count);
        for (Eigen::Index i = 0; i < count; ++i) {
            const double x = local(0, i), y = local(1, i), z = local(2, i);
            const double distance = std::hypot(x, y);
            jacobian.row(i) << -x / distance, -y / distance, -x * z / distance, -y * z / distance, -1;
            residual(i) = distance - fit.radius;
        }
        const VectorXd step = Solve(jacobian, -residual, "cylinder");
        const auto [first, second] = AxesAcross(fit.axis);
        fit.centre += step(0) * first + step(1) * second;
        fit.axis = (fit.axis + step(2) * first + step(3) * second).normalized();
        fit.radius += step(4);
        fit.centre += (mean - fit.centre).dot(fit.axis) * fit.axis;
        if (step.norm() < kConverged * fit.radius) break;
    }
    const MatrixXd local = InFrame(points, fit.centre, fit.axis);
    fit.deviations.clear();
    for (Eigen::Index i = 0; i < count; ++i)
        fit.deviations.push_back(std::hypot(local(0, i), local(1, i)) - fit.radius);
    SetForm(fit);
    return fit;
}

Fit FitShape(const Geometry &geometry, const std::vector<ProbingPoint> &plan,
             const std::vector<Vector3d> &points) {
    switch (geometry.shape) {
        case Shape::Sphere:
            return FitSphere(points);
        case Shape::Plane:
            return FitPlane(points, geometry.axis);
        case Shape::Circle:
            return FitCircle(points, geometry.axis);
        case Shape::Cylinder:
            return FitCylinder(points, geometry.axis);
        case Shape::Points:
            break;
    }
    Fit fit;
    for (size_t i = 0; i < points.size(); ++i)
        fit.deviations.push_back((points[i] - plan[i].nominal).dot(plan[i].direction));
    SetForm(fit);
    return fit;
}

}  // namespace cmm
