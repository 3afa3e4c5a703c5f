#include "exchange/waits.h"

#include <algorithm>

#include "exchange/decoder.h"
#include "link/link_control.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "platform/message_box.h"
#include "replies/worker_hold.h"

namespace cc {
namespace {

constexpr int kSendAttempts = 4;
constexpr uint32_t kDecodeIntervalMs = 10;

// An acknowledgement is waited for in steps: a host that stands still, for however long, loses one of them.
constexpr uint32_t kAckStepMs = 250;
// Steps and longest time of the wait for frames that lie unread in the input.
constexpr uint32_t kUnreadStepMs = 10;
constexpr uint32_t kLongestUnreadMs = 1000;

constexpr uint32_t kMostTicks = 65535;  // of a tick counter

bool IsAcknowledged(ArmContext &context, uint32_t timeoutMs) {
    platform::Event &ackEvent = context.connection.ackEvent;
    for (uint32_t ms = 0; ms < timeoutMs; ms += kAckStepMs) {
        if (ackEvent.Wait(kAckStepMs)) return true;
    }
    for (uint32_t ms = 0; ms < kLongestUnreadMs && IsReceptionBehind(context); ms += kUnreadStepMs) {
        if (ackEvent.Wait(kUnreadStepMs)) return true;
    }
    return ackEvent.Wait(0);
}

int16_t SendAndComplete(ArmContext &context, int16_t arm, const CommandMessage &message, bool &queued) {
    queued = QueueMessage(context, kNormal, message) == 0;
    return queued ? WaitForCompletion(arm) : int16_t{0};
}

}  // namespace

int16_t WaitForAck(ArmContext &context, uint32_t timeoutMs) {
    if (context.connection.simulationMode != 0 || !context.connection.ackEvent.IsOpen()) return 1;
    if (IsAcknowledged(context, timeoutMs)) return 1;
    const WorkerHold hold(context.replies);
    platform::ShowMessageBox(" No ACK Received ");
    return 0;
}

bool IsTicking(const ArmContext &context) {
    return context.connection.mmTimerRunning != 0;
}

WaitLimit::WaitLimit(ArmContext &context)
    : context_(context),
      counter_(context.counters),
      limit_(static_cast<uint32_t>(context.settings.timeoutTicks)) {
    if (context.connection.workerActive == 0) limit_ *= 2;
}

bool WaitLimit::IsOver() {
    if (!IsTicking(context_)) return true;
    if (counter_.Ticks() < limit_) return false;
    if (extended_ || !IsReceptionBehind(context_)) return true;
    extended_ = true;
    limit_ = std::min(limit_ + 1000 / context_.connection.tickPeriodMs, kMostTicks);
    return false;
}

int16_t WaitForCompletion(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    WaitLimit limit(context);
    if (!limit.IsCounted()) return 0;
    while (context.replies.awaitedReply != kNothingAwaited && !limit.IsOver()) {
        platform::Sleep(kDecodeIntervalMs);
        DecodeReplies(arm);
    }
    return context.replies.awaitedReply == kNothingAwaited ? 1 : 0;
}

int16_t SendWithRetries(ArmContext &context, int16_t arm, const CommandMessage &message) {
    if (context.connection.simulationMode != 0) return 1;
    bool queued = true;
    for (int attempt = 0; attempt < kSendAttempts && IsTicking(context); ++attempt) {
        if (SendAndComplete(context, arm, message, queued) != 0) return 1;
        if (!queued) return 0;
    }
    if (!IsTicking(context)) return 0;
    ForceLinkDown(context);
    if (LinkStart(context) != 0) return 0;
    return SendAndComplete(context, arm, message, queued);
}

}  // namespace cc
