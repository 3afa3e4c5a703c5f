// From the move buffer into the send queue.
#pragma once

#include "arm/arm_context.h"

namespace cc {

/// Files a message into the move buffer, as FileMessage does, and wakes the worker of a prompt line for it.
void FileMove(ArmContext &context, const uint8_t *bytes, int32_t length);

/// Puts the message to flush next into the send queue, where it stays what it is in the move buffer too. Result: false
/// when the queue does not take it.
bool QueueOldestMove(ArmContext &context);

/// Sends what waits in the move buffer while the controller is in measuring state and fewer than
/// maxMovesInFlight messages are unacknowledged. Waits up to 3 s for the link acknowledgement of each
/// message; without one, the operator sees the box " No ACK Received " and the next flush waits for it again.
void FlushMoveRing(ArmContext &context);

}  // namespace cc
