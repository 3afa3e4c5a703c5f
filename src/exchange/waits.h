// The steps that every command shares: wait for the link acknowledgement, wait for the answer, try again.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"
#include "protocol/command_message.h"

namespace cc {

inline constexpr uint32_t kAckTimeoutMs = 3000;

/// How the wait for an acknowledgement ended: it came; it is still to come; or it never will, as a prompt line gave the
/// message up with its link, or took it back before it was ever sent.
enum class Delivery { Acknowledged, Queued, Lost };

/// Waits on a prompt line until something has come that a wait may be for, at most `milliseconds`; where the system
/// refused the event, until it is time to look again.
void AwaitProgress(LinkState &link, uint32_t milliseconds);

/// Waits until the controller has acknowledged the message in flight. Result: true, at once in simulation mode
/// and without an acknowledgement event; false after a time-out, once the operator has closed the box " No ACK
/// Received ". Time in which the host stands still counts little, and frames that lie unread in the input at
/// the end are waited for, a second at the most. On a prompt line it ends as soon as that very message is acknowledged or
/// given up, and a message that was never sent is taken back; on a classic line it is sent when the link is up again,
/// however long its call has failed.
bool WaitForAck(ArmContext &context, uint32_t timeoutMs = kAckTimeoutMs);

/// The same, for calls that succeed with a message that is still to be acknowledged.
Delivery WaitForAckOrLoss(ArmContext &context);

/// The same for the message in `slot` of the send queue. Result: whether it was acknowledged.
bool WaitForAckOf(ArmContext &context, const MessageSlot &slot);

/// The time that a wait may take: timeoutTicks, twice as many while the worker does not serve the arm. When
/// frames lie unread in the input at its end, a second more, once.
class WaitLimit {
  public:
    explicit WaitLimit(ArmContext &context);
    WaitLimit(const WaitLimit &) = delete;
    WaitLimit &operator=(const WaitLimit &) = delete;

    /// Whether a tick counter was free; without one there is no waiting.
    bool IsCounted() const { return counter_.IsTaken(); }
    bool IsOver();

  private:
    ArmContext &context_;
    const TickCounter counter_;
    uint32_t limit_;
    bool extended_ = false;
};

/// Decodes replies, one every 10 ms or on a prompt line as they come, until the awaited one has come; `arm` as for
/// DecodeReplies. Result: whether it has, before the end of WaitLimit; false at once when no tick counter is free or the
/// arm does not tick.
bool WaitForCompletion(ArmContext &context, int16_t arm);

/// Sends a message whose reply did not come up to four times, then once more after a restart of the link;
/// awaitedReply keeps the value that the first attempt set. Result: whether the reply came; true at once in
/// simulation mode.
bool SendWithRetries(ArmContext &context, int16_t arm, const CommandMessage &message);

}  // namespace cc
