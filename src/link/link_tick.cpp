#include <algorithm>

#include "link/link_control.h"
#include "link/link_guard.h"

namespace cc {
namespace {

constexpr int32_t kMostTransmissions = 4;

// Whether what is due waits for frames in the input, which may hold the answer. Not for longer than a second: a
// line may pour for ever, and its thread may show a message box.
bool WaitsForReception(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.postponedTicks > link.ackTimeoutTicks || !AskReceptionToCatchUp(link)) return false;
    link.postponedTicks = std::max<uint16_t>(link.postponedTicks, 1);
    return true;
}

// Hands the line what is left of a frame that it took a part of. Result: whether nothing is left.
bool PostRest(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.unpostedBytes == 0) return true;
    return SkipTaken(link, link.port.Post(link.unposted, link.unpostedBytes));
}

// Hands the line a frame, which stays where it is, and counts it if the line took any of it. A frame that it took
// a part of is finished first: what came behind a part would be read as one frame with it. Result: whether it
// took any.
bool Post(LinkState &link, const uint8_t *frame, uint16_t length, uint32_t &counter) CC_REQUIRES(link.lock) {
    if (!PostRest(link)) return false;
    const uint32_t taken = link.port.Post(frame, length);
    if (taken == 0) return false;
    link.unposted = frame + taken;
    link.unpostedBytes = static_cast<uint16_t>(length - taken);
    ++counter;
    link.history.Add(true, frame, length);
    return true;
}

// About a second from now. A prompt line sends between two ticks, so that the first tick comes early.
void AwaitAnswer(LinkState &link) CC_REQUIRES(link.lock) {
    link.retryTicks = static_cast<uint16_t>(link.ackTimeoutTicks + (link.promptLine ? 1 : 0));
}

// What was not answered within a second is not answered any more.
void ForgetOldStarts(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.ticks.load(std::memory_order_relaxed) - link.startTick <= link.ackTimeoutTicks) return;
    link.unansweredStarts = link.staleStarts = 0;
}

void SendStartLink(LinkState &link) CC_REQUIRES(link.lock) {
    static constexpr uint8_t kFrame[] = {kStartLink, kTerminator};
    AwaitAnswer(link);
    ForgetOldStarts(link);
    if (Post(link, kFrame, sizeof kFrame, link.statistics.startLinksSent)) {
        ++link.unansweredStarts;
        link.startTick = link.ticks.load(std::memory_order_relaxed);
    }
    link.awaitingStartAck.store(true, std::memory_order_relaxed);
}

bool IsTransmitted(const MessageSlot &slot) {
    return slot.IsBusy() && slot.data[0] != kNotTransmitted;
}

// Takes what is never sent off the head of a queue, with all that was counted of a frame that the line never took.
void SkipDropped(LinkState &link, bool priority) CC_REQUIRES(link.lock) {
    MessageQueues &queues = link.queues;
    MessageSlot *const queue = priority ? queues.prioritySendQueue : queues.sendQueue;
    int32_t &readIndex = priority ? queues.priorityRead : queues.sendRead;
    while (queue[readIndex].IsBusy() && queue[readIndex].dropped) {
        if (link.retryCount > 0 && link.priorityInFlight == priority) {
            link.retryCount = 0;
            link.retryTicks = 0;
            link.priorityInFlight = false;
        }
        queue[readIndex].Free();
        readIndex = NextIndex(readIndex, priority ? kPrioritySlots : kSendSlots);
    }
}

// Whether two messages of the move buffer lie between the same resets of it.
bool BelongTogether(int32_t move, int32_t other) {
    return other != kNoMove && other >> kMoveBits == move >> kMoveBits;
}

// Nobody knows whether the controller has executed what is given up. A prompt line does not send it again; what was
// filed behind a move is not sent either, as it would start from another place.
void DropFrame(LinkState &link, MessageSlot &slot) CC_REQUIRES(link.lock) {
    MessageQueues &queues = link.queues;
    if (slot.move != kNoMove) {
        link.lostMove.store(slot.move, std::memory_order_relaxed);
        int32_t index = queues.sendRead;
        for (int32_t n = 0; n < kSendSlots && queues.sendQueue[index].IsBusy(); ++n) {
            MessageSlot &later = queues.sendQueue[index];
            later.dropped = later.dropped || BelongTogether(slot.move, later.move);
            index = NextIndex(index, kSendSlots);
        }
    }
    slot.dropped = true;
    link.lostSlot.store(&slot, std::memory_order_relaxed);
    link.priorityInFlight = false;
}

