// Scanning: by the controller's scan in a plane, or point by point.
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "dme/server.h"

namespace cmm::dme {

/// One nominal point of a path in the client's coordinates, with the direction out of the material. The tip is led from
/// the one before through `via`, where a straight way would cut the part.
struct Server::PathPoint {
    Eigen::Vector3d nominal;
    Eigen::Vector3d direction;
    std::vector<Eigen::Vector3d> via{};  // of the tip
};

/// A scan in a plane, client's coordinates.
struct Server::Scanning {
    Eigen::Vector3d start, startDirection, target, normal, endDirection;
    double step;
};

namespace {

constexpr double kSquare = 1e-6;  // cosine: less is a right angle
constexpr size_t kMostPoints = 10000;
constexpr size_t kPointsALine = 10;

Eigen::Vector3d VectorAt(const std::vector<Argument> &numbers, size_t first) {
    return {numbers[first].number, numbers[first + 1].number, numbers[first + 2].number};
}

bool IsSquare(const Eigen::Vector3d &one, const Eigen::Vector3d &other) {
    return std::abs(one.stableNormalized().dot(other.stableNormalized())) < kSquare;
}

/// How many points lie on a way with a distance between them; none when there is no end of them.
std::optional<size_t> CountPoints(double way, double step) {
    const double steps = std::floor(way / step + 1e-9);
    if (!(step > 0) || !(steps < kMostPoints)) return std::nullopt;
    return static_cast<size_t>(steps) + 1;
}

/// Before version 1.4.3 the lists had no normal of the scan's plane, which then held the surface direction and the way to the
/// direction point; nor did the sphere have a number of passages. Result: the list as it is now; empty: it is neither.
std::vector<Argument> WithNormal(const std::vector<Argument> &numbers, size_t now, size_t passages = 0) {
    if (numbers.size() == now) return numbers;
    if (numbers.size() != now - (passages == 0 ? 3 : 4)) return {};
    const Eigen::Vector3d way = VectorAt(numbers, 6) - VectorAt(numbers, 0);
    const Eigen::Vector3d normal = way.cross(VectorAt(numbers, 3));
    std::vector<Argument> list = numbers;
    const auto insert = [&list](size_t at, double number) {
        Argument argument;
        argument.kind = Argument::Kind::Number;
        argument.number = number;
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), argument);
    };
    for (int axis = 2; axis >= 0; --axis) insert(6, normal[axis]);
    if (passages > 0) insert(passages, 1);
    return list;
}

}  // namespace

void Server::ScanOnCircle(const TransactionPtr &transaction) {
    const std::vector<Argument> &numbers = transaction->command.method.arguments;
    const Eigen::Vector3d centre = VectorAt(numbers, 0), arm = VectorAt(numbers, 3) - centre,
                          normal = VectorAt(numbers, 6);
    const double delta = numbers[9].number, step = numbers[11].number;
    const double surface = numbers[10].number * std::numbers::pi / 180;
    if (!(arm.norm() > 0) || !(normal.norm() > 0)) return Fail(transaction, ErrorNumber::NoNorm);
    const auto count = CountPoints(std::abs(delta), step);
    if (!IsSquare(arm, normal) || !count) return Fail(transaction, ErrorNumber::BadArgument);
    const double radius = ActiveTip().radius, clearance = tools_.Active().parameters.ptMeasApproach.actual;
    const double approach = radius + clearance;
    // A chord between approach points of an outside circle keeps half the clearance.
    const double bent = (arm.norm() + radius + clearance / 2) / (arm.norm() + approach);
    const double safe = std::acos(bent) * 360 / std::numbers::pi;
    const int pieces = static_cast<int>(std::ceil(std::min(step, 360.0) / std::max(safe, 1.0)));
    const auto at = [&](double degrees) {
        const Eigen::AngleAxisd turn(degrees * std::numbers::pi / 180, normal.stableNormalized());
        const Eigen::Vector3d x = turn * arm.stableNormalized();
        const Eigen::Vector3d direction =
            std::cos(surface) * x + std::sin(surface) * normal.stableNormalized();
        return PathPoint{centre + turn * arm, direction};
    };
    std::vector<PathPoint> path;
    for (size_t i = 0; i < *count; ++i) {
        PathPoint point = at(std::copysign(static_cast<double>(i) * step, delta));
        for (int piece = 1; i > 0 && piece < pieces; ++piece) {
            const double before = (static_cast<double>(i) - 1 + static_cast<double>(piece) / pieces) * step;
            const PathPoint between = at(std::copysign(before, delta));
            point.via.push_back(between.nominal + approach * between.direction);
        }
        path.push_back(point);
    }
    ScanByPoints(transaction, path);
}

