#include "link/send_path.h"

#include <cstring>

namespace cc {
namespace {

// One step of simulation mode, under the link lock.
void Pump(LinkState &link) CC_REQUIRES(link.lock) {
    AdvanceTickCounters(link.counters);
    if (link.linkRunning) StepSimulator(link.simulator, link.queues);
}

// Filing a message and the simulator's step on it are one: a tick that saw the message in between would take it
// for one that the simulator leaves waiting, and count it as transmitted.
bool QueueForSimulator(LinkState &link, Priority priority, uint16_t length, const uint8_t *bytes) {
    const platform::Guard guard(link.lock);
    MessageQueues &queues = link.queues;
    const bool urgent = priority == kPriority;
    MessageSlot *const queue = urgent ? queues.prioritySendQueue : queues.sendQueue;
    int32_t &writeIndex = urgent ? queues.priorityWrite : queues.sendWrite;
    MessageSlot &slot = queue[writeIndex];
    if (slot.IsBusy() || length == 0 || length > MessageSlot::kBytes) return false;
    std::memcpy(slot.data, bytes, length);
    slot.Publish(length);
    writeIndex = NextIndex(writeIndex, urgent ? kPrioritySlots : kSendSlots);
    Pump(link);
    return true;
}

}  // namespace

bool QueueMessage(LinkState &link, Priority priority, int32_t length, const uint8_t *bytes) {
    // The client may have closed the arm in its callback, in the middle of a command.
    if (length < 0 || !link.mmTimerRunning) return false;
    const auto messageLength = static_cast<uint16_t>(length);
    TraceCommand(link.trace, bytes, messageLength);
    if (link.simulationMode) return QueueForSimulator(link, priority, messageLength, bytes);
    MessageQueues &queues = link.queues;
    return priority == kPriority
               ? BuildFrame(queues.prioritySendQueue, queues.priorityWrite, kPrioritySlots, messageLength,
                            bytes)
               : BuildFrame(queues.sendQueue, queues.sendWrite, kSendSlots, messageLength, bytes);
}

uint16_t TakeReply(LinkState &link, uint16_t &length, uint8_t *buffer) {
    MessageSlot &slot = link.queues.replyQueue[link.queues.replyRead];
    length = slot.Length();
    if (length == 0) return 0;
    TraceReply(link.trace, slot.data, length);
    std::memcpy(buffer, slot.data, length);
    std::memset(buffer + length, 0, static_cast<size_t>(MessageSlot::kBytes - length));
    slot.Free();
    link.queues.replyRead = NextIndex(link.queues.replyRead, kReplySlots);
    return static_cast<uint16_t>(link.awaitingPeerStart.load(std::memory_order_relaxed) << 8 |
                                 link.awaitingStartAck.load(std::memory_order_relaxed));
}

void PumpSimulator(LinkState &link) {
    const platform::Guard guard(link.lock);
    Pump(link);
}

void ResetQueues(MessageQueues &queues) {
    queues.sendRead = queues.sendWrite = 0;
    queues.priorityRead = queues.priorityWrite = 0;
    queues.replyRead = queues.simReplyWrite = 0;
    FreeAll(queues.replyQueue);
    FreeAll(queues.sendQueue);
    FreeAll(queues.prioritySendQueue);
}

}  // namespace cc
