// From the move buffer into the send queue.
#pragma once

#include "arm/arm_context.h"

namespace cc {

/// Sends what waits in the move buffer while the controller is in measuring state and fewer than
/// maxMovesInFlight messages are unacknowledged. Waits up to 3 s for the link acknowledgement of each
/// message; without one, the operator sees the box " No ACK Received " and the next flush waits for it again.
void FlushMoveRing(ArmContext &context);

}  // namespace cc