void Server::ScanOnLine(const TransactionPtr &transaction) {
    const std::vector<Argument> &numbers = transaction->command.method.arguments;
    const Eigen::Vector3d start = VectorAt(numbers, 0), end = VectorAt(numbers, 3),
                          direction = VectorAt(numbers, 6);
    const Eigen::Vector3d way = end - start;
    const double step = numbers[9].number;
    if (!(way.norm() > 0) || !(direction.norm() > 0)) return Fail(transaction, ErrorNumber::NoNorm);
    const auto count = CountPoints(way.norm(), step);
    if (!IsSquare(way, direction) || !count) return Fail(transaction, ErrorNumber::BadArgument);
    if (machine_.Fitted().scanning)
        return ScanInPlane(transaction, {start, direction, end, direction.cross(way), direction, step});
    std::vector<PathPoint> path;
    for (size_t i = 0; i < *count; ++i)
        path.push_back({start + way.stableNormalized() * (static_cast<double>(i) * step), direction});
    ScanByPoints(transaction, path);
}

/// Everything is thought out first, so that a path that leaves the machine's limits moves nothing.
void Server::ScanByPoints(const TransactionPtr &transaction, const std::vector<PathPoint> &path) {
    std::vector<Probing> plans;
    std::vector<Eigen::Vector3d> vias;
    const Tip tip = ActiveTip();
    for (const PathPoint &point : path) {
        Probing plan;
        if (auto fault = PlanProbing(point.nominal, point.direction, plan))
            return transactions_.Fail(transaction, *fault);
        plan.order.retract = -1;
        plans.push_back(plan);
        for (const Eigen::Vector3d &via : point.via) {
            vias.push_back(coordinates_.ToMachine(via) - tip.offset);
            if (!IsWithinLimits(vias.back())) return Fail(transaction, ErrorNumber::Limit);
        }
    }
    const auto line = std::make_shared<std::string>();
    size_t nextVia = 0;
    for (size_t i = 0; i < plans.size(); ++i) {
        for (size_t j = 0; j < path[i].via.size(); ++j)
            machine_.Move(NewOrder(transaction, [](const Outcome &) {}),
                          {vias[nextVia++], plans[i].order.travel});
        const bool last = i + 1 == plans.size();
        const bool full = (i + 1) % kPointsALine == 0;
        Probe(transaction, plans[i], [this, transaction, line, last, full](const Reading &reading) {
            *line += (line->empty() ? "" : ", ") + scanReport_.FormatBare(reading, coordinates_);
            if (last || full) {
                Data(transaction, *line);
                line->clear();
            }
            if (last) End(transaction);
        });
    }
}

void Server::ScanInPlaneEndIsSphere(const TransactionPtr &transaction) {
    const std::vector<Argument> numbers = WithNormal(transaction->command.method.arguments, 21, 17);
    if (numbers.empty()) return Fail(transaction, ErrorNumber::IncorrectArguments, "number of arguments");
    if (numbers[17].number != 1) return Fail(transaction, ErrorNumber::NotSupported, "more than one passage");
    ScanInPlane(transaction, {VectorAt(numbers, 0), VectorAt(numbers, 3), VectorAt(numbers, 13),
                              VectorAt(numbers, 6), VectorAt(numbers, 18), numbers[12].number});
}

/// The controller ends at a target, so that is where the way to the direction point meets the stop plane.
void Server::ScanInPlaneEndIsPlane(const TransactionPtr &transaction) {
    const std::vector<Argument> numbers = WithNormal(transaction->command.method.arguments, 23);
    if (numbers.empty()) return Fail(transaction, ErrorNumber::IncorrectArguments, "number of arguments");
    if (numbers[19].number != 1) return Fail(transaction, ErrorNumber::NotSupported, "more than one passage");
    const Eigen::Vector3d start = VectorAt(numbers, 0), way = VectorAt(numbers, 9) - start;
    const Eigen::Vector3d point = VectorAt(numbers, 13), normal = VectorAt(numbers, 16);
    if (IsSquare(way, normal))
        return Fail(transaction, ErrorNumber::BadArgument, "the stop plane is not reached");
    const Eigen::Vector3d target = start + way * ((point - start).dot(normal) / way.dot(normal));
    ScanInPlane(transaction, {start, VectorAt(numbers, 3), target, VectorAt(numbers, 6),
                              VectorAt(numbers, 20), numbers[12].number});
}

