// The steps that every command shares: wait for the link acknowledgement, wait for the answer, try again.
#pragma once

#include <cstdint>

#include "interface/arm_context.h"
#include "link/command_message.h"

namespace cc {

inline constexpr uint32_t kAckTimeoutMs = 3000;

/// Waits until the controller has acknowledged the message in flight. Result: 1, at once in simulation mode
/// and without an acknowledgement event; 0 after a time-out, once the operator has closed the box " No ACK
/// Received ".
int16_t WaitForAck(ArmContext &context, uint32_t timeoutMs = kAckTimeoutMs);

/// Whether the arm's ticks go on, without which no wait would end: the client may have closed the arm in its
/// callback.
bool IsTicking(const ArmContext &context);

/// Ticks that a completion wait of the arm may take.
uint16_t CompletionLimit(const ArmContext &context);

/// Decodes replies, one every 10 ms, until the awaited one has come. Result: 1 when it has, 0 after
/// CompletionLimit ticks, or at once when no tick counter is free or the arm does not tick.
int16_t WaitForCompletion(int16_t arm);

/// Sends a message whose reply did not come up to four times, then once more after a restart of the link;
/// awaitedReply keeps the value that the first attempt set. Result: 1 when the reply came, and at once in
/// simulation mode; else 0.
int16_t SendWithRetries(ArmContext &context, int16_t arm, const CommandMessage &message);

}  // namespace cc
