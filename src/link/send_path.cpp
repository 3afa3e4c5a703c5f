#include "link/send_path.h"

#include <cstring>
#include <mutex>

namespace cc {
namespace {

// One step of simulation mode, under the link lock.
void Pump(ArmContext &arm) {
    AdvanceTickCounters(arm.counters);
    if (arm.link.linkRunning != 0) StepSimulator(arm.simulator, arm.queues);
}

// Filing a message and the simulator's step on it are one: a tick that saw the message in between would take it
// for one that the simulator leaves waiting, and count it as transmitted.
int16_t QueueForSimulator(ArmContext &arm, uint16_t priority, uint16_t length, const uint8_t *bytes) {
    const std::lock_guard guard(arm.link.lock);
    MessageQueues &queues = arm.queues;
    MessageSlot *const queue = priority != 0 ? queues.prioritySendQueue : queues.sendQueue;
    int32_t &writeIndex = priority != 0 ? queues.priorityWrite : queues.sendWrite;
    MessageSlot &slot = queue[writeIndex];
    if (slot.IsBusy() || length == 0 || length > MessageSlot::kBytes) return -1;
    std::memcpy(slot.data, bytes, length);
    slot.Publish(length);
    writeIndex = NextIndex(writeIndex, priority != 0 ? kPrioritySlots : kSendSlots);
    Pump(arm);
    return 0;
}

}  // namespace

int16_t QueueMessage(ArmContext &arm, uint16_t priority, int32_t length, const uint8_t *bytes) {
    // The client may have closed the arm in its callback, in the middle of a command.
    if (length < 0 || arm.connection.mmTimerRunning == 0) return -1;
    const auto messageLength = static_cast<uint16_t>(length);
    TraceCommand(arm.trace, bytes, messageLength);
    if (arm.connection.simulationMode != 0) return QueueForSimulator(arm, priority, messageLength, bytes);
    MessageQueues &queues = arm.queues;
    return priority != 0 ? BuildFrame(queues.prioritySendQueue, queues.priorityWrite, kPrioritySlots,
                                      messageLength, bytes)
                         : BuildFrame(queues.sendQueue, queues.sendWrite, kSendSlots, messageLength, bytes);
}

uint16_t TakeReply(ArmContext &arm, uint16_t &length, uint8_t *buffer) {
    MessageSlot &slot = arm.queues.replyQueue[arm.queues.replyRead];
    length = slot.Length();
    if (length == 0) return 0;
    TraceReply(arm.trace, slot.data, length);
    std::memcpy(buffer, slot.data, length);
    std::memset(buffer + length, 0, static_cast<size_t>(kReplyBytes - length));
    slot.Free();
    arm.queues.replyRead = NextIndex(arm.queues.replyRead, kReplySlots);
    return static_cast<uint16_t>(arm.link.awaitingPeerStart.load(std::memory_order_relaxed) << 8 |
                                 arm.link.awaitingStartAck.load(std::memory_order_relaxed));
}

void PumpSimulator(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    Pump(arm);
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

using namespace cc;

void CC_CDECL LEV2_MANSOM(void *armRecord) {
    for (const int16_t arm : {1, 2}) {
        if (armRecord == &SelectArm(arm)) PumpSimulator(SelectArm(arm));
    }
}
