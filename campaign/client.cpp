#include "client.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "arm/arm_context.h"
#include "platform/virtual/world.h"

namespace campaign {
namespace {

using cc::platform::kMillisecond;
using cc::platform::World;

Client *client = nullptr;  // of the session that runs

template <int arm>
void CC_CALL OnEventOf(int32_t event, uint32_t info, void *data) {
    client->OnEvent(arm, event, info, data);
}

int64_t Now() {
    return World::Instance().Now();
}

bool HasUnacknowledged(int arm) {
    const cc::MessageQueues &queues = cc::SelectArm(static_cast<int16_t>(arm)).link.queues;
    const auto isBusy = [](const cc::MessageSlot &slot) { return slot.IsBusy(); };
    return std::any_of(std::begin(queues.sendQueue), std::end(queues.sendQueue), isBusy) ||
           std::any_of(std::begin(queues.prioritySendQueue), std::end(queues.prioritySendQueue), isBusy);
}

std::string TracePath(int arm) {
    return "wtraceArm" + std::to_string(arm) + ".log";
}

Bytes BytesOfTraceLine(const std::string &line) {
    Bytes bytes;
    unsigned value = 0;
    int used = 0;
    for (const char *text = line.c_str() + 2; std::sscanf(text, "%2X %n", &value, &used) == 1; text += used)
        bytes.push_back(static_cast<uint8_t>(value));
    return bytes;
}

}  // namespace

void Account::Meet(const std::string &weakness, int times) {
    for (Weakness &known : weaknesses) {
        if (known.name == weakness) {
            known.times += times;
            return;
        }
    }
    weaknesses.push_back({weakness, times});
}

Client::Client(const Plan &plan, Account &account, bool tells)
    : plan_(plan), account_(account), tells_(tells) {
    client = this;
    CC_SET_MESSAGE_BOX([](const char *text, void *) { client->OnBox(text); }, nullptr);
    account_.lineMode = plan.lineMode;
    for (int arm = 1; arm <= 2; ++arm) {
        const ArmPlan &armPlan = PlanOf(arm);
        AccountOf(arm).hasLine = HasLine(arm);
        Of(arm).farEnd = std::make_unique<FarEnd>(
            arm, armPlan, AccountOf(arm),
            tells ? [this, arm](const std::string &text) { Tell(std::to_string(arm) + text); }
                  : std::function<void(const std::string &)>());
        Of(arm).iniFile = armPlan.singleArm ? "VELMAR.INI" : "arm" + std::to_string(arm) + ".ini";
        std::ofstream(Of(arm).iniFile)
            << "[Timers]\nLo Period=" << armPlan.loPeriodMs << "\nHi Period=" << armPlan.hiPeriodMs
            << "\ntimeout=" << armPlan.timeoutS << "\nPH9 timeout=" << armPlan.headTimeoutS
            << "\nLine mode=" << plan.lineMode << "\nLog file=1\n";
    }
}

Client::~Client() {
    CC_SET_MESSAGE_BOX(nullptr, nullptr);
    client = nullptr;
}

void Client::Tell(const std::string &text) const {
    if (tells_) std::cout << std::to_string(static_cast<double>(Now()) / 1e6) << "  " << text << "\n";
}

// ---- calls

int Client::Run(int arm, const std::string &text, Promise promise, int limitMs, int failure,
                const std::function<int()> &run) {
    World &world = World::Instance();
    const int64_t still = world.StoodStill();
    // With any flag a call does not wait for acknowledgements.
    const bool waits = promise == Promise::Acknowledged || promise == Promise::Sent;
    if (waits && Flags(arm) != 0) promise = Promise::Nothing;
    Call call{.text = text, .arm = arm, .promise = promise, .begin = Now()};
    const bool open = IsOpen(arm);
    const auto number = static_cast<int>(account_.calls.size());
    account_.calls.push_back(call);
    call_ = number;
    callBegin_ = call.begin;
    const int result = run();
    call_ = kNoCall;
    call = account_.calls[static_cast<size_t>(number)];
    call.result = result;
    call.end = Now();
    call.limit = (open ? limitMs : 0) * kMillisecond + world.StoodStill() - still;
    if (!open && result != failure)
        account_.Break("a closed arm refuses at once", text + " gave " + std::to_string(result));
    account_.calls[static_cast<size_t>(number)] = call;
    ReadTraces(call.begin, number);
    WatchStates();
    Tell(text + " = " + std::to_string(result) + ", " + std::to_string((call.end - call.begin) / 1000) +
         " ms");
    return result;
}

void Client::OnBox(const std::string &text) {
    Tell("a box: " + text);
    Box box{text, call_, Now(), callBegin_, false, faultless_};
    for (const Box &earlier : account_.boxes)
        if (earlier.text == text) box.waitedFrom = std::max(box.waitedFrom, earlier.time);
    for (const int arm : {1, 2}) box.waits |= IsOpen(arm) && HasUnacknowledged(arm);
    account_.boxes.push_back(box);
}

void Client::ReadTraces(int64_t time, int call) {
    for (int arm = 1; arm <= 2; ++arm) ReadTrace(arm, time, call);
}

// What the library has written into its trace since, of the arm's present opening.
void Client::ReadTrace(int arm, int64_t time, int call) {
    std::FILE *const open = cc::SelectArm(static_cast<int16_t>(arm)).trace.traceFile;
    if (open != nullptr) std::fflush(open);
    std::ifstream file(TracePath(arm));
    file.seekg(Of(arm).traceRead);
    for (std::string line; std::getline(file, line);) {
        Of(arm).traceRead += static_cast<long>(line.size()) + 1;
        if (line.rfind(">>", 0) == 0) AccountOf(arm).queued.push_back({time, call, BytesOfTraceLine(line)});
    }
}

uint16_t Client::Flags(int arm) const {
    return static_cast<uint16_t>((PlanOf(arm).simulated ? CC_SIMULATION : 0) |
                                 (PlanOf(arm).head == HeadKind::Simulated ? CC_SIMULATED_HEAD : 0));
}

int Client::OpeningMs(int arm) const {
    const int exchanges = PlanOf(arm).controller.wantsTable ? 131 : 2;
    return kLinkMs + exchanges * (CompletionMs(arm) + RestartMs(arm)) + 2 * HeadMs(arm);
}

void Client::Open(int arm) {
    const ArmPlan &plan = PlanOf(arm);
    Arm &own = Of(arm);
    const std::string port = "COM" + std::to_string(FarEnd::ControllerPort(arm));
    const std::string headPort = "COM" + std::to_string(FarEnd::HeadPort(arm));
    if (own.open && HasLine(arm)) own.openTime += Now() - own.opened;
    own.telling = true;
    Reset(arm);
    own.farEnd->BeginCounts();
    // What an arm that is closed now has sent last is still on its way.
    AccountOf(arm).countsDisturbed = own.open;
    own.traceRead = 0;
    AccountOf(arm).losses.push_back(Now());
    std::remove(TracePath(arm).c_str());
    own.open = own.opening = true;  // for Run, which must not take it for a call on a closed arm
    const CC_NOTIFY notify = arm == 1 ? OnEventOf<1> : OnEventOf<2>;
    const char *const head = plan.head == HeadKind::Emulated ? headPort.c_str() : nullptr;
    const int16_t extended = plan.extendedStart ? 1 : 0;
    const int result = Run(arm, "CC_INIT", Promise::Nothing, OpeningMs(arm), CC_OK, [&] {
        return plan.singleArm
                   ? L2_INIT(nullptr, notify, port.c_str(), head, extended, kLinearScale, Flags(arm))
                   : CC_INIT(nullptr, static_cast<int16_t>(arm), notify, port.c_str(), head, extended,
                             kLinearScale, kWristScale, Flags(arm), own.iniFile.c_str());
    });
    own.opening = false;
    own.open = result == CC_OK;
    if (!own.open) return;
    own.opened = Now();
    ControllerInfo information{};
    Run(arm, "CC_START", Promise::Nothing, 2 * (kAckMs + CompletionMs(arm)), 0, [&] {
        return plan.singleArm ? L2_END_INIT(&information)
                              : CC_START(static_cast<int16_t>(arm), &information, plan.startMode);
    });
}

void Client::Close(int arm, int16_t shutdownMode) {
    Run(arm, "CC_DONE", Promise::Nothing, kAckMs + CompletionMs(arm) + PlanOf(arm).timeoutS * 1000 + 2000, 0,
        [&] {
            Use(arm, CC_DONE, L2_DONE, shutdownMode);
            return 0;
        });
    Arm &own = Of(arm);
    own.open = false;
    AccountOf(arm).losses.push_back(Now());
    if (HasLine(arm)) own.openTime += Now() - own.opened;
    Reset(arm);
}

// The worker may send moves, each with a wait for its acknowledgement, and order what the library orders by itself.
int Client::WorkerMs() const {
    int longest = 0;
    for (int arm = 1; arm <= 2; ++arm)
        longest +=
            cc::kMovesInFlight * kAckMs + 3 * (kAckMs + CompletionMs(arm)) + RestartMs(arm) + 2 * HeadMs(arm);
    return longest;
}

int Client::LongestPeriodMs() const {
    return std::max(PlanOf(1).hiPeriodMs, PlanOf(2).hiPeriodMs);
}

// Ticks that were missed are one: where no time passed and nothing has come the second time runs nothing.
int Client::Dispatch() {
    const int64_t begin = Now();
    const int ran = CC_LOOP_DISPATCH();
    const bool again = plan_.lineMode == 0 && CC_LOOP_DISPATCH() == 1;
    if (ran != 0 && ran != 1) account_.Break("the worker runs in its time", "it told " + std::to_string(ran));
    if (again && Now() == begin) account_.Break("the worker runs in its time", "one tick ran it twice");
    return ran;
}

// Result: how often the worker ran.
int Client::RunWorker(int milliseconds) {
    if (plan_.loop == LoopKind::Run) return CC_LOOP_RUN(milliseconds);
    World &world = World::Instance();
    const int64_t end = Now() + milliseconds * kMillisecond;
    const int64_t step = (plan_.loop == LoopKind::Dispatch ? 10 : 50) * kMillisecond;
    int ran = 0;
    while (Now() < end) {
        world.Pass(std::min(step, end - Now()));
        if (plan_.loop == LoopKind::Dispatch) {
            ran += Dispatch();
        } else if (IsOpen(1) || IsOpen(2)) {
            L2HI_WORKER(nullptr, 0, 0, 0);
            ++ran;
        }
    }
    // Where time is virtual there is nothing to poll.
    if (CC_LOOP_FD() != -1) account_.Break("the worker runs in its time", "a descriptor of no loop");
    return ran;
}

// The host may stand still just then, with all its threads.
void Client::OrderEmergencyLater(int arm, int16_t code, int64_t microseconds) {
    World &world = World::Instance();
    world.At(world.Now() + microseconds, [this, &world, arm, code, forgotten = emergenciesForgotten_] {
        if (forgotten != emergenciesForgotten_ || !IsOpen(arm) || Of(arm).opening) return;
        if (world.StandsStill()) return OrderEmergencyLater(arm, code, world.StillUntil() + 1 - Now());
        OrderEmergencyNow(arm, code);
    });
}

// In the middle of whatever call or loop; what that has queued so far is its own.
void Client::OrderEmergencyNow(int arm, int16_t code) {
    ReadTraces(callBegin_, call_);
    const auto number = static_cast<int>(account_.calls.size());
    Call call{.text = "CC_EMERGENCY " + std::to_string(code) + " of another thread",
              .arm = arm,
              .promise = Promise::Queued,
              .begin = Now()};
    call.result = OrderEmergency(arm, code);
    call.end = Now();
    account_.calls.push_back(call);
    ReadTraces(call.begin, number);
    Tell(call.text + " = " + std::to_string(call.result));
}

void Client::Loop(int milliseconds) {
    World &world = World::Instance();
    const int64_t begin = Now();
    const int64_t still = world.StoodStill();
    callBegin_ = begin;
    const bool serves = IsOpen(1) || IsOpen(2);
    const int ran = RunWorker(milliseconds);
    if (ran > 0 && !serves) account_.Break("the worker runs in its time", "it ran with no arm open");
    if (ran == 0 && serves && milliseconds >= 2 * LongestPeriodMs())
        account_.Break("the worker runs in its time",
                       "it did not in " + std::to_string(milliseconds) + " ms");
    const int64_t limit = (milliseconds + WorkerMs()) * kMillisecond + world.StoodStill() - still;
    if (Now() - begin > limit)
        account_.Break("calls return in time", "the loop of " + std::to_string(milliseconds) + " ms took " +
                                                   std::to_string((Now() - begin) / kMillisecond) + " ms");
    ReadTraces(begin, kNoCall);
    WatchStates();
}

// A controller that is no longer measuring has forgotten its moves.
void Client::WatchStates() {
    for (int arm = 1; arm <= 2; ++arm) {
        if (HasLine(arm) && IsOpen(arm) && OldestMove(arm) != nullptr && Status(arm) != CC_STATUS_MEASURING)
            ResetMoves(arm);
    }
}

// ---- events

void Client::OnEvent(int arm, int32_t event, uint32_t info, const void *data) {
    Tell("arm " + std::to_string(arm) + ": event " + std::to_string(event) + " info " + std::to_string(info));
    switch (event) {
        case CC_EVENT_LINK:
            AccountOf(arm).linkEvents.push_back({Now(), info});
            if (info == CC_LINK_LOST) AccountOf(arm).losses.push_back(Now());
            break;
        case CC_EVENT_MOVE_DONE:
            OnMoveDone(arm, info);
            break;
        case CC_EVENT_POINT:
            OnPoint(arm, info, *static_cast<const PointRecord *>(data));
            break;
        case CC_EVENT_MOVE_REJECTED:
            OnRejection(arm, info);
            break;
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            ResetMoves(arm);
            break;
        case CC_EVENT_SCAN_END:
            Of(arm).scanning = false;
            break;
        default:
            break;
    }
    const std::unique_ptr<Random> random = std::move(Of(arm).inCallback);
    if (random == nullptr) return;
    Status(arm);
    Use(arm, CC_MOVING, L2_MOVING);
    // Not inside a reply that is being decoded.
    L2HI_WORKER(nullptr, 0, 0, 0);
    if (CC_LOOP_DISPATCH() != 0)
        account_.Break("the worker runs in its time", "it ran in the middle of a callback");
    if (random->Chance(0.2)) {
        ResetMoves(arm);
    } else {
        File(arm, *random);
    }
}

}  // namespace campaign
