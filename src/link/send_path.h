// The one way of command messages into the send queues, and of replies out of the reply queue.
#pragma once

#include <cstdint>

#include "link/link_state.h"
#include "protocol/command_message.h"

namespace cc {

/// Which send queue: messages with priority overtake the normal ones.
enum Priority : uint8_t { kNormal, kPriority };

/// Queues a command message; `length` counts all its bytes. In simulation mode the simulator then takes one
/// step. Must not run for one arm on two threads at once. Result: false when the arm is closed, the queue is
/// full or the message fits no slot (too long, of negative length, or empty in simulation mode).
bool QueueMessage(LinkState &link, Priority priority, int32_t length, const uint8_t *bytes)
    CC_EXCLUDES(link.lock, link.urgentLock);

inline bool QueueMessage(LinkState &link, Priority priority, const CommandMessage &message) {
    return QueueMessage(link, priority, message.Size(), message.Data());
}

/// Queues an emergency message, with priority, on any thread, also while another one queues messages or closes the arm.
/// No later wait is for its acknowledgement. Result: as of QueueMessage.
bool QueueEmergency(LinkState &link, const CommandMessage &message) CC_EXCLUDES(link.lock, link.urgentLock);

/// Queues a message of the move buffer, on a prompt line by its number, by which its loss is reported. Result: as of
/// QueueMessage; false also while the loss of an earlier one has not been taken from lostMove.
bool QueueMove(LinkState &link, int32_t length, const uint8_t *bytes, int32_t move) CC_EXCLUDES(link.lock);

/// Prompt line: takes a command back out of its queue, if it has never been sent, so that a call that failed is not
/// executed later. Null is no command.
bool Withdraw(LinkState &link, MessageSlot *command) CC_EXCLUDES(link.lock);

/// awaitingPeerStart in bits 8 to 15 and awaitingStartAck in bits 0 to 7.
uint16_t LinkFault(const LinkState &link);

/// Whether a reply waits to be taken.
bool HasReply(const LinkState &link);

/// Takes the next reply into `buffer` (of MessageSlot::kBytes), filling the rest of the buffer with 0; `length`
/// 0 when there is none, which leaves the buffer alone. Result: LinkFault when a reply was taken, else 0.
uint16_t TakeReply(LinkState &link, uint16_t &length, uint8_t *buffer);

/// One step of simulation mode: tick counters, then the simulated controller.
void PumpSimulator(LinkState &link) CC_EXCLUDES(link.lock);

/// Makes all queues empty, while no timer and no port of the arm runs.
void ResetQueues(MessageQueues &queues);

}  // namespace cc
