// The methods that ask for, or change, where the machine is.
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>

#include "dme/server.h"
#include "dme/target.h"

namespace cmm::dme {
namespace {

/// How far one may go from a place within a box, along a direction of length 1, until its walls.
double WayToWalls(const Eigen::Vector3d &from, const Eigen::Vector3d &direction, const Setup &setup) {
    double way = std::numeric_limits<double>::infinity();
    for (int axis = 0; axis < 3; ++axis) {
        if (direction[axis] == 0) continue;
        const double wall = direction[axis] > 0 ? setup.highest[axis] : setup.lowest[axis];
        way = std::min(way, (wall - from[axis]) / direction[axis]);
    }
    return std::max(way, 0.0);
}

}  // namespace

Tip Server::ActiveTip() const {
    return Toolbox::TipOf(tools_.Active(), angleA_, angleB_);
}

Reading Server::ReadingOf(const Eigen::Vector3d &reference, const MachinePosition &position) const {
    const Tip tip = ActiveTip();
    Reading reading;
    reading.tip = reference + tip.offset;
    reading.radius = tip.radius;
    reading.a = angleA_;
    reading.b = angleB_;
    reading.table = position.table;
    return reading;
}

bool Server::IsWithinLimits(const Eigen::Vector3d &reference) const {
    return (reference.array() >= setup_.lowest.array()).all() &&
           (reference.array() <= setup_.highest.array()).all();
}

void Server::WithPlace(const TransactionPtr &transaction, std::function<void(const Eigen::Vector3d &)> then) {
    if (place_) return then(*place_);
    machine_.AskPosition(NewOrder(transaction, [this, then = std::move(then)](const Outcome &outcome) {
        place_ = outcome.position.point;
        then(*place_);
    }));
}

/// With all axes given it does not matter where the machine is then.
bool Server::MayGoAhead(const Argument &call) const {
    Target target;
    if (ParseTarget(call, target) || target.HasAngle()) return false;
    return place_ || (target.HasAllAxes() && (call.text == "GoTo" || target.direction));
}

void Server::Home(const TransactionPtr &transaction) {
    place_.reset();
    machine_.Home(NewOrder(transaction, [this, transaction](const Outcome &) { End(transaction); }));
}

void Server::IsHomed(const TransactionPtr &transaction) {
    Data(transaction, machine_.IsHomed() ? "IsHomed(1)" : "IsHomed(0)");
    End(transaction);
}

void Server::SwitchUser(const TransactionPtr &transaction, bool enable) {
    place_.reset();
    machine_.EnableUser(NewOrder(transaction, [this, transaction](const Outcome &) { End(transaction); }),
                        enable);
}

void Server::EnableUser(const TransactionPtr &transaction) {
    SwitchUser(transaction, true);
}

void Server::DisableUser(const TransactionPtr &transaction) {
    SwitchUser(transaction, false);
}

void Server::IsUserEnabled(const TransactionPtr &transaction) {
    Data(transaction, machine_.IsUserEnabled() ? "IsUserEnabled(1)" : "IsUserEnabled(0)");
    End(transaction);
}

void Server::Get(const TransactionPtr &transaction) {
    Report report;
    if (auto fault = report.Parse(transaction->command.method.arguments, 0, ReportUse::Position))
        return transactions_.Fail(transaction, *fault);
    machine_.AskPosition(NewOrder(transaction, [this, transaction, report](const Outcome &outcome) {
        const Reading reading = ReadingOf(outcome.position.point, outcome.position);
        Data(transaction, report.Format(reading, coordinates_));
        End(transaction);
    }));
}

void Server::GoTo(const TransactionPtr &transaction) {
    Target target;
    if (auto fault = ParseTarget(transaction->command.method, target))
        return transactions_.Fail(transaction, *fault);
    if (target.direction) return Fail(transaction, ErrorNumber::BadContext, "IJK");
    const Fittings fitted = machine_.Fitted();
    const bool turns = target.a || target.b;
    if (target.c || (turns && !fitted.head) || (target.table && !fitted.rotaryTable))
        return Fail(transaction, ErrorNumber::NotSupported, "an axis that is not fitted");
    const double a = target.a.value_or(angleA_), b = target.b.value_or(angleB_);
    if (turns && !tools_.IsWithinHead(a, b)) return Fail(transaction, ErrorNumber::AngleOutOfRange);

    const auto go = [this, transaction, target, turns, a, b](const Eigen::Vector3d &place) {
        const Eigen::Vector3d tip = target.Over(coordinates_.FromMachine(place + ActiveTip().offset));
        const Eigen::Vector3d end =
            coordinates_.ToMachine(tip) - Toolbox::TipOf(tools_.Active(), a, b).offset;
        if (!IsWithinLimits(end)) return Fail(transaction, ErrorNumber::Limit);
        const auto nothing = [](const Outcome &) {};
        if (turns) {
            angleA_ = a;
            angleB_ = b;
            machine_.TurnHead(NewOrder(transaction, nothing), a, b);
        }
        if (target.table) machine_.TurnTable(NewOrder(transaction, nothing), *target.table);
        const auto done = [this, transaction](const Outcome &) { End(transaction); };
        if (!target.HasAxis() && (end - place).norm() < 1e-6)
            return machine_.Await(NewOrder(transaction, done));
        place_ = end;
        const ToolParameters &parameters = tools_.Active().parameters;
        machine_.Move(NewOrder(transaction, done),
                      {end, {parameters.goToSpeed.actual, parameters.goToAccel.actual}});
    };
    if (target.HasAllAxes())
        go(Eigen::Vector3d::Zero());
    else
        WithPlace(transaction, go);
}

/// The tip's centre comes to rest one radius before the surface, so that is where the touch is expected.
std::optional<Fault> Server::PlanProbing(const Eigen::Vector3d &nominal, const Eigen::Vector3d &direction,
                                         Probing &plan) const {
    const Eigen::Vector3d unit = coordinates_.DirectionToMachine(direction).stableNormalized();
    if (!(std::abs(unit.norm() - 1) < 1e-9)) return Fault{ErrorNumber::NoNorm, "PtMeas"};
    const Tip tip = ActiveTip();
    const ToolParameters &parameters = tools_.Active().parameters;
    const Eigen::Vector3d surface = coordinates_.ToMachine(nominal) - tip.offset;
    ProbeOrder &order = plan.order;
    order.approach = surface + (parameters.ptMeasApproach.actual + tip.radius) * unit;
    order.nominal = surface + tip.radius * unit;
    if (!IsWithinLimits(order.approach) || !IsWithinLimits(order.nominal))
        return Fault{ErrorNumber::Limit, "PtMeas"};
    const double search = (order.approach - surface).norm() + parameters.ptMeasSearch.actual;
    const double allowed = WayToWalls(order.approach, -unit, setup_);
    plan.clipped = search > allowed;
    order.searchEnd = order.approach - std::min(search, allowed) * unit;
    order.direction = unit;
    order.retract = std::min(parameters.ptMeasRetract.actual, WayToWalls(order.nominal, unit, setup_));
    order.travel = {parameters.goToSpeed.actual, parameters.goToAccel.actual};
    order.search = {parameters.ptMeasSpeed.actual, parameters.ptMeasAccel.actual};
    plan.direction = unit;
    return std::nullopt;
}

void Server::Probe(const TransactionPtr &transaction, const Probing &plan,
                   std::function<void(const Reading &)> then) {
    const OrderNumber number = NewOrder(
        transaction,
        [this, transaction, plan, number = lastOrder_ + 1, then = std::move(then)](const Outcome &outcome) {
            if (outcome.trouble) {
                if (plan.clipped && outcome.trouble->kind == Trouble::SurfaceNotFound)
                    return Fail(transaction, ErrorNumber::Limit, outcome.trouble->words);
                return FailBy(transaction, *outcome.trouble);
            }
            if (number == lastOrder_ && plan.order.retract >= 0)
                place_ = outcome.touched + plan.order.retract * plan.order.direction;
            Reading reading = ReadingOf(outcome.touched, machine_.Position());
            reading.direction = plan.direction;
            then(reading);
        },
        true);
    place_.reset();
    if (plan.order.retract < 0) place_ = plan.order.approach;
    machine_.Probe(number, plan.order);
}

void Server::PtMeas(const TransactionPtr &transaction) {
    Target target;
    if (auto fault = ParseTarget(transaction->command.method, target))
        return transactions_.Fail(transaction, *fault);
    if (target.HasAngle()) return Fail(transaction, ErrorNumber::NotSupported, "angles");
    if (!target.HasAxis()) return Fail(transaction, ErrorNumber::IncorrectArguments, "no axis");
    const auto probe = [this, transaction, target](const Eigen::Vector3d &place) {
        const Eigen::Vector3d here = coordinates_.FromMachine(place + ActiveTip().offset);
        const Eigen::Vector3d nominal = target.Over(here);
        Probing plan;
        if (auto fault = PlanProbing(nominal, target.direction.value_or(here - nominal), plan))
            return transactions_.Fail(transaction, *fault);
        Probe(transaction, plan, [this, transaction](const Reading &reading) {
            Data(transaction, pointReport_.Format(reading, coordinates_));
            End(transaction);
        });
    };
    if (target.HasAllAxes() && target.direction)
        probe(Eigen::Vector3d::Zero());
    else
        WithPlace(transaction, probe);
}

void Server::OnPtMeasReport(const TransactionPtr &transaction) {
    if (auto fault = pointReport_.Parse(transaction->command.method.arguments, 0, ReportUse::Point))
        return transactions_.Fail(transaction, *fault);
    End(transaction);
}

void Server::OnScanReport(const TransactionPtr &transaction) {
    if (auto fault = scanReport_.Parse(transaction->command.method.arguments, 0, ReportUse::Point))
        return transactions_.Fail(transaction, *fault);
    End(transaction);
}

/// Hints only make a scan faster where the machine can use them; this one can't.
void Server::Hint(const TransactionPtr &transaction) {
    End(transaction);
}

}  // namespace cmm::dme
