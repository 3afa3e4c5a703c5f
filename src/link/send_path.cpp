#include "link/send_path.h"

#include <cstring>

#include "link/link_control.h"
#include "link/link_guard.h"

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
    slot.dropped = false;  // as a session on a prompt line may have left it
    slot.Publish(length);
    writeIndex = NextIndex(writeIndex, urgent ? kPrioritySlots : kSendSlots);
    Pump(link);
    return true;
}

// Puts a message's frame into a send queue. Result: its slot, or null where there is no room for it.
MessageSlot *Place(LinkState &link, MessageSlot *queue, int32_t &writeIndex, int32_t slots, uint16_t length,
                   const uint8_t *bytes) {
    MessageSlot *const slot = queue + writeIndex;
    const MessageSlot *lost = slot;
    // A slot that is used anew is no lost one any more.
    if (!slot->IsBusy()) link.lostSlot.compare_exchange_strong(lost, nullptr, std::memory_order_relaxed);
    return BuildFrame(queue, writeIndex, slots, length, bytes) ? slot : nullptr;
}

// Into the queue that two threads may fill.
MessageSlot *PlaceUrgent(LinkState &link, uint16_t length, const uint8_t *bytes)
    CC_REQUIRES(link.urgentLock) {
    MessageQueues &queues = link.queues;
    return Place(link, queues.prioritySendQueue, queues.priorityWrite, kPrioritySlots, length, bytes);
}

MessageSlot *PlaceByPriority(LinkState &link, Priority priority, uint16_t length, const uint8_t *bytes) {
    MessageQueues &queues = link.queues;
    if (priority == kNormal)
        return Place(link, queues.sendQueue, queues.sendWrite, kSendSlots, length, bytes);
    const platform::Guard guard(link.urgentLock);
    return PlaceUrgent(link, length, bytes);
}

}  // namespace

bool QueueMessage(LinkState &link, Priority priority, int32_t length, const uint8_t *bytes) {
    // The client may have closed the arm in its callback, in the middle of a command.
    if (length < 0 || !link.mmTimerRunning) return false;
    const auto messageLength = static_cast<uint16_t>(length);
    TraceCommand(link.trace, bytes, messageLength);
    if (link.simulationMode) return QueueForSimulator(link, priority, messageLength, bytes);
    link.lastQueued = PlaceByPriority(link, priority, messageLength, bytes);
    if (link.lastQueued == nullptr) return false;
    SendPromptly(link);
    return true;
}

bool QueueEmergency(LinkState &link, const CommandMessage &message) {
    const platform::Guard guard(link.urgentLock);
    if (!link.mmTimerRunning) return false;
    const auto length = static_cast<uint16_t>(message.Size());
    TraceCommand(link.trace, message.Data(), length);
    if (link.simulationMode) return QueueForSimulator(link, kPriority, length, message.Data());
    if (PlaceUrgent(link, length, message.Data()) == nullptr) return false;
    SendPromptly(link);
    return true;
}

bool QueueMove(LinkState &link, int32_t length, const uint8_t *bytes, int32_t move) {
    if (!link.promptLine) return QueueMessage(link, kNormal, length, bytes);
    if (length < 0 || !link.mmTimerRunning) return false;
    TraceCommand(link.trace, bytes, static_cast<uint16_t>(length));
    {
        // With the loss of an earlier message one step: none goes out behind it.
        const platform::Guard guard(link.lock);
        if (link.lostMove.load(std::memory_order_relaxed) != kNoMove) return false;
        if (!BuildFrame(link.queues.sendQueue, link.queues.sendWrite, kSendSlots,
                        static_cast<uint16_t>(length), bytes, move))
            return false;
    }
    SendPromptly(link);
    return true;
}

bool Withdraw(LinkState &link, MessageSlot *command) {
    if (!link.promptLine || command == nullptr) return false;
    const LinkGuard guard(link);
    command->dropped = command->IsBusy() && command->data[0] == kNotTransmitted;
    return command->dropped;
}

uint16_t LinkFault(const LinkState &link) {
    return static_cast<uint16_t>(link.awaitingPeerStart.load(std::memory_order_relaxed) << 8 |
                                 link.awaitingStartAck.load(std::memory_order_relaxed));
}

bool HasReply(const LinkState &link) {
    return link.queues.replyQueue[link.queues.replyRead].IsBusy();
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
    return LinkFault(link);
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
