// CC_INIT, CC_START, CC_DONE.
#include <cstring>
#include <mutex>

#include "cc_interface.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "platform/message_loop.h"
#include "probehead/head_protocol.h"
#include "session/connection.h"
#include "session/worker.h"

using namespace cc;

namespace {

constexpr char kAckEventName[] = "AckwnoledgeReceived";
constexpr int32_t kTableEntries = 128;
constexpr int32_t kEntryWords = 4;
constexpr uint16_t kHandshakeFailed = CC_NO_ANSWER - 1;  // the handshake's own results are added to it

// The worker timer that both arms share.
struct WorkerTimer {
    // A client may unload the library without closing its arms.
    ~WorkerTimer() {
        if (workerTimerId != 0) platform::StopWindowTimer(window, workerTimerId);
    }

    std::mutex timerLock;  // guards the fields below
    uintptr_t workerTimerId = 0;
    void *window = nullptr;
    int32_t workerTimerRefs = 0;
} workerTimer;

bool RegisterWorker(ArmContext &context, void *window) {
    const std::lock_guard guard(workerTimer.timerLock);
    if (workerTimer.workerTimerId == 0) {
        const auto period = static_cast<uint32_t>(context.settings.hiPeriodMs);
        workerTimer.workerTimerId = platform::StartWindowTimer(window, period, RunWorker);
        workerTimer.window = window;
    }
    if (workerTimer.workerTimerId == 0) return false;
    ++workerTimer.workerTimerRefs;
    context.connection.workerRegistered = 1;
    return true;
}

void ReleaseWorker(ArmContext &context) {
    if (context.connection.workerRegistered == 0) return;
    const std::lock_guard guard(workerTimer.timerLock);
    --workerTimer.workerTimerRefs;
    if (workerTimer.workerTimerId != 0 && workerTimer.workerTimerRefs == 0) {
        platform::StopWindowTimer(workerTimer.window, workerTimer.workerTimerId);
        workerTimer.workerTimerId = 0;
    }
    context.connection.workerRegistered = 0;
}

void ReleaseHead(ArmContext &context) {
    if (context.head.headInUse != 0 && context.connection.headPortOpen != 0) CloseHead(context);
    context.connection.headPortOpen = 0;
}

void ReleaseConnection(ArmContext &context) {
    CloseConnection(context);
    context.connection.connectionOpen = 0;
}

// ---- CC_INIT

void ResetRecord(ArmContext &context, CC_NOTIFY notifyCallback, int16_t extendedStart, bool simulation) {
    ReplyState &replies = context.replies;
    replies.notifyCallback = notifyCallback;
    replies.coordAnswered = 1;
    replies.linkFaultNotified = 1;
    replies.p10Sent = 0;
    replies.zeroingDone = 0;
    replies.resetStatusPending = 1;
    replies.resumeNotifyPending = 0;
    replies.infoSeen = 0;
    replies.extendedInfo = 0;
    SessionState &session = context.session;
    session.extendedStart = extendedStart;
    session.startMode = 0;
    session.autoCoordOn = 0;
    session.askCoordMode = 0;
    session.coordPollTicks = 0;
    context.connection.workerActive = 0;
    context.head = {};
    context.motion.maxMovesInFlight = simulation ? kSimulatedMovesInFlight : kMovesInFlight;
}

uint16_t StartHead(ArmContext &context, int16_t arm, const char *headPortDef, bool simulated) {
    HeadRecord &head = context.head;
    head.headInUse = simulated || headPortDef != nullptr ? 1 : 0;
    if (head.headInUse == 0) return CC_OK;
    const uint16_t opened = OpenHead(context, arm, headPortDef, simulated);
    if (opened == CC_OK && !simulated) context.connection.headPortOpen = 1;
    return opened;
}

void ResetControllerInfo(ControllerInfo &information) {
    information = {};
    information.controllerType = 65535;
    information.optionCode = 65535;
}

// Asks for the controller information, again if it does not come. Result: whether it came.
bool AskController(ArmContext &context, int16_t arm) {
    context.replies.awaitedReply = context.session.extendedStart != 0 ? kAnyStateReply : state::kStopped;
    const CommandMessage message(command::N00);
    QueueMessage(context, kNormal, message);
    return WaitForCompletion(arm) != 0 || SendWithRetries(context, arm, message) != 0;
}

bool DownloadCosDat(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    for (int32_t entry = 0; entry < kTableEntries; ++entry) {
        replies.awaitedReply = kTableReply;
        CommandMessage message(command::S11);
        message.Letter('I').Byte(static_cast<uint8_t>(entry));
        for (int32_t i = 0; i < kEntryWords; ++i)
            message.Long(context.session.cosDat[entry * kEntryWords + i]);
        if (QueueMessage(context, kNormal, message) != 0) return false;
        if (WaitForCompletion(arm) == 0 && SendWithRetries(context, arm, message) == 0) return false;
    }
    replies.awaitedReply = kTableReply;
    QueueMessage(context, kNormal, CommandMessage(command::S11).Letter('L'));
    if (WaitForCompletion(arm) == 0) return false;
    // The controller reports its new state by itself.
    replies.awaitedReply = kAnyStateReply;
    return WaitForCompletion(arm) != 0;
}

enum class Handshake : uint16_t { Done = 0, NoAnswer = 1, TableFailed = 2 };

Handshake StartupHandshake(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    ResetControllerInfo(replies.controllerInfo);
    replies.controllerState = state::kUnknown;
    if (!AskController(context, arm) || !IsTicking(context)) return Handshake::NoAnswer;
    if (context.connection.simulationMode != 0) {
        const std::lock_guard guard(context.link.lock);
        replies.controllerState = state::kReady;
        context.simulator.simState = state::kReady;
        return Handshake::Done;
    }
    if (replies.controllerState == state::kWantsTable && !DownloadCosDat(context, arm))
        return Handshake::TableFailed;
    return AskController(context, arm) ? Handshake::Done : Handshake::NoAnswer;
}

void SetAxes(AxisState &axes, bool exchanged) {
    const int32_t signs[2][3] = {{1, 1, 1}, {1, -1, 1}};
    const int32_t slots[2][3] = {{0, 1, 2}, {1, 0, 2}};
    std::memcpy(axes.axisSign, signs[exchanged ? 1 : 0], sizeof axes.axisSign);
    std::memcpy(axes.axisSlot, slots[exchanged ? 1 : 0], sizeof axes.axisSlot);
}

// ---- CC_START

int32_t ClassifyController(int16_t type, int16_t level) {
    switch (type) {
        case -1:
            return 1;
        case 0:
            return level >= 15 ? 3 : 1;
        case 1:
            return level < 15 ? 1 : level == 15 ? 2 : 3;
        case 2:
        case 4:
        case 5:
        case 16:
            return 3;
        case 255:
            return level > 7 ? 3 : 2;
        default:
            return 2;
    }
}

void SendL13(ArmContext &context, int16_t arm) {
    context.replies.awaitedReply = kAnyStateReply;
    QueueMessage(context, kNormal, CommandMessage(command::L13));
    if (WaitForAck(context) != 0) WaitForCompletion(arm);
}

bool SendH00(ArmContext &context, int16_t arm, uint16_t flag) {
    if (QueueMessage(context, kNormal, CommandMessage(command::H00).Word(flag)) != 0) return false;
    if (WaitForAck(context) == 0) return false;
    WaitForCompletion(arm);
    return true;
}

// ---- CC_DONE

void OrderShutdown(ArmContext &context, int16_t arm, int16_t shutdownMode) {
    switch (shutdownMode) {
        case 0:
            CC_SETSTATUS(arm, 0);
            return;
        case 1:
            CC_EMERGENCY(arm, 0);
            return;
        default:
            QueueMessage(context, kNormal, CommandMessage(command::P12));
    }
}

// Gives the link time to deliver the last message.
void WaitForDelivery(ArmContext &context) {
    const TickCounter counter(context.counters);
    while (counter.IsTaken() && counter.Ticks() < context.settings.timeoutTicks && IsTicking(context)) {
        platform::Yield();
    }
}

void ReleaseArm(ArmContext &context) {
    ReleaseHead(context);
    if (context.connection.connectionOpen != 0) ReleaseConnection(context);
    ReleaseWorker(context);
    context.connection.ackEvent.Close();
}

// Gives everything back that an opening holds, in the reverse order: the connection before the head. Result:
// the code with which it failed.
uint16_t Release(ArmContext &context, uint16_t failure) {
    if (context.connection.connectionOpen != 0) ReleaseConnection(context);
    ReleaseArm(context);
    return failure;
}

}  // namespace

