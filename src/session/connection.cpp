#include "session/connection.h"

#include <cstdlib>

#include "cc_interface.h"
#include "link/link_control.h"
#include "link/link_guard.h"
#include "link/send_path.h"
#include "platform/periodic_timer.h"
#include "platform/port_definition.h"

namespace cc {
namespace {

constexpr int32_t kBaud = 9600;
constexpr char kParity = 'E';
constexpr int32_t kDataBits = 8;
constexpr int32_t kStopBits = 1;
constexpr int32_t kNoHandshake = 3;
constexpr uint32_t kReadTimeoutMs = 25;
constexpr uint32_t kWriteTimeoutMs = 1000;

void Tick(ArmContext &context, uint32_t timerId) {
    if (timerId != context.connection.mmTimerId.load(std::memory_order_relaxed)) return;
    AdvanceTickCounters(context.link.counters);
    LinkTick(context.link);
}

void ResetLinkState(LinkState &link, uint32_t tickPeriodMs) {
    ResetQueues(link.queues);
    link.port.SetReceiver(OnFrameReceived);
    const LinkGuard guard(link);
    link.ackTimeoutTicks = static_cast<uint16_t>(1000 / tickPeriodMs);
    link.linkRunning = false;
    if (!link.simulationMode) return;
    link.awaitingPeerStart.store(false, std::memory_order_relaxed);
    link.awaitingStartAck.store(false, std::memory_order_relaxed);
}

uint16_t StartTimer(ArmContext &context) {
    ConnectionState &connection = context.connection;
    const uint32_t id = platform::StartPeriodicTimer(connection.tickPeriodMs, TickArms);
    if (id == 0) return CC_TIMER_FAILED;
    connection.mmTimerId.store(id, std::memory_order_relaxed);
    context.link.mmTimerRunning = true;
    return CC_OK;
}

void RunLink(LinkState &link) {
    const LinkGuard guard(link);
    link.linkRunning = true;
}

// A port whose settings are refused stays closed, and the controller on it will not answer.
uint16_t OpenPort(ArmContext &context, const char *portDef) {
    if (!platform::IsPortDefinition(portDef)) return CC_BAD_PORT;
    const int32_t number = std::atoi(portDef + 3);
    CArmPort &port = context.link.port;
    if (!port.Configure(number, kBaud, kParity, kDataBits, kStopBits, kNoHandshake, kTerminator))
        return CC_OK;
    if (!port.Open(kTerminator)) return CC_PORT_NOT_OPENED;
    port.SetTimeouts(kReadTimeoutMs, kWriteTimeoutMs);
    LinkReset(context.link);
    if (!LinkStart(context.link)) {
        port.Close();
        return CC_LINK_START_FAILED;
    }
    context.connection.portOpen = true;
    return CC_OK;
}

// What the controller had to say to the session before would be taken for answers to this one.
void DiscardInput(LinkState &link) {
    if (!link.promptLine) {
        link.port.Purge();
        return;
    }
    uint8_t reply[MessageSlot::kBytes];
    uint16_t length = 1;
    while (length != 0) TakeReply(link, length, reply);
}

uint16_t OpenLine(ArmContext &context, const char *portDef) {
    LinkState &link = context.link;
    const uint16_t opened = OpenPort(context, portDef);
    if (opened != CC_OK) return opened;
    {
        const LinkGuard guard(link);
        FreeAll(link.linkRxSlots);
    }
    const uint16_t started = StartTimer(context);
    if (started != CC_OK) return started;
    DiscardInput(link);
    return CC_OK;
}

}  // namespace

uint16_t OpenConnection(ArmContext &context, const char *portDef, bool simulation, const char *iniFile) {
    ConnectionState &connection = context.connection;
    const TraceKind trace = ReadTraceKind(iniFile);
    if (trace != TraceKind::Off) OpenTrace(context.trace, connection.armNumber, trace);
    context.link.simulationMode = simulation;
    context.link.promptLine = context.settings.promptLine && !simulation;
    context.replies.lossesReported = 0;
    if (context.link.promptLine) context.link.progress.OpenPrivate();
    connection.tickPeriodMs = static_cast<uint32_t>(context.settings.loPeriodMs);
    connection.portOpen = false;
    ResetLinkState(context.link, connection.tickPeriodMs);
    const uint16_t opened = simulation ? StartTimer(context) : OpenLine(context, portDef);
    if (opened != CC_OK) {
        CloseConnection(context);
        return opened;
    }
    RunLink(context.link);
    return CC_OK;
}

void CloseConnection(ArmContext &context) {
    ConnectionState &connection = context.connection;
    LinkState &link = context.link;
    if (connection.portOpen) {
        link.port.Purge();
        link.port.Close();
        connection.portOpen = false;
    }
    if (link.mmTimerRunning) {
        platform::StopPeriodicTimer(connection.mmTimerId.load(std::memory_order_relaxed));
        connection.mmTimerId.store(0, std::memory_order_relaxed);
        const platform::Guard guard(link.urgentLock);  // an emergency of another thread is done with the arm
        link.mmTimerRunning = false;
    }
    link.progress.Close();
    CloseTrace(context.trace);
}

void TickArms(uint32_t timerId) {
    if (timerId == 0) return;
    for (const int16_t arm : {1, 2}) Tick(SelectArm(arm), timerId);
}

}  // namespace cc

using namespace cc;

void CC_CALL LEV2_MANAGER(uint32_t timerId, uint32_t, uintptr_t, uintptr_t, uintptr_t) {
    TickArms(timerId);
}

void CC_CDECL LEV2_MANSOM(void *armRecord) {
    for (const int16_t arm : {1, 2}) {
        if (armRecord == &SelectArm(arm)) PumpSimulator(SelectArm(arm).link);
    }
}
