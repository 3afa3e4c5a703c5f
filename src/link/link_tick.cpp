#include <algorithm>

#include "link/link_control.h"

namespace cc {
namespace {

constexpr int32_t kMostTransmissions = 4;

// Whether what is due waits for frames in the input, which may hold the answer. Not for longer than a second: a
// line may pour for ever, and its thread may show a message box.
bool WaitsForReception(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.postponedTicks >= link.ackTimeoutTicks || !AskReceptionToCatchUp(link)) return false;
    ++link.postponedTicks;
    return true;
}

// Hands the line what is left of a frame that it took a part of. Result: whether nothing is left.
bool PostRest(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.unpostedBytes == 0) return true;
    const uint32_t taken = link.port.Post(link.unposted, link.unpostedBytes);
    link.unposted += taken;
    link.unpostedBytes = static_cast<uint16_t>(link.unpostedBytes - taken);
    return link.unpostedBytes == 0;
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

void SendStartLink(LinkState &link) CC_REQUIRES(link.lock) {
    static constexpr uint8_t kFrame[] = {kStartLink, kTerminator};
    link.retryTicks = link.ackTimeoutTicks;
    Post(link, kFrame, sizeof kFrame, link.statistics.startLinksSent);
    link.awaitingStartAck.store(true, std::memory_order_relaxed);
}

bool IsTransmitted(const MessageSlot &slot) {
    return slot.IsBusy() && slot.data[0] != kNotTransmitted;
}

// Sends the frame at the head of a queue, again if its acknowledgement has not come in time.
void ServeFrame(LinkState &link, MessageSlot &slot, bool priority) CC_REQUIRES(link.lock) {
    if (link.retryCount >= kMostTransmissions) {
        ++link.statistics.framesGivenUp;
        link.retryCount = 0;
        link.txSequence = kLinkDown;
        return;
    }
    ++link.retryCount;
    link.retryTicks = link.ackTimeoutTicks;
    if (priority) link.priorityInFlight = true;
    LinkStatistics &statistics = link.statistics;
    uint32_t &counter = IsTransmitted(slot) ? statistics.framesRepeated : statistics.framesSent;
    const uint8_t typeBefore = slot.data[0];
    slot.data[0] = link.dataTypeBySeq[link.txSequence];
    if (!Post(link, slot.data, slot.Length(), counter)) slot.data[0] = typeBefore;
}

}  // namespace

void LinkTick(LinkState &link) {
    link.ticksDue.fetch_add(1, std::memory_order_relaxed);
    // Reception may hold the lock for seconds, while a line that does not take its answers runs into its
    // write time-out. The tick must not wait for that: the time-outs of all arms are counted in ticks.
    if (!link.lock.try_lock()) return;
    const platform::Guard guard(link.lock, std::adopt_lock);
    const uint32_t ticks = link.ticksDue.exchange(0, std::memory_order_relaxed);
    if (!link.linkRunning) return;
    link.retryTicks = static_cast<uint16_t>(link.retryTicks - std::min<uint32_t>(link.retryTicks, ticks));
    if (link.retryTicks != 0) return;
    const bool down = link.txSequence == kLinkDown;
    MessageQueues &queues = link.queues;
    MessageSlot &urgent = queues.prioritySendQueue[queues.priorityRead];
    MessageSlot &normal = queues.sendQueue[queues.sendRead];
    if (!down && !urgent.IsBusy() && !normal.IsBusy()) return;
    const bool awaitsAnswer = down || IsTransmitted(urgent) || IsTransmitted(normal);
    if (awaitsAnswer && WaitsForReception(link)) return;
    link.postponedTicks = 0;
    if (down) {
        SendStartLink(link);
    } else if (urgent.IsBusy()) {
        ServeFrame(link, urgent, true);
    } else {
        ServeFrame(link, normal, false);
    }
}

}  // namespace cc
