// The methods of properties, tools and coordinate systems.
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "dme/server.h"

namespace cmm::dme {
namespace {

constexpr double kLeastAcross = 1e-6;  // of a vector across the table's axis

double AngleBetween(const Eigen::Vector3d &one, const Eigen::Vector3d &other) {
    return std::atan2(one.cross(other).norm(), one.dot(other)) * 180 / std::numbers::pi;
}

/// Three numbers from `first` on, brought to length 1; none when they have no direction.
std::optional<Eigen::Vector3d> DirectionFrom(const std::vector<Argument> &numbers, size_t first) {
    const Eigen::Vector3d vector(numbers[first].number, numbers[first + 1].number, numbers[first + 2].number);
    const Eigen::Vector3d direction = vector.stableNormalized();
    if (std::abs(direction.norm() - 1) > 1e-9) return std::nullopt;
    return direction;
}

}  // namespace

void Server::GetProp(const TransactionPtr &transaction) {
    std::string line;
    for (const Argument &argument : transaction->command.method.arguments) {
        std::string data;
        if (auto fault = PropertyTree().Get(argument, data)) return transactions_.Fail(transaction, *fault);
        line += (line.empty() ? "" : ", ") + data;
    }
    Data(transaction, line);
    End(transaction);
}

void Server::SetProp(const TransactionPtr &transaction) {
    for (const Argument &argument : transaction->command.method.arguments)
        if (auto fault = PropertyTree().Check(argument)) return transactions_.Fail(transaction, *fault);
    for (const Argument &argument : transaction->command.method.arguments) {
        bool outOfRange = false;
        PropertyTree().Set(argument, outOfRange);
        if (outOfRange)
            transactions_.Warn(transaction, {ErrorNumber::OutOfRange, "SetProp: " + argument.text});
    }
    End(transaction);
}

void Server::Enumerate(const TransactionPtr &transaction, bool all) {
    std::vector<std::string> lines;
    if (auto fault = PropertyTree().Enumerate(transaction->command.method.arguments[0], all, lines))
        return transactions_.Fail(transaction, *fault);
    for (const std::string &line : lines) Data(transaction, line);
    End(transaction);
}

void Server::EnumProp(const TransactionPtr &transaction) {
    Enumerate(transaction, false);
}

void Server::EnumAllProp(const TransactionPtr &transaction) {
    Enumerate(transaction, true);
}

void Server::EnumTools(const TransactionPtr &transaction) {
    for (const std::string &name : tools_.Names()) Data(transaction, FormatText(name));
    End(transaction);
}

void Server::FindTool(const TransactionPtr &transaction) {
    const std::string &name = transaction->command.method.arguments[0].text;
    if (!tools_.Search(name)) return Fail(transaction, ErrorNumber::ToolNotFound, name);
    End(transaction);
}

void Server::ChangeTool(const TransactionPtr &transaction) {
    UseTool(transaction, true);
}

void Server::SetTool(const TransactionPtr &transaction) {
    UseTool(transaction, false);
}

/// Every tool is at hand without a motion. What the probe head bears is a tool of its own for each stylus.
void Server::UseTool(const TransactionPtr &transaction, bool change) {
    const std::string &name = transaction->command.method.arguments[0].text;
    const Tool *tool = tools_.Find(name);
    if (!tool || (change && name == kBaseTool)) return Fail(transaction, ErrorNumber::ToolNotFound, name);
    tools_.Activate(*tool);
    TellChangedPlace();
    if (change && machine_.IsUserEnabled()) return SwitchUser(transaction, false);
    End(transaction);
}

void Server::GetChangeToolAction(const TransactionPtr &transaction) {
    const std::string &name = transaction->command.method.arguments[0].text;
    const Tool *tool = tools_.Find(name);
    if (!tool || name == kBaseTool) return Fail(transaction, ErrorNumber::ToolNotFound, name);
    const Eigen::Vector3d way = coordinates_.DirectionFromMachine(
        Toolbox::TipOf(*tool, angleA_, angleB_).offset - ActiveTip().offset);
    Data(transaction, "ChangeToolAction(Switch, X(" + FormatNumber(way.x()) + "), Y(" +
                          FormatNumber(way.y()) + "), Z(" + FormatNumber(way.z()) + "))");
    End(transaction);
}

void Server::AlignTool(const TransactionPtr &transaction) {
    const std::vector<Argument> &numbers = transaction->command.method.arguments;
    const bool two = numbers.size() == 8;
    if (numbers.size() != 4 && !two)
        return Fail(transaction, ErrorNumber::IncorrectArguments, "number of arguments");
    std::array<std::optional<Eigen::Vector3d>, 2> wanted;
    for (size_t i = 0; i <= (two ? 1 : 0); ++i) {
        const auto direction = DirectionFrom(numbers, 3 * i);
        if (!direction) return Fail(transaction, ErrorNumber::NoNorm);
        wanted[i] = coordinates_.DirectionToMachine(*direction);
    }
    const auto [a, b] = tools_.Aligned(*wanted[0], wanted[1]);
    const Eigen::Matrix3d axes = Toolbox::TipOf(tools_.Active(), a, b).axes;
    const double alpha = numbers[two ? 6 : 3].number, beta = two ? numbers[7].number : 0;
    if ((alpha > 0 && AngleBetween(axes.col(2), *wanted[0]) > alpha) ||
        (beta > 0 && AngleBetween(-axes.col(1), *wanted[1]) > beta))
        return Fail(transaction, ErrorNumber::ToolNotFound, "no orientation near enough");
    const auto answer = [this, transaction, axes, two](const Outcome &) {
        const Eigen::Vector3d first = coordinates_.DirectionFromMachine(axes.col(2));
        const Eigen::Vector3d second = coordinates_.DirectionFromMachine(-axes.col(1));
        std::vector<double> reached(first.begin(), first.end());
        if (two) reached.insert(reached.end(), second.begin(), second.end());
        Data(transaction, FormatNumbers(reached));
        End(transaction);
    };
    if (!tools_.Active().onHead || (a == angleA_ && b == angleB_)) return answer({});
    angleA_ = a;
    angleB_ = b;
    machine_.TurnHead(NewOrder(transaction, answer), a, b);
}

/// The table turns about the machine's z, so only what both vectors have across it counts. The part's system is taken as it
/// was set, with the table at 0.
void Server::AlignPart(const TransactionPtr &transaction) {
    const std::vector<Argument> &numbers = transaction->command.method.arguments;
    if (numbers.size() == 14) return Fail(transaction, ErrorNumber::NotSupported, "a second table");
    if (numbers.size() != 7) return Fail(transaction, ErrorNumber::IncorrectArguments, "number of arguments");
    const auto part = DirectionFrom(numbers, 0), wanted = DirectionFrom(numbers, 3);
    if (!part || !wanted) return Fail(transaction, ErrorNumber::NoNorm);
    const Eigen::Vector2d from = coordinates_.DirectionToMachine(*part).head<2>(), to = wanted->head<2>();
    if (!(from.norm() > kLeastAcross) || !(to.norm() > kLeastAcross))
        return Fail(transaction, ErrorNumber::NoNorm, "along the table's axis");
    const double turn = std::atan2(from.x() * to.y() - from.y() * to.x(), from.dot(to));
    const Eigen::Vector2d reached = to.normalized();
    const auto answer = [this, transaction, reached](const Outcome &) {
        Data(transaction, FormatNumbers({reached.x(), reached.y(), 0}));
        End(transaction);
    };
    machine_.TurnTable(NewOrder(transaction, answer), turn * 180 / std::numbers::pi);
}

void Server::SetCoordSystem(const TransactionPtr &transaction) {
    const std::string &name = transaction->command.method.arguments[0].text;
    const auto csy = CsyByName(name);
    if (!csy || *csy > Csy::Part) return Fail(transaction, ErrorNumber::BadArgument, name);
    coordinates_.Select(*csy);
    TellChangedPlace();
    End(transaction);
}

void Server::GetCoordSystem(const TransactionPtr &transaction) {
    Data(transaction, "CoordSystem(" + std::string(NameOf(coordinates_.Selected())) + ")");
    End(transaction);
}

void Server::SetCsyTransformation(const TransactionPtr &transaction) {
    const std::vector<Argument> &arguments = transaction->command.method.arguments;
    const auto csy = arguments[0].kind == Argument::Kind::Word ? CsyByName(arguments[0].text) : std::nullopt;
    if (!csy || *csy == Csy::Machine) return Fail(transaction, ErrorNumber::BadArgument, arguments[0].text);
    for (size_t i = 1; i < arguments.size(); ++i)
        if (arguments[i].kind != Argument::Kind::Number) return Fail(transaction, ErrorNumber::BadArgument);
    const Transformation transformation{{arguments[1].number, arguments[2].number, arguments[3].number},
                                        arguments[4].number,
                                        arguments[5].number,
                                        arguments[6].number};
    if (!coordinates_.Set(*csy, transformation)) return Fail(transaction, ErrorNumber::Theta);
    TellChangedPlace();
    End(transaction);
}

void Server::GetCsyTransformation(const TransactionPtr &transaction) {
    const std::string &name = transaction->command.method.arguments[0].text;
    const auto csy = CsyByName(name);
    if (!csy || *csy == Csy::Machine) return Fail(transaction, ErrorNumber::BadArgument, name);
    const Transformation &is = coordinates_.Of(*csy);
    Data(transaction, "GetCsyTransformation(" +
                          FormatNumbers({is.zero.x(), is.zero.y(), is.zero.z(), is.theta, is.psi, is.phi}) +
                          ")");
    End(transaction);
}

}  // namespace cmm::dme
