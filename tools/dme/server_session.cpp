// The methods of the session: its begin and end, errors, daemons.
#include <algorithm>

#include "dme/server.h"

namespace cmm::dme {
namespace {

constexpr Time kShortestInterval{100};
constexpr double kMoved = 0.0005;  // mm: less is no motion

}  // namespace

void Server::StartSession(const TransactionPtr &transaction) {
    if (inSession_) return Fail(transaction, ErrorNumber::Protocol, "there is a session");
    inSession_ = true;
    pointReport_ = Report::OfPoint();
    scanReport_ = Report::OfScan();
    tools_.ForgetFound();
    ClearAllErrors(transaction);
}

void Server::EndSession(const TransactionPtr &transaction) {
    inSession_ = false;
    daemon_.reset();
    machine_.Watch(false);
    End(transaction);
}

void Server::StopDaemon(const TransactionPtr &transaction) {
    const std::string &tag = transaction->command.method.arguments[0].text;
    if (!IsEventTag(tag)) return Fail(transaction, ErrorNumber::BadArgument, tag);
    if (!daemon_ || daemon_->tag != tag) return Fail(transaction, ErrorNumber::NoSuchDaemon, tag);
    daemon_.reset();
    machine_.Watch(false);
    End(transaction);
}

void Server::StopAllDaemons(const TransactionPtr &transaction) {
    if (!daemon_) return Fail(transaction, ErrorNumber::NoDaemons);
    daemon_.reset();
    machine_.Watch(false);
    End(transaction);
}

void Server::AbortE(const TransactionPtr &transaction) {
    if (!blocked_) blocked_ = Fault{ErrorNumber::Aborted, "AbortE"};
    StopAndAbort(transaction);
}

void Server::GetErrorInfo(const TransactionPtr &transaction) {
    const double number = transaction->command.method.arguments[0].number;
    const std::string_view text = TextOfNumber(number);
    if (text.empty()) return Fail(transaction, ErrorNumber::BadArgument, FormatNumber(number));
    Data(transaction, FormatText(text));
    End(transaction);
}

/// What befell the machine is over only when the machine says so.
void Server::ClearAllErrors(const TransactionPtr &transaction) {
    blocked_.reset();
    if (!machineFailed_) return End(transaction);
    machineFailed_ = false;
    machine_.Recover(NewOrder(transaction, [this, transaction](const Outcome &) { End(transaction); }));
}

void Server::GetErrStatusE(const TransactionPtr &transaction) {
    Data(transaction, blocked_ ? "ErrStatus(1)" : "ErrStatus(0)");
    End(transaction);
}

void Server::GetXtdErrStatus(const TransactionPtr &transaction) {
    Data(transaction, machine_.IsHomed() ? "IsHomed(1)" : "IsHomed(0)");
    Data(transaction, machine_.IsUserEnabled() ? "IsUserEnabled(1)" : "IsUserEnabled(0)");
    if (blocked_) Data(transaction, blocked_->Format());
    End(transaction);
}

void Server::GetDMEVersion(const TransactionPtr &transaction) {
    Data(transaction, "DMEVersion(\"1.4.3\")");
    End(transaction);
}

void Server::GetMachineClass(const TransactionPtr &transaction) {
    Data(transaction, machine_.Fitted().rotaryTable ? "GetMachineClass(CartCMMWithRotaryTable)"
                                                    : "GetMachineClass(CartCMM)");
    End(transaction);
}

void Server::OnMoveReportE(const TransactionPtr &transaction) {
    const std::string &tag = transaction->command.tag;
    if (!transaction->command.event) return Fail(transaction, ErrorNumber::IllegalTag, tag);
    if (daemon_) return Fail(transaction, ErrorNumber::DaemonExists, daemon_->tag);
    Daemon daemon{tag, {}, kShortestInterval, 0, now_};
    std::vector<Argument> items;
    bool timed = false;
    for (const Argument &argument : transaction->command.method.arguments) {
        const bool isTime = argument.text == "Time";
        if (!isTime && argument.text != "Dis") {
            items.push_back(argument);
            continue;
        }
        const bool isNumber =
            argument.arguments.size() == 1 && argument.arguments[0].kind == Argument::Kind::Number;
        const double value = isNumber ? argument.arguments[0].number : -1;
        const bool given = isTime ? timed : daemon.distance > 0;
        if (given || value < 0 || (isTime && value < 0.1))
            return Fail(transaction, ErrorNumber::BadArgument, argument.text);
        if (!isTime) {
            daemon.distance = value;
        } else {
            timed = true;
            daemon.interval = Time(static_cast<Time::rep>(std::min(value, 1e9) * 1000));
        }
    }
    if (!timed && daemon.distance > 0) daemon.interval = Time::max();
    if (auto fault = daemon.report.Parse(items, 0, ReportUse::Position))
        return transactions_.Fail(transaction, *fault);
    daemon.lastTip = coordinates_.FromMachine(machine_.Position().point + ActiveTip().offset);
    daemon_ = daemon;
    machine_.Watch(true);
    End(transaction);
}

void Server::TellDaemon() {
    if (!daemon_ || now_ - daemon_->lastTime < kShortestInterval) return;
    const MachinePosition position = machine_.Position();
    const Reading reading = ReadingOf(position.point, position);
    const Eigen::Vector3d tip = coordinates_.FromMachine(reading.tip);
    const double moved = daemon_->lastTip ? (tip - *daemon_->lastTip).norm() : 0;
    const bool farEnough = daemon_->distance > 0 && moved > daemon_->distance;
    const bool longEnough = moved > kMoved && now_ - daemon_->lastTime >= daemon_->interval;
    if (daemon_->lastTip && !farEnough && !longEnough) return;
    Send(daemon_->tag + " # " + daemon_->report.Format(reading, coordinates_));
    daemon_->lastTip = tip;
    daemon_->lastTime = now_;
}

void Server::TellChangedPlace() {
    if (!daemon_) return;
    daemon_->lastTip.reset();
    TellDaemon();
}

}  // namespace cmm::dme
