#include <algorithm>
#include <mutex>

#include "link/link_control.h"

namespace cc {
namespace {

constexpr int32_t kMostTransmissions = 4;

// Whether what is due waits for frames in the input, which may hold the answer. Not for longer than a second: a
// line may pour for ever, and its thread may show a message box.
bool WaitsForReception(ArmContext &arm) {
    LinkState &link = arm.link;
    if (link.postponedTicks >= link.ackTimeoutTicks || !AskReceptionToCatchUp(arm)) return false;
    ++link.postponedTicks;
    return true;
}

// Hands the line what is left of a frame that it took a part of. Result: whether nothing is left.
bool PostRest(ArmContext &arm) {
    LinkState &link = arm.link;
    if (link.unpostedBytes == 0) return true;
    const uint32_t taken = arm.port.Post(link.unposted, link.unpostedBytes);
    link.unposted += taken;
    link.unpostedBytes = static_cast<uint16_t>(link.unpostedBytes - taken);
    return link.unpostedBytes == 0;
}

// Hands the line a frame, which stays where it is. A frame that it took a part of is finished first: what came
// behind a part would be read as one frame with it.
void Post(ArmContext &arm, const uint8_t *frame, uint16_t length) {
    if (!PostRest(arm)) return;
    const uint32_t taken = arm.port.Post(frame, length);
    if (taken == 0) return;
    arm.link.unposted = frame + taken;
    arm.link.unpostedBytes = static_cast<uint16_t>(length - taken);
}

void SendStartLink(ArmContext &arm) {
    static constexpr uint8_t kFrame[] = {kStartLink, kTerminator};
    LinkState &link = arm.link;
    link.retryTicks = link.ackTimeoutTicks;
    ++link.statistics.startLinksSent;
    Post(arm, kFrame, sizeof kFrame);
    link.awaitingStartAck.store(1, std::memory_order_relaxed);
}

// Sends the frame at the head of a queue, again if its acknowledgement has not come in time.
void ServeFrame(ArmContext &arm, MessageSlot &slot, bool priority) {
    LinkState &link = arm.link;
    if (link.retryCount >= kMostTransmissions) {
        ++link.statistics.framesGivenUp;
        link.retryCount = 0;
        link.txSequence = kLinkDown;
        return;
    }
    ++(link.retryCount == 0 ? link.statistics.framesSent : link.statistics.framesRepeated);
    ++link.retryCount;
    link.retryTicks = link.ackTimeoutTicks;
    if (priority) link.priorityInFlight = 1;
    slot.data[0] = link.dataTypeBySeq[link.txSequence];
    link.history.Add(true, slot.data, slot.Length());
    Post(arm, slot.data, slot.Length());
}

bool IsTransmitted(const MessageSlot &slot) {
    return slot.IsBusy() && slot.data[0] != kNotTransmitted;
}

}  // namespace

void LinkTick(ArmContext &arm) {
    LinkState &link = arm.link;
    link.ticksDue.fetch_add(1, std::memory_order_relaxed);
    // Reception may hold the lock for seconds, while a line that does not take its answers runs into its
    // write time-out. The tick must not wait for that: the time-outs of all arms are counted in ticks.
    const std::unique_lock guard(link.lock, std::try_to_lock);
    if (!guard.owns_lock()) return;
    const uint32_t ticks = link.ticksDue.exchange(0, std::memory_order_relaxed);
    if (link.linkRunning == 0) return;
    link.retryTicks = static_cast<uint16_t>(link.retryTicks - std::min<uint32_t>(link.retryTicks, ticks));
    if (link.retryTicks != 0) return;
    const bool down = link.txSequence == kLinkDown;
    MessageQueues &queues = arm.queues;
    MessageSlot &urgent = queues.prioritySendQueue[queues.priorityRead];
    MessageSlot &normal = queues.sendQueue[queues.sendRead];
    if (!down && !urgent.IsBusy() && !normal.IsBusy()) return;
    const bool awaitsAnswer = down || IsTransmitted(urgent) || IsTransmitted(normal);
    if (awaitsAnswer && WaitsForReception(arm)) return;
    link.postponedTicks = 0;
    if (down) {
        SendStartLink(arm);
    } else if (urgent.IsBusy()) {
        ServeFrame(arm, urgent, true);
    } else {
        ServeFrame(arm, normal, false);
    }
}

}  // namespace cc
