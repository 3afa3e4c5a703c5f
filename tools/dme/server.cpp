#include "dme/server.h"

#include <algorithm>
#include <iterator>

namespace cmm::dme {
namespace {

struct TroubleEntry {
    Trouble kind;
    ErrorNumber number;
    bool needsRecovery;  // ClearAllErrors has to bring the controller back
};

constexpr TroubleEntry kTroubles[] = {
    {Trouble::Stopped, ErrorNumber::Aborted, true},
    {Trouble::AfterFailure, ErrorNumber::Aborted, false},
    {Trouble::SurfaceNotFound, ErrorNumber::SurfaceNotFound, false},
    {Trouble::Collision, ErrorNumber::Collision, true},
    {Trouble::Emergency, ErrorNumber::EmergencyStop, true},
    {Trouble::Held, ErrorNumber::UnableToMove, true},
    {Trouble::LinkLost, ErrorNumber::Communication, true},
    {Trouble::ZeroingFailed, ErrorNumber::Home, true},
    {Trouble::Rejected, ErrorNumber::UnableToMove, true},
    {Trouble::Head, ErrorNumber::HeadNotSeated, false},
    {Trouble::Scan, ErrorNumber::Processing, true},
    {Trouble::NotFitted, ErrorNumber::NotSupported, false},
};

const TroubleEntry &Find(Trouble kind) {
    return *std::find_if(std::begin(kTroubles), std::end(kTroubles),
                         [kind](const TroubleEntry &entry) { return entry.kind == kind; });
}

}  // namespace

Server::Server(Machine &machine, const Setup &setup, std::function<void(const std::string &)> send)
    : machine_(machine), send_(std::move(send)), setup_(setup), tools_(setup) {
    machine_.SetListener(*this);
    angleA_ = machine_.Position().a;
    angleB_ = machine_.Position().b;
}

void Server::Receive(std::string_view line, bool early) {
    const auto transaction = std::make_shared<Transaction>();
    Command &command = transaction->command;
    LineFault fault;
    const bool isCommand = ParseCommand(line, command, fault);
    if (!isCommand && fault.tag == kUnasked) return Raise({fault.number, fault.cause});
    transaction->method = isCommand ? FindMethod(command.method.text) : nullptr;
    transaction->fast = transaction->method && transaction->method->Has(kFast);
    const bool used = transactions_.HasTag(command.tag) || (daemon_ && daemon_->tag == command.tag);
    const bool wrongKind = transaction->method && command.event && !transaction->fast;
    if (used || wrongKind) return Raise({ErrorNumber::IllegalTag, command.tag});
    if (!isCommand)
        transaction->faults = {{fault.number, fault.cause}};
    else if (early)
        transaction->faults = {
            {ErrorNumber::Protocol, command.method.text + ": sent before the acknowledgement"}};
    else if (!transaction->method)
        transaction->faults = {{ErrorNumber::UnsupportedCommand, command.method.text}};
    transaction->clears =
        transaction->faults.empty() && transaction->method && transaction->method->Has(kClears);
    transactions_.Add(transaction);
}

void Server::Advance(Time now) {
    now_ = now;
    machine_.Advance(now);
    TellDaemon();
}

void Server::Leave() {
    transactions_.Clear();
    abort_ = nullptr;
    daemon_.reset();
    machine_.Watch(false);
    inSession_ = false;
    if (!orders_.empty()) StopAndAbort(nullptr);
}

Memory Server::Remember() const {
    Memory memory{tools_.Active().name, coordinates_.Selected(), {}, qualified_};
    for (size_t i = 0; i < memory.transformations.size(); ++i)
        memory.transformations[i] = coordinates_.Of(static_cast<Csy>(i));
    return memory;
}

void Server::Recall(const Memory &memory) {
    for (const auto &[name, orientations] : memory.qualified) {
        Tool *const tool = tools_.Find(name);
        if (!tool || orientations.empty()) continue;
        tool->orientations = orientations;
        qualified_[name] = orientations;
    }
    if (const Tool *tool = tools_.Find(memory.tool)) tools_.Activate(*tool);
    for (size_t i = 1; i < memory.transformations.size(); ++i)
        coordinates_.Set(static_cast<Csy>(i), memory.transformations[i]);
    coordinates_.Select(memory.selected);
}

std::optional<Fault> Server::WhyNot(const Method &method, const Argument &call) const {
    if (!inSession_ && !method.Has(kWithoutSession))
        return Fault{ErrorNumber::Protocol, call.text + ": no session"};
    const Fittings fitted = machine_.Fitted();
    if (!method.start || (method.Has(kScanning) && !fitted.scanning) ||
        (method.Has(kTable) && !fitted.rotaryTable))
        return Fault{ErrorNumber::UnsupportedCommand, call.text};
    if (auto fault = CheckArguments(method, call)) return fault;
    if (method.Has(kMeasuringTool) && !tools_.Active().measures)
        return Fault{ErrorNumber::TypeOfProbe, call.text + ": " + tools_.Active().name};
    if (method.Has(kHomed) && !machine_.IsHomed())
        return Fault{ErrorNumber::UnableToMove, call.text + ": not homed"};
    return std::nullopt;
}

void Server::Start(const TransactionPtr &transaction) {
    const Method &method = *transaction->method;
    const Argument &call = transaction->command.method;
    if (inSession_ && blocked_ && !method.Has(kInError)) {
        transaction->faults.push_back({ErrorNumber::Processing, call.text});
        return Fail(transaction, ErrorNumber::UseClearAllErrors);
    }
    if (auto fault = WhyNot(method, call)) return transactions_.Fail(transaction, *fault);
    (this->*method.start)(transaction);
}

bool Server::MayRunAhead(const Transaction &transaction) {
    const Method &method = *transaction.method;
    return method.mayRunAhead && !blocked_ && (this->*method.mayRunAhead)(transaction.command.method);
}

void Server::OnBlocked(const Fault &fault) {
    if (!blocked_) blocked_ = fault;
    if (!orders_.empty() && !failing_) StopAndAbort(nullptr);
}

void Server::Fail(const TransactionPtr &transaction, ErrorNumber number, const std::string &what) {
    const std::string &method = transaction->command.method.text;
    transactions_.Fail(transaction, {number, what.empty() ? method : method + ": " + what});
}

void Server::Raise(const Fault &fault) {
    Send(std::string(kUnasked) + " ! " + fault.Format());
    if (!fault.IsBlocking()) return;
    if (!blocked_) blocked_ = fault;
    StopAndAbort(nullptr);
}

OrderNumber Server::NewOrder(const TransactionPtr &transaction, std::function<void(const Outcome &)> then,
                             bool takesTrouble) {
    orders_.emplace(++lastOrder_, Order{transaction, std::move(then), takesTrouble});
    return lastOrder_;
}

void Server::OnDone(OrderNumber number) {
    Finish(number, std::nullopt);
}

void Server::OnFailed(OrderNumber number, const MachineTrouble &trouble) {
    Finish(number, trouble);
}

void Server::OnTouched(OrderNumber number, const Eigen::Vector3d &point) {
    const auto order = orders_.find(number);
    if (order != orders_.end()) order->second.outcome.touched = point;
}

void Server::OnScanned(OrderNumber number, const Eigen::Vector3d &point) {
    const auto order = orders_.find(number);
    if (order != orders_.end() && order->second.scanned) order->second.scanned(point);
}

void Server::OnPosition(OrderNumber number, const MachinePosition &position) {
    const auto order = orders_.find(number);
    if (order != orders_.end()) order->second.outcome.position = position;
    TellDaemon();
}

void Server::Finish(OrderNumber number, const std::optional<MachineTrouble> &trouble) {
    auto node = orders_.extract(number);
    if (node.empty()) return;
    Order &order = node.mapped();
    order.outcome.trouble = trouble;
    if (trouble) {
        place_.reset();
        angleA_ = machine_.Position().a;
        angleB_ = machine_.Position().b;
        machineFailed_ = machineFailed_ || Find(trouble->kind).needsRecovery;
        if (stopping_) return;  // it is aborted with the others when the machine stands
    }
    failing_ = trouble.has_value();
    if (trouble && !order.takesTrouble)
        FailBy(order.transaction, *trouble);
    else if (!order.transaction->HasEnded())
        order.then(order.outcome);
    failing_ = false;
}

void Server::FailBy(const TransactionPtr &transaction, const MachineTrouble &trouble) {
    Fail(transaction, Find(trouble.kind).number, trouble.words);
}

void Server::OnManualTouch(const Eigen::Vector3d &point) {
    if (!inSession_ || !machine_.IsUserEnabled()) return;
    const std::string report = pointReport_.Format(ReadingOf(point, machine_.Position()), coordinates_);
    Send(std::string(kUnasked) + " # PtMeas(" + report + ")");
}

void Server::OnTrouble(const MachineTrouble &trouble) {
    machineFailed_ = machineFailed_ || Find(trouble.kind).needsRecovery;
    Raise({Find(trouble.kind).number, trouble.words});
}

void Server::StopAndAbort(const TransactionPtr &abort) {
    if (abort) abort_ = abort;
    if (stopping_) return;
    if (orders_.empty()) return FinishStop();
    stopping_ = true;
    machineFailed_ = true;
    transactions_.Hold(true);
    machine_.Stop();
}

void Server::OnStopped() {
    if (stopping_) FinishStop();
}

void Server::FinishStop() {
    const TransactionPtr abort = std::move(abort_);
    stopping_ = false;
    orders_.clear();
    place_.reset();
    transactions_.AbortBefore(abort);
    if (abort) End(abort);
    transactions_.Hold(false);
}

}  // namespace cmm::dme
