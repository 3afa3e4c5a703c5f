// CC_INIT, CC_START, CC_DONE.
#include <cstring>

#include "cc_interface.h"
#include "commands/head.h"
#include "commands/modes.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "probehead/head_protocol.h"
#include "session/connection.h"
#include "session/worker_timer.h"

using namespace cc;

namespace {

constexpr char kAckEventName[] = "AckwnoledgeReceived";
constexpr int32_t kTableEntries = 128;
constexpr int32_t kEntryWords = 4;
constexpr uint16_t kHandshakeFailed = CC_NO_ANSWER - 1;  // the handshake's own results are added to it

void ReleaseHead(ArmContext &context) {
    if (context.head.headInUse && context.connection.headPortOpen) CloseHead(context.head);
    context.connection.headPortOpen = false;
}

void ReleaseConnection(ArmContext &context) {
    CloseConnection(context);
    context.connection.connectionOpen = false;
}

// ---- CC_INIT

void ResetRecord(ArmContext &context, CC_NOTIFY notifyCallback, bool extendedStart, bool simulation) {
    ReplyState &replies = context.replies;
    replies.notifyCallback = notifyCallback;
    replies.coordAnswered = true;
    replies.linkFaultNotified = true;
    replies.p10Sent = false;
    replies.zeroingDone = false;
    replies.resetStatusPending = true;
    replies.resumeNotifyPending = false;
    replies.infoSeen = false;
    replies.extendedInfo = false;
    SessionState &session = context.session;
    // Read by an emergency on another thread.
    std::atomic_ref(session.extendedStart).store(extendedStart, std::memory_order_relaxed);
    session.startMode = 0;
    session.autoCoordOn = false;
    session.askCoordMode = 0;
    session.coordPollTicks = 0;
    context.connection.workerActive = false;
    static_cast<HeadRecord &>(context.head) = {};
    context.motion.maxMovesInFlight = simulation ? kSimulatedMovesInFlight : kMovesInFlight;
}

uint16_t StartHead(ArmContext &context, const char *headPortDef, bool simulated) {
    ProbeHead &head = context.head;
    head.headInUse = simulated || headPortDef != nullptr;
    if (!head.headInUse) return CC_OK;
    head.pollMs = static_cast<uint32_t>(context.settings.loPeriodMs);
    head.mostPolls = context.settings.headTimeoutTicks;
    const uint16_t opened = OpenHead(head, headPortDef, simulated);
    if (opened != CC_OK) return opened;
    if (!AskHeadStatus(context)) {
        head.port.Close();
        return CC_PORT_NOT_OPENED;
    }
    context.connection.headPortOpen = !simulated;
    return CC_OK;
}

void ResetControllerInfo(ControllerInfo &information) {
    information = {};
    information.controllerType = 65535;
    information.optionCode = 65535;
}

// Asks for the controller information, again if it does not come. Result: whether it came.
bool AskController(ArmContext &context, int16_t arm) {
    context.replies.awaitedReply = context.session.extendedStart ? awaited::kAnyState : state::kStopped;
    const CommandMessage message(command::N00);
    QueueMessage(context.link, kNormal, message);
    return WaitForCompletion(context, arm) || SendWithRetries(context, arm, message);
}

bool DownloadCosDat(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    for (int32_t entry = 0; entry < kTableEntries; ++entry) {
        replies.awaitedReply = awaited::kTable;
        CommandMessage message(command::S11);
        message.Letter('I').Byte(static_cast<uint8_t>(entry));
        for (int32_t i = 0; i < kEntryWords; ++i)
            message.Long(context.session.cosDat[entry * kEntryWords + i]);
        if (!QueueMessage(context.link, kNormal, message)) return false;
        if (!WaitForCompletion(context, arm) && !SendWithRetries(context, arm, message)) return false;
    }
    replies.awaitedReply = awaited::kTable;
    QueueMessage(context.link, kNormal, CommandMessage(command::S11).Letter('L'));
    if (!WaitForCompletion(context, arm)) return false;
    // The controller reports its new state by itself.
    replies.awaitedReply = awaited::kAnyState;
    return WaitForCompletion(context, arm);
}

enum class Handshake : uint16_t { Done = 0, NoAnswer = 1, TableFailed = 2 };

Handshake StartupHandshake(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    ResetControllerInfo(replies.controllerInfo);
    TakeState(replies, state::kUnknown);
    if (!AskController(context, arm) || !context.link.mmTimerRunning) return Handshake::NoAnswer;
    if (context.link.simulationMode) {
        const platform::Guard guard(context.link.lock);
        TakeState(replies, state::kReady);
        context.link.simulator.simState = state::kReady;
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

ControllerClass Classify(int16_t type, int16_t level) {
    using enum ControllerClass;
    switch (type) {
        case -1:
            return Old;
        case 0:
            return level >= 15 ? Newer : Old;
        case 1:
            return level < 15 ? Old : level == 15 ? Streaming : Newer;
        case 2:
        case 4:
        case 5:
        case 16:
            return Newer;
        case 255:
            return level > 7 ? Newer : Streaming;
        default:
            return Streaming;
    }
}

void SendL13(ArmContext &context, int16_t arm) {
    context.replies.awaitedReply = awaited::kAnyState;
    QueueMessage(context.link, kNormal, CommandMessage(command::L13));
    if (WaitForAck(context)) WaitForCompletion(context, arm);
}

bool SendH00(ArmContext &context, int16_t arm, uint16_t flag) {
    if (!QueueMessage(context.link, kNormal, CommandMessage(command::H00).Word(flag))) return false;
    if (!WaitForAck(context)) return false;
    WaitForCompletion(context, arm);
    return true;
}

// ---- CC_DONE

void OrderShutdown(ArmContext &context, int16_t arm, int16_t shutdownMode) {
    switch (shutdownMode) {
        case 0:
            OrderStatus(context, arm, CC_ORDER_READY);
            return;
        case 1:
            OrderEmergency(context, 0);
            return;
        default:
            QueueMessage(context.link, kNormal, CommandMessage(command::P12));
    }
}

// Gives the link time to deliver the last message.
void WaitForDelivery(ArmContext &context) {
    const TickCounter counter(context.link.counters);
    const auto limit = context.settings.timeoutTicks;
    while (counter.IsTaken() && counter.Ticks() < limit && context.link.mmTimerRunning) {
        platform::Yield();
    }
}

void ReleaseArm(ArmContext &context) {
    ReleaseHead(context);
    if (context.connection.connectionOpen) ReleaseConnection(context);
    ReleaseWorker(context);
    context.link.ackEvent.Close();
}

// Gives everything back that an opening holds, in the reverse order: the connection before the head. Result:
// the code with which it failed.
uint16_t Release(ArmContext &context, uint16_t failure) {
    if (context.connection.connectionOpen) ReleaseConnection(context);
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
    ResetRecord(context, notifyCallback, extendedStart != 0, simulation);
    context.connection.armNumber = arm;
    const uint32_t opening = ++context.connection.openings;
    ReadSettings(context.settings, iniFile);
    if (flags == 0) context.link.ackEvent.OpenShared(kAckEventName);
    const uint16_t connected = OpenConnection(context, portDef, simulation, iniFile);
    if (connected != CC_OK) return Release(context, connected);
    context.connection.connectionOpen = true;
    const uint16_t headStarted = StartHead(context, headPortDef, (flags & CC_SIMULATED_HEAD) != 0);
    if (headStarted != CC_OK) return Release(context, headStarted);
    ResetMoveBuffer(context.motion);
    context.axes.linearScale = linearScale;
    context.axes.wristScale = wristScale;
    if (!RegisterWorker(context, window)) return Release(context, CC_WORKER_FAILED);
    context.connection.workerActive = true;
    const Handshake handshake = StartupHandshake(context, arm);
    // The client may have closed the arm in its callback, and even opened it anew.
    if (!context.connection.connectionOpen || context.connection.openings != opening) return CC_NO_ANSWER;
    if (handshake != Handshake::Done)
        return Release(context, static_cast<uint16_t>(kHandshakeFailed + static_cast<uint16_t>(handshake)));
    SetAxes(context.axes, context.settings.axesConvention);
    LayDownTemplate(context.motion.moveTemplate);
    return CC_OK;
}

int16_t CC_CALL CC_START(int16_t arm, void *statusOut, int16_t startMode) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || statusOut == nullptr) return 0;
    SessionState &session = context->session;
    const ControllerInfo &information = context->replies.controllerInfo;
    session.startMode = startMode;
    session.controllerClass = Classify(static_cast<int16_t>(information.controllerType),
                                       static_cast<int16_t>(information.controllerLevel));
    const bool newer = session.controllerClass == ControllerClass::Newer;
    const int32_t pollMs = startMode != 0 ? 100 : 500;
    session.coordPollPeriod = newer ? pollMs / context->settings.hiPeriodMs : 0;
    SendL13(*context, arm);
    std::memcpy(statusOut, &information, sizeof information);
    if (!newer || !session.extendedStart) return 1;
    return SendH00(*context, arm, startMode == 0 ? 1 : 0);
}

void CC_CALL CC_DONE(int16_t arm, int16_t shutdownMode) {
    ArmContext &context = SelectArm(arm);
    ReleaseHead(context);
    if (context.connection.connectionOpen) {
        OrderShutdown(context, arm, shutdownMode);
        WaitForDelivery(context);
    }
    ReleaseArm(context);
}
