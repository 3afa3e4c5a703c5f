// The one way of command messages into the send queues, and of replies out of the reply queue.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"
#include "protocol/command_message.h"

namespace cc {

/// Queues a command message; `length` counts all its bytes. With priority not 0 it overtakes the normal ones.
/// In simulation mode the simulator then takes one step. Must not run for one arm on two threads at once.
/// Result: 0, or -1 when the arm is closed, the queue is full or the message fits no slot (too long, of
/// negative length, or empty in simulation mode).
int16_t QueueMessage(ArmContext &arm, uint16_t priority, int32_t length, const uint8_t *bytes);

inline constexpr uint16_t kNormal = 0;
inline constexpr uint16_t kPriority = 1;

inline int16_t QueueMessage(ArmContext &arm, uint16_t priority, const CommandMessage &message) {
    return QueueMessage(arm, priority, message.Size(), message.Data());
}

/// Takes the next reply into `buffer` (kReplyBytes), filling the rest of the buffer with 0; `length` 0 when
/// there is none, which leaves the buffer alone. Result: awaitingPeerStart in bits 8 to 15 and
/// awaitingStartAck in bits 0 to 7 when a reply was taken, else 0.
uint16_t TakeReply(ArmContext &arm, uint16_t &length, uint8_t *buffer);

/// One step of simulation mode: tick counters, then the simulated controller.
void PumpSimulator(ArmContext &arm);

/// Makes all queues empty, while no timer and no port of the arm runs.
void ResetQueues(MessageQueues &queues);

}  // namespace cc