// Declares the link down, and on a prompt line drops the frame in flight, if there is one.
void GiveUp(LinkState &link) CC_REQUIRES(link.lock) {
    MessageQueues &queues = link.queues;
    MessageSlot &inFlight = link.priorityInFlight ? queues.prioritySendQueue[queues.priorityRead]
                                                  : queues.sendQueue[queues.sendRead];
    const bool transmitted = link.retryCount > 0;
    link.retryCount = 0;
    link.txSequence = kLinkDown;
    if (!link.promptLine) return;
    ForgetOldStarts(link);
    link.staleStarts = link.unansweredStarts;
    if (transmitted) DropFrame(link, inFlight);
    if (link.unpostedBytes > 0) EndTornFrame(link);
    link.awaitingStartAck.store(true, std::memory_order_relaxed);
    link.losses.fetch_add(1, std::memory_order_release);
    SkipDropped(link, true);
    SkipDropped(link, false);
    Tell(link);
}

// Sends the frame at the head of a queue, again if its acknowledgement has not come in time.
void ServeFrame(LinkState &link, MessageSlot &slot, bool priority) CC_REQUIRES(link.lock) {
    if (link.retryCount >= kMostTransmissions) {
        ++link.statistics.framesGivenUp;
        GiveUp(link);
        return;
    }
    ++link.retryCount;
    AwaitAnswer(link);
    if (priority) link.priorityInFlight = true;
    LinkStatistics &statistics = link.statistics;
    uint32_t &counter = IsTransmitted(slot) ? statistics.framesRepeated : statistics.framesSent;
    const uint8_t typeBefore = slot.data[0];
    slot.data[0] = link.dataTypeBySeq[link.txSequence];
    if (!Post(link, slot.data, slot.Length(), counter)) slot.data[0] = typeBefore;
}

// Sends or repeats what is due, or starts a link that is down.
void Serve(LinkState &link) CC_REQUIRES(link.lock) {
    MessageQueues &queues = link.queues;
    SkipDropped(link, true);
    SkipDropped(link, false);
    const bool down = link.txSequence == kLinkDown;
    MessageSlot &urgent = queues.prioritySendQueue[queues.priorityRead];
    MessageSlot &normal = queues.sendQueue[queues.sendRead];
    if (!down && !urgent.IsBusy() && !normal.IsBusy()) {
        link.postponedTicks = 0;
        return;
    }
    const bool awaitsAnswer = down || IsTransmitted(urgent) || IsTransmitted(normal);
    if (awaitsAnswer && WaitsForReception(link)) return;
    link.postponedTicks = 0;
    // What overtakes a frame in flight takes its sequence, and the controller may take it for that frame's repetition.
    const bool normalInFlight = link.promptLine && link.retryCount > 0 && !link.priorityInFlight;
    if (down) {
        SendStartLink(link);
    } else if (urgent.IsBusy() && !normalInFlight) {
        ServeFrame(link, urgent, true);
    } else {
        ServeFrame(link, normal, false);
    }
}

// Finishes what a full line took a part of, and gives a link up whose device is gone.
void WatchLine(LinkState &link) CC_REQUIRES(link.lock) {
    PostRest(link);
    if (link.txSequence != kLinkDown && link.port.IsLost()) GiveUp(link);
}

}  // namespace

bool SkipTaken(LinkState &link, uint32_t taken) {
    link.unposted += taken;
    link.unpostedBytes = static_cast<uint16_t>(link.unpostedBytes - taken);
    return link.unpostedBytes == 0;
}

void EndTornFrame(LinkState &link) {
    static constexpr uint8_t kEnd = kTerminator;
    link.unposted = &kEnd;
    link.unpostedBytes = 1;
}

void SendPromptly(LinkState &link) {
    if (!link.promptLine) return;
    link.sendWanted.store(true);
    while (link.sendWanted.load() && link.lock.try_lock()) {
        const platform::Guard guard(link.lock, std::adopt_lock);
        link.sendWanted.store(false);
        if (link.linkRunning && link.retryTicks == 0) Serve(link);
    }
}

void StartPromptly(LinkState &link) {
    const LinkGuard guard(link);
    if (link.txSequence == kLinkDown) SendStartLink(link);
}

void ForceLinkDown(LinkState &link) {
    const LinkGuard guard(link);
    if (link.txSequence != kLinkDown) GiveUp(link);
}

void LinkTick(LinkState &link) {
    link.ticks.fetch_add(1, std::memory_order_relaxed);
    link.ticksDue.fetch_add(1, std::memory_order_relaxed);
    // Reception may hold the lock for seconds, while a line that does not take its answers runs into its write
    // time-out. The tick must not wait for that: the time-outs of all arms are counted in ticks.
    if (!link.lock.try_lock()) return;
    const LinkGuard guard(link, std::adopt_lock);
    const uint32_t ticks = link.ticksDue.exchange(0, std::memory_order_relaxed);
    if (!link.linkRunning) return;
    if (link.promptLine) WatchLine(link);
    if (link.postponedTicks > 0) ++link.postponedTicks;
    link.retryTicks = static_cast<uint16_t>(link.retryTicks - std::min<uint32_t>(link.retryTicks, ticks));
    if (link.retryTicks == 0) Serve(link);
}

}  // namespace cc
