#include "arm_records.h"

#include "input.h"
#include "platform/virtual/world.h"
#include "session/connection.h"
#include "session/worker_timer.h"

namespace cc::fuzz {
namespace {

template <int32_t size>
void FreeFrom(MessageSlot (&slots)[size], int32_t index) {
    for (; slots[index].IsBusy(); index = NextIndex(index, size)) slots[index].Free();
}

void RenewQueues(MessageQueues &queues, int32_t index) {
    FreeFrom(queues.sendQueue, queues.sendRead);
    FreeFrom(queues.prioritySendQueue, queues.priorityRead);
    FreeFrom(queues.replyQueue, queues.replyRead);
    const auto at = [index](int32_t size) { return (index + size) % size; };
    queues.sendRead = queues.sendWrite = at(kSendSlots);
    queues.priorityRead = queues.priorityWrite = at(kPrioritySlots);
    queues.replyRead = queues.replyWrite = queues.simReplyWrite = at(kReplySlots);
}

void RenewLink(LinkState &link) {
    for (MessageSlot &slot : link.linkRxSlots) slot.Free();
    for (TickCounters::Slot &counter : link.counters.tickCounters) counter.inUse = false;
    link.promptLine = link.simulationMode = false;
    link.txSequence = link.rxSequence = link.linkRxIndex = link.retryCount = 0;
    link.retryTicks = link.postponedTicks = link.unpostedBytes = 0;
    link.ackTimeoutTicks = 20;
    link.priorityInFlight = link.rxDelivered = link.catchingUp = false;
    link.linkRunning = link.mmTimerRunning = true;
    link.simulator = {};
    link.statistics = {};
    link.history.next = link.history.count = 0;
    link.ticksDue = link.losses = 0;
    link.sendWanted = link.awaitingPeerStart = link.awaitingStartAck = false;
    link.lostMove = kNoMove;
    link.lostSlot = nullptr;
    link.lastQueued = nullptr;
}

void RenewMotion(MoveBuffer &motion) {
    ResetMoveBuffer(motion);
    LayDownTemplate(motion.moveTemplate);
    motion.maxMovesInFlight = kMovesInFlight;
    motion.resets = 0;
}

void CloseArm(ArmContext &arm) {
    CloseConnection(arm);
    ReleaseWorker(arm);
    arm.link.ackEvent.Close();
    arm.connection.connectionOpen = arm.connection.workerActive = false;
}

bool IsIndex(int32_t index, int32_t size) {
    return index >= 0 && index < size;
}

// Busy from the one index to the other, free at the other.
void CheckQueue(const MessageSlot *slots, int32_t size, int32_t read, int32_t write) {
    Check(IsIndex(read, size) && IsIndex(write, size));
    Check(read == write || !slots[write].IsBusy());
    for (int32_t index = read; index != write; index = NextIndex(index, size)) {
        Check(slots[index].IsBusy() && slots[index].Length() <= MessageSlot::kBytes);
    }
}

void CheckMotion(const MoveBuffer &motion) {
    Check(motion.moveRingWrite >= -1 && motion.moveRingWrite < kMoveSlots);
    Check(IsIndex(motion.moveRingRead, kMoveSlots));
    Check(motion.moveHistoryWrite >= -1 && motion.moveHistoryWrite < kHistoryEntries);
    Check(IsIndex(motion.moveHistoryRead, kHistoryEntries));
    Check(IsIndex(motion.unclaimedEntry, kHistoryEntries));
    Check(motion.movesInFlight >= 0 && motion.movesInFlight <= motion.maxMovesInFlight);
    Check(motion.flushedTo == kNotFlushed || IsIndex(motion.flushedTo, kSendSlots));
    for (const MoveSlot &slot : motion.moveRing) {
        Check(slot.length <= kMoveSlotBytes && IsIndex(slot.firstEntry, kHistoryEntries));
    }
}

}  // namespace

ArmContext &RenewArm(User user, int32_t index) {
    static User before = user;
    ArmContext &arm = SelectArm(1);
    if (user != before) CloseArm(arm);
    before = user;
    RenewQueues(arm.link.queues, index);
    RenewLink(arm.link);
    RenewMotion(arm.motion);
    arm.replies = {};
    arm.session = {};
    arm.scan = {};
    arm.axes = {0.001, 0.5, {1, 1, 1}, {0, 1, 2}};
    platform::World::Instance().messageBoxes.clear();
    return arm;
}

void CheckRecords(ArmContext &arm) {
    const LinkState &link = arm.link;
    const MessageQueues &queues = link.queues;
    CheckQueue(queues.sendQueue, kSendSlots, queues.sendRead, queues.sendWrite);
    CheckQueue(queues.prioritySendQueue, kPrioritySlots, queues.priorityRead, queues.priorityWrite);
    CheckQueue(queues.replyQueue, kReplySlots, queues.replyRead,
               link.simulationMode ? queues.simReplyWrite : queues.replyWrite);
    Check(link.rxSequence >= -1 && link.rxSequence <= 1 && link.txSequence >= -1 && link.txSequence <= 1);
    Check(link.retryCount >= 0 && link.retryCount <= 4 && link.unpostedBytes <= MessageSlot::kBytes);
    Check(IsIndex(link.linkRxIndex, kLinkRxSlots));
    for (const MessageSlot &slot : link.linkRxSlots) Check(!slot.IsBusy());
    Check(link.history.count <= FrameHistory::kFrames && IsIndex(link.history.next, FrameHistory::kFrames));
    Check(arm.replies.heldBy == 0);
    CheckMotion(arm.motion);
}

}  // namespace cc::fuzz