uint16_t CC_CALL CC_INIT(void *window, int16_t arm, CC_NOTIFY notifyCallback, const char *portDef,
                         const char *headPortDef, int16_t extendedStart, double linearScale,
                         double wristScale, uint16_t flags, const char *iniFile) {
    ArmContext &context = SelectArm(arm);
    const bool simulation = (flags & CC_SIMULATION) != 0;
    ReleaseArm(context);
    ResetRecord(context, notifyCallback, extendedStart, simulation);
    context.connection.armNumber = arm;
    const uint32_t opening = ++context.connection.openings;
    ReadSettings(context.settings, iniFile);
    if (flags == 0) context.connection.ackEvent.OpenShared(kAckEventName);
    const uint16_t connected =
        OpenConnection(context, portDef, simulation, context.settings.loPeriodMs, iniFile);
    if (connected != CC_OK) return Release(context, connected);
    context.connection.connectionOpen = 1;
    const uint16_t headStarted = StartHead(context, arm, headPortDef, (flags & CC_SIMULATED_HEAD) != 0);
    if (headStarted != CC_OK) return Release(context, headStarted);
    CC_BUFFRESET(arm);
    context.axes.linearScale = linearScale;
    context.axes.wristScale = wristScale;
    if (!RegisterWorker(context, window)) return Release(context, CC_WORKER_FAILED);
    context.connection.workerActive = 1;
    const Handshake handshake = StartupHandshake(context, arm);
    // The client may have closed the arm in its callback, and even opened it anew.
    if (context.connection.connectionOpen == 0 || context.connection.openings != opening) return CC_NO_ANSWER;
    if (handshake != Handshake::Done)
        return Release(context, static_cast<uint16_t>(kHandshakeFailed + static_cast<uint16_t>(handshake)));
    SetAxes(context.axes, context.settings.axesConvention != 0);
    LayDownTemplate(context.motion.moveTemplate);
    return CC_OK;
}

int16_t CC_CALL CC_START(int16_t arm, void *statusOut, int16_t startMode) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || statusOut == nullptr) return 0;
    SessionState &session = context->session;
    const ControllerInfo &information = context->replies.controllerInfo;
    session.startMode = startMode;
    session.controllerClass = ClassifyController(static_cast<int16_t>(information.controllerType),
                                                 static_cast<int16_t>(information.controllerLevel));
    const int32_t pollMs = startMode != 0 ? 100 : 500;
    session.coordPollPeriod = session.controllerClass == 3 ? pollMs / context->settings.hiPeriodMs : 0;
    SendL13(*context, arm);
    std::memcpy(statusOut, &information, sizeof information);
    if (session.controllerClass != 3 || session.extendedStart == 0) return 1;
    return SendH00(*context, arm, startMode == 0 ? 1 : 0) ? 1 : 0;
}

void CC_CALL CC_DONE(int16_t arm, int16_t shutdownMode) {
    ArmContext &context = SelectArm(arm);
    ReleaseHead(context);
    if (context.connection.connectionOpen != 0) {
        OrderShutdown(context, arm, shutdownMode);
        WaitForDelivery(context);
    }
    ReleaseArm(context);
}
