// ReQualify: where the active tool's tip is in each of its orientations, and how thick it is, by the reference sphere.
#include <Eigen/Geometry>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "dme/server.h"

namespace cmm::dme {
namespace {

constexpr double kAboveEquator = 20 * std::numbers::pi / 180;  // clear of the stem that bears the sphere
constexpr int kAround = 4;

struct Sphere {
    Eigen::Vector3d centre;
    double radius;
};

/// The sphere through four points or more, by least squares; none through points that do not tell one.
std::optional<Sphere> FitSphere(const std::vector<Eigen::Vector3d> &points) {
    Eigen::MatrixXd rows(points.size(), 4);
    Eigen::VectorXd squares(points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        const auto row = static_cast<Eigen::Index>(i);
        const Eigen::Vector3d seen = points[i] - points[0];
        rows.row(row) << 2 * seen.transpose(), 1;
        squares[row] = seen.squaredNorm();
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> solver(rows);
    if (solver.rank() < 4) return std::nullopt;
    const Eigen::Vector4d solution = solver.solve(squares);
    const Eigen::Vector3d centre = solution.head<3>();
    return Sphere{centre + points[0], std::sqrt(std::max(0.0, solution[3] + centre.squaredNorm()))};
}

}  // namespace

struct Server::Qualification {
    size_t orientation = 0;
    double a, b;  // of the head, before
    std::vector<Orientation> found{};
    std::vector<Eigen::Vector3d> touched{};
};

void Server::ReQualify(const TransactionPtr &transaction) {
    if (!(setup_.sphereRadius > 0))
        return Fail(transaction, ErrorNumber::UnsupportedCommand, "no reference sphere");
    const auto qualification = std::make_shared<Qualification>();
    qualification->a = angleA_;
    qualification->b = angleB_;
    QualifyNext(transaction, qualification);
}

/// Touches the pole that the tool looks at, then around it; each way from one to the next leads over the pole.
void Server::QualifyNext(const TransactionPtr &transaction,
                         const std::shared_ptr<Qualification> &qualification) {
    const Tool &tool = tools_.Active();
    const auto nothing = [](const Outcome &) {};
    if (qualification->orientation == tool.orientations.size())
        return FinishQualification(transaction, qualification);
    const Orientation orientation = tool.orientations[qualification->orientation];
    qualification->touched.clear();
    const Tip tip = Toolbox::TipOf(tool, orientation.a, orientation.b);
    const ToolParameters &parameters = tool.parameters;
    const Motion travel{parameters.goToSpeed.actual, parameters.goToAccel.actual};
    const double contact = setup_.sphereRadius + orientation.radius;
    const double outside = contact + parameters.ptMeasApproach.actual;
    const Eigen::Vector3d up = tip.axes.col(2);
    const auto at = [&](const Eigen::Vector3d &direction, double distance) {
        return Eigen::Vector3d(setup_.sphereCentre + distance * direction - tip.offset);
    };

    std::vector<ProbeOrder> probes;
    std::vector<Eigen::Vector3d> corners;
    for (int i = 0; i <= kAround; ++i) {
        const double turn = 2 * std::numbers::pi * i / kAround;
        const Eigen::Vector3d aside = std::cos(turn) * tip.axes.col(0) + std::sin(turn) * tip.axes.col(1);
        const Eigen::Vector3d direction =
            i == 0 ? up : Eigen::Vector3d(std::cos(kAboveEquator) * aside + std::sin(kAboveEquator) * up);
        const Eigen::Vector3d corner = direction + up;
        corners.push_back(at(corner.normalized(), outside * 2 / corner.norm()));
        ProbeOrder order;
        order.approach = at(direction, outside);
        order.nominal = at(direction, contact);
        order.searchEnd = at(direction, contact - parameters.ptMeasSearch.actual);
        order.direction = direction;
        order.retract = -1;
        order.travel = travel;
        order.search = {parameters.ptMeasSpeed.actual, parameters.ptMeasAccel.actual};
        probes.push_back(order);
        if (!IsWithinLimits(order.approach) || !IsWithinLimits(order.searchEnd) ||
            !IsWithinLimits(corners.back()))
            return Fail(transaction, ErrorNumber::Limit);
    }
    if (tool.onHead) machine_.TurnHead(NewOrder(transaction, nothing), orientation.a, orientation.b);
    angleA_ = orientation.a;
    angleB_ = orientation.b;
    for (size_t i = 0; i < probes.size(); ++i) {
        if (i > 0) machine_.Move(NewOrder(transaction, nothing), {corners[i], travel});
        const OrderNumber number = NewOrder(transaction, [qualification](const Outcome &outcome) {
            qualification->touched.push_back(outcome.touched);
        });
        machine_.Probe(number, probes[i]);
        if (i > 0) machine_.Move(NewOrder(transaction, nothing), {corners[i], travel});
        if (i > 0) machine_.Move(NewOrder(transaction, nothing), {probes[0].approach, travel});
    }
    place_ = probes[0].approach;
    machine_.Await(NewOrder(transaction, [this, transaction, qualification, orientation](const Outcome &) {
        const auto sphere = FitSphere(qualification->touched);
        if (!sphere || !(sphere->radius > setup_.sphereRadius))
            return Fail(transaction, ErrorNumber::NotCalibrated);
        qualification->found.push_back({orientation.a, orientation.b, setup_.sphereCentre - sphere->centre,
                                        sphere->radius - setup_.sphereRadius});
        ++qualification->orientation;
        QualifyNext(transaction, qualification);
    }));
}

/// The tool is changed only when all its orientations are known.
void Server::FinishQualification(const TransactionPtr &transaction,
                                 const std::shared_ptr<Qualification> &qualification) {
    tools_.Active().orientations = qualified_[tools_.Active().name] = qualification->found;
    TellChangedPlace();
    if (!tools_.Active().onHead || (qualification->a == angleA_ && qualification->b == angleB_))
        return End(transaction);
    angleA_ = qualification->a;
    angleB_ = qualification->b;
    machine_.TurnHead(NewOrder(transaction, [this, transaction](const Outcome &) { End(transaction); }),
                      angleA_, angleB_);
}

}  // namespace cmm::dme
