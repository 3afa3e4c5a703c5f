#include "session/connection.h"

#include <cstdlib>
#include <mutex>

#include "cc_interface.h"
#include "link/link_control.h"
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

void OnTimer(uint32_t timerId) {
    LEV2_MANAGER(timerId, 0, 0, 0, 0);
}

void ResetLinkState(ArmContext &context, int32_t tickPeriodMs) {
    ResetQueues(context.queues);
    const std::lock_guard guard(context.link.lock);
    context.link.ackTimeoutTicks = static_cast<uint16_t>(1000 / tickPeriodMs);
    context.link.linkRunning = 0;
    if (context.connection.simulationMode == 0) return;
    context.link.awaitingPeerStart.store(0, std::memory_order_relaxed);
    context.link.awaitingStartAck.store(0, std::memory_order_relaxed);
}

uint16_t StartTimer(ArmContext &context) {
    ConnectionState &connection = context.connection;
    const uint32_t id = platform::StartPeriodicTimer(connection.tickPeriodMs, OnTimer);
    if (id == 0) return CC_TIMER_FAILED;
    connection.mmTimerId.store(id, std::memory_order_relaxed);
    connection.mmTimerRunning = 1;
    return CC_OK;
}

void RunLink(ArmContext &context) {
    const std::lock_guard guard(context.link.lock);
    context.link.linkRunning = 1;
}

// A port whose settings are refused stays closed, and the controller on it will not answer.
uint16_t OpenPort(ArmContext &context, const char *portDef) {
    if (!platform::IsPortDefinition(portDef)) return CC_BAD_PORT;
    const int32_t number = std::atoi(portDef + 3);
    CArmPort &port = context.port;
    if (port.Configure(number, kBaud, kParity, kDataBits, kStopBits, kNoHandshake, kTerminator) == 0)
        return CC_OK;
    if (port.Open(kTerminator) == 0) return CC_PORT_NOT_OPENED;
    port.SetTimeouts(kReadTimeoutMs, kWriteTimeoutMs);
    LinkReset(context);
    if (LinkStart(context) != 0) {
        port.Close();
        return CC_LINK_START_FAILED;
    }
    context.connection.portOpen = 1;
    return CC_OK;
}

uint16_t OpenLine(ArmContext &context, const char *portDef) {
    const uint16_t opened = OpenPort(context, portDef);
    if (opened != CC_OK) return opened;
    {
        const std::lock_guard guard(context.link.lock);
        FreeAll(context.link.linkRxSlots);
    }
    const uint16_t started = StartTimer(context);
    if (started != CC_OK) return started;
    context.port.Purge();
    return CC_OK;
}

}  // namespace

uint16_t OpenConnection(ArmContext &context, const char *portDef, bool simulation, int32_t tickPeriodMs,
                        const char *iniFile) {
    ConnectionState &connection = context.connection;
    if (IsTraceWanted(iniFile)) OpenTrace(context.trace, connection.armNumber);
    connection.simulationMode = simulation ? 1 : 0;
    connection.tickPeriodMs = static_cast<uint32_t>(tickPeriodMs);
    connection.portOpen = 0;
    ResetLinkState(context, tickPeriodMs);
    const uint16_t opened = simulation ? StartTimer(context) : OpenLine(context, portDef);
    if (opened != CC_OK) {
        CloseConnection(context);
        return opened;
    }
    RunLink(context);
    return CC_OK;
}

void CloseConnection(ArmContext &context) {
    ConnectionState &connection = context.connection;
    if (connection.portOpen != 0) {
        context.port.Purge();
        context.port.Close();
        connection.portOpen = 0;
    }
    if (connection.mmTimerRunning != 0) {
        platform::StopPeriodicTimer(connection.mmTimerId.load(std::memory_order_relaxed));
        connection.mmTimerId.store(0, std::memory_order_relaxed);
        connection.mmTimerRunning = 0;
    }
    CloseTrace(context.trace);
}

}  // namespace cc