/// The target is where the axis of the stop cylinder meets the plane of the scan.
void Server::ScanInPlaneEndIsCyl(const TransactionPtr &transaction) {
    const std::vector<Argument> numbers = WithNormal(transaction->command.method.arguments, 24);
    if (numbers.empty()) return Fail(transaction, ErrorNumber::IncorrectArguments, "number of arguments");
    if (numbers[20].number != 1) return Fail(transaction, ErrorNumber::NotSupported, "more than one passage");
    const Eigen::Vector3d start = VectorAt(numbers, 0), normal = VectorAt(numbers, 6);
    const Eigen::Vector3d point = VectorAt(numbers, 13), axis = VectorAt(numbers, 16);
    if (IsSquare(axis, normal))
        return Fail(transaction, ErrorNumber::BadArgument, "the stop cylinder is not reached");
    const Eigen::Vector3d target = point + axis * ((start - point).dot(normal) / axis.dot(normal));
    ScanInPlane(transaction,
                {start, VectorAt(numbers, 3), target, normal, VectorAt(numbers, 21), numbers[12].number});
}

void Server::ScanInPlane(const TransactionPtr &transaction, const Scanning &scanning) {
    Scanning checked = scanning;
    if (checked.step == 0) checked.step = unknownStep_;
    if (!CountPoints((scanning.target - scanning.start).norm(), checked.step))
        return Fail(transaction, ErrorNumber::BadArgument);
    if (!(scanning.endDirection.norm() > 0) ||
        !(scanning.normal.cross(scanning.target - scanning.start).norm() > 0))
        return Fail(transaction, ErrorNumber::NoNorm);
    const Tip tip = ActiveTip();
    Probing plan;
    if (auto fault = PlanProbing(scanning.start, scanning.startDirection, plan))
        return transactions_.Fail(transaction, *fault);
    if (!IsWithinLimits(coordinates_.ToMachine(scanning.target) - tip.offset))
        return Fail(transaction, ErrorNumber::Limit);
    plan.order.retract = 0;
    Probe(transaction, plan, [this, transaction, checked, tip](const Reading &reading) {
        RunScan(transaction, checked, reading.tip - tip.offset);
    });
}

/// From the touch at `start`, the reference point in machine axes.
void Server::RunScan(const TransactionPtr &transaction, const Scanning &scanning,
                     const Eigen::Vector3d &start) {
    const Tip tip = ActiveTip();
    const ToolParameters &parameters = tools_.Active().parameters;
    const Eigen::Vector3d normal = coordinates_.DirectionToMachine(scanning.normal).stableNormalized();
    const Eigen::Vector3d way = coordinates_.DirectionToMachine(scanning.target - scanning.start);
    const Eigen::Vector3d along = (way - way.dot(normal) * normal).stableNormalized();
    const Eigen::Vector3d across = normal.cross(along);
    const Eigen::Vector3d away = coordinates_.DirectionToMachine(scanning.startDirection);
    const Eigen::Vector3d up = away.dot(across) < 0 ? Eigen::Vector3d(-across) : across;
    const Eigen::Vector3d retract = coordinates_.DirectionToMachine(scanning.endDirection).stableNormalized();

    ScanOrder order;
    order.axes << along.transpose(), up.cross(along).transpose(), up.transpose();
    order.origin = start;
    order.target = {way.dot(along), 0};
    order.tipRadius = tip.radius;
    order.step = scanning.step;
    order.motion = {parameters.scanSpeed.actual, parameters.scanAccel.actual};
    const auto last = std::make_shared<Eigen::Vector3d>(start);
    const OrderNumber number = NewOrder(transaction, [this, transaction, retract, last](const Outcome &) {
        const ToolParameters &now = tools_.Active().parameters;
        const double back = now.scanRetract.actual < 0 ? now.ptMeasApproach.actual : now.scanRetract.actual;
        const Eigen::Vector3d end = (*last + back * retract).cwiseMax(setup_.lowest).cwiseMin(setup_.highest);
        place_ = end;
        machine_.Move(NewOrder(transaction, [this, transaction](const Outcome &) { End(transaction); }),
                      {end, {now.goToSpeed.actual, now.goToAccel.actual}});
    });
    orders_.at(number).scanned = [this, transaction, last](const Eigen::Vector3d &point) {
        *last = point;
        Data(transaction, scanReport_.FormatBare(ReadingOf(point, machine_.Position()), coordinates_));
    };
    place_.reset();
    machine_.Scan(number, order);
}

void Server::ScanUnknownDensity(const TransactionPtr &transaction) {
    for (const Argument &argument : transaction->command.method.arguments) {
        const bool isKnown = argument.text == "Dis" || argument.text == "Angle";
        const bool isNumber =
            argument.arguments.size() == 1 && argument.arguments[0].kind == Argument::Kind::Number;
        if (!isKnown || !isNumber || !(argument.arguments[0].number > 0))
            return Fail(transaction, ErrorNumber::BadArgument, argument.text);
        if (argument.text == "Dis") unknownStep_ = argument.arguments[0].number;
    }
    End(transaction);
}

}  // namespace cmm::dme
