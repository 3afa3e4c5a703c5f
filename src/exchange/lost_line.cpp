#include "exchange/lost_line.h"

#include "link/link_control.h"

namespace cc {
namespace {

constexpr uint32_t kIntervalMs = 1000;
constexpr uint32_t kMostTries = 3600;

}  // namespace

// Counted in ticks: a run of the worker may wait for an acknowledgement that cannot come.
void ServeLostLine(ArmContext &context) {
    ConnectionState &connection = context.connection;
    const uint32_t now = context.link.ticks.load(std::memory_order_relaxed);
    if (!context.link.promptLine || !connection.portOpen || !IsLineGone(context.link)) {
        connection.lineTriedTick = now;
        connection.lineTries = 0;
        return;
    }
    if (connection.lineTries == kMostTries) return;
    if ((now - connection.lineTriedTick) * connection.tickPeriodMs < kIntervalMs) return;
    connection.lineTriedTick = now;
    ++connection.lineTries;
    TakeUpLine(context.link);
}

}  // namespace cc
