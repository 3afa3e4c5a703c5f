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

// On a prompt line, by the message itself. Time is counted in ticks, of which a host that stands still loses one.
bool IsDelivered(const ArmContext &context, LinkState &link, const MessageSlot *slot, uint32_t timeoutMs) {
    const auto over = [slot] { return slot != nullptr && !slot->IsBusy(); };
    const uint32_t tickMs = context.connection.tickPeriodMs;
    // The tick under way is not counted, so that the wait is not shorter than it should be.
    const uint32_t begin = link.ticks.load(std::memory_order_relaxed) + 1;
    const auto passed = [&] {
        const auto ticks = static_cast<int32_t>(link.ticks.load(std::memory_order_relaxed) - begin);
        return static_cast<uint32_t>(std::max(ticks, 0)) * tickMs;
    };
    while (!over() && link.mmTimerRunning && passed() < timeoutMs) {
        AwaitProgress(link, std::min(kAckStepMs, timeoutMs - passed()));
    }
    for (uint32_t ms = 0; ms < kLongestUnreadMs && !over() && IsReceptionBehind(link); ms += kUnreadStepMs) {
        AwaitProgress(link, kUnreadStepMs);
    }
    return over();
}

bool IsAcknowledged(LinkState &link, uint32_t timeoutMs) {
    platform::Event &ackEvent = link.ackEvent;
    for (uint32_t ms = 0; ms < timeoutMs; ms += kAckStepMs) {
        if (ackEvent.Wait(kAckStepMs)) return true;
    }
    for (uint32_t ms = 0; ms < kLongestUnreadMs && IsReceptionBehind(link); ms += kUnreadStepMs) {
        if (ackEvent.Wait(kUnreadStepMs)) return true;
    }
    return ackEvent.Wait(0);
}

// Waits until the message's frame is no longer under way, acknowledged or given up.
bool WaitFor(ArmContext &context, const MessageSlot *slot, uint32_t timeoutMs) {
    LinkState &link = context.link;
    if (link.simulationMode || !link.ackEvent.IsOpen()) return true;
    if (link.promptLine ? IsDelivered(context, link, slot, timeoutMs) : IsAcknowledged(link, timeoutMs))
        return true;
    const WorkerHold hold(context.replies);
    platform::ShowMessageBox(" No ACK Received ");
    return false;
}

// Of the message queued last. On a prompt line nothing stays behind that was never sent: hours later it would run.
Delivery AwaitDelivery(ArmContext &context, uint32_t timeoutMs) {
    LinkState &link = context.link;
    MessageSlot *const command = link.lastQueued;
    if (!WaitFor(context, command, timeoutMs))
        return Withdraw(link, command) ? Delivery::Lost : Delivery::Queued;
    const bool givenUp = command != nullptr && link.lostSlot.load(std::memory_order_acquire) == command;
    return givenUp ? Delivery::Lost : Delivery::Acknowledged;
}

bool SendAndComplete(ArmContext &context, int16_t arm, const CommandMessage &message, bool &queued) {
    queued = QueueMessage(context.link, kNormal, message);
    return queued && WaitForCompletion(context, arm);
}

}  // namespace

void AwaitProgress(LinkState &link, uint32_t milliseconds) {
    if (link.progress.IsOpen()) {
        link.progress.Wait(milliseconds);
    } else {
        platform::Sleep(std::min(milliseconds, kDecodeIntervalMs));
    }
}

Delivery WaitForAckOrLoss(ArmContext &context) {
    return AwaitDelivery(context, kAckTimeoutMs);
}

bool WaitForAck(ArmContext &context, uint32_t timeoutMs) {
    return AwaitDelivery(context, timeoutMs) == Delivery::Acknowledged;
}

bool WaitForAckOf(ArmContext &context, const MessageSlot &slot) {
    return WaitFor(context, &slot, kAckTimeoutMs) &&
           context.link.lostMove.load(std::memory_order_relaxed) == kNoMove;
}

WaitLimit::WaitLimit(ArmContext &context)
    : context_(context),
      counter_(context.link.counters),
      limit_(static_cast<uint32_t>(context.settings.timeoutTicks)) {
    if (!context.connection.workerActive) limit_ *= 2;
}

bool WaitLimit::IsOver() {
    if (!context_.link.mmTimerRunning) return true;
    if (counter_.Ticks() < limit_) return false;
    if (extended_ || !IsReceptionBehind(context_.link)) return true;
    extended_ = true;
    limit_ = std::min(limit_ + 1000 / context_.connection.tickPeriodMs, kMostTicks);
    return false;
}

bool WaitForCompletion(ArmContext &context, int16_t arm) {
    WaitLimit limit(context);
    if (!limit.IsCounted()) return false;
    LinkState &link = context.link;
    const ReplyState &replies = context.replies;
    MessageSlot *const command = link.lastQueued;
    while (replies.awaitedReply != awaited::kNothing && !limit.IsOver()) {
        if (!link.promptLine) {
            platform::Sleep(kDecodeIntervalMs);
            DecodeReplies(context, arm);
        } else if (!DecodeReplies(context, arm)) {
            AwaitProgress(link, kDecodeIntervalMs);
        }
    }
    if (HasReply(link)) Tell(link);
    if (replies.awaitedReply == awaited::kNothing) return true;
    Withdraw(link, command);
    return false;
}

bool SendWithRetries(ArmContext &context, int16_t arm, const CommandMessage &message) {
    LinkState &link = context.link;
    if (link.simulationMode) return true;
    bool queued = true;
    for (int attempt = 0; attempt < kSendAttempts && link.mmTimerRunning; ++attempt) {
        if (SendAndComplete(context, arm, message, queued)) return true;
        if (!queued) return false;
    }
    if (!link.mmTimerRunning) return false;
    ForceLinkDown(link);
    return LinkStart(link) && SendAndComplete(context, arm, message, queued);
}

}  // namespace cc
