#include <algorithm>
#include <cstring>
#include <mutex>

#include "link/link_control.h"
#include "platform/clock.h"
#include "platform/message_box.h"

namespace cc {
namespace {

constexpr int kStartAttempts = 12;
constexpr uint32_t kStartIntervalMs = 500;
constexpr uint32_t kLookMs = 10;  // between looks at an input that is being read

// Frames that reception takes in one go; a line that goes on pouring is not waited for.
constexpr int kMostCaughtUp = 4096;

// A data frame of these bytes holds an empty message: type, checksum, terminator.
constexpr uint16_t kEmptyFrameBytes = 3;

void ReceiveAck(ArmContext &arm, uint8_t type) {
    LinkState &link = arm.link;
    if (link.txSequence == kLinkDown || type != link.ackTypeBySeq[link.txSequence]) return;
    MessageQueues &queues = arm.queues;
    const bool priority = link.priorityInFlight != 0;
    MessageSlot &acknowledged =
        priority ? queues.prioritySendQueue[queues.priorityRead] : queues.sendQueue[queues.sendRead];
    // Only a frame that was sent in this sequence is acknowledged by it; taking another for it would lose the
    // next frame or jam the queue.
    if (!acknowledged.IsBusy() || acknowledged.data[0] != link.dataTypeBySeq[link.txSequence]) return;
    ++link.statistics.acknowledgements;
    link.retryTicks = 0;
    link.retryCount = 0;
    link.postponedTicks = 0;
    arm.connection.ackEvent.Signal();
    link.txSequence ^= 1;
    acknowledged.Free();
    if (priority) {
        queues.priorityRead = NextIndex(queues.priorityRead, kPrioritySlots);
        link.priorityInFlight = 0;
    } else {
        queues.sendRead = NextIndex(queues.sendRead, kSendSlots);
    }
}

void SendLineError(ArmContext &arm) {
    ++arm.link.statistics.lineErrorsSent;
    SendControl(arm, kLineError);
}

void ReceiveData(ArmContext &arm, MessageSlot &frame, uint8_t type) {
    LinkState &link = arm.link;
    if (link.rxSequence == kNotStarted) return SendLineError(arm);
    if (type != link.dataTypeBySeq[link.rxSequence]) return;
    MessageSlot &slot = arm.queues.replyQueue[arm.queues.replyWrite];
    uint16_t length = frame.Length();
    if (slot.IsBusy() || CheckFrame(frame.data, length) == 0 || length < kEmptyFrameBytes)
        return SendLineError(arm);
    // A message is published only once its acknowledgement is out; without it the controller sends the frame
    // again.
    if (SendControl(arm, link.ackTypeBySeq[link.rxSequence]) != 0) return;
    link.rxSequence ^= 1;
    if (length == kEmptyFrameBytes) return;
    ++link.statistics.framesDelivered;
    const auto messageLength = static_cast<uint16_t>(length - kEmptyFrameBytes);
    std::memcpy(slot.data, frame.data + 1, messageLength);
    slot.Publish(messageLength);
    arm.queues.replyWrite = NextIndex(arm.queues.replyWrite, kReplySlots);
}

// Acts on a frame, under the link lock. Result: the text that the operator must see, or null.
const char *ActOnFrame(ArmContext &arm, MessageSlot &frame) {
    LinkState &link = arm.link;
    const uint8_t type = frame.data[0];
    switch (type) {
        case kLineError:
            ++link.statistics.lineErrorsReceived;
            link.retryTicks = 0;
            return nullptr;
        case kAck0:
        case kAck1:
            ReceiveAck(arm, type);
            return nullptr;
        case kData0:
        case kData1:
            ReceiveData(arm, frame, type);
            return nullptr;
        case kStartLinkAck:
            link.txSequence = 0;
            link.retryTicks = 0;
            link.retryCount = 0;
            link.awaitingStartAck.store(0, std::memory_order_relaxed);
            return nullptr;
        case kStartLink:
            ++link.statistics.startLinksReceived;
            link.rxSequence = 0;
            if (SendControl(arm, kStartLinkAck) != 0) return "Error on send Start Link Control Message";
            link.awaitingPeerStart.store(0, std::memory_order_relaxed);
            return nullptr;
        default:
            ++link.statistics.lineErrorsSent;
            if (SendControl(arm, kLineError) != 0) return "Error on send Line Error Control Message";
            return nullptr;
    }
}

// Reads and handles one frame. Result: whether anything was there.
bool ReceiveFrame(ArmContext &arm) {
    uint8_t frame[kReceiveBytes];
    uint32_t count = 0;
    uint8_t byte = 0;
    do {
        if (arm.port.Read(&byte, 1) == 0) break;
        if (count < kReceiveBytes) frame[count] = byte;
        ++count;
    } while (byte != kTerminator);
    if (count > kReceiveBytes) {
        const std::lock_guard guard(arm.link.lock);
        SendLineError(arm);
    } else if (count > 0) {
        ProcessFrame(arm, frame, count);
    }
    return count > 0;
}

bool IsCatchingUp(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    return arm.link.catchingUp;
}

void EndCatchingUp(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    arm.link.catchingUp = false;
}

bool IsUp(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    return arm.link.txSequence != kLinkDown;
}

}  // namespace

void CArmPort::OnEventChar() {
    OnFrameReceived(arm_);
}

int SendControl(ArmContext &arm, uint8_t type) {
    const uint8_t frame[] = {type, kTerminator};
    return arm.port.Write(frame, sizeof frame) == sizeof frame ? 0 : 1;
}

void OnFrameReceived(ArmContext &arm) {
    bool received = ReceiveFrame(arm);
    for (int frames = 0; received && frames < kMostCaughtUp && IsCatchingUp(arm); ++frames)
        received = arm.port.HoldsEventChar() && ReceiveFrame(arm);
    EndCatchingUp(arm);
}

bool IsReceptionBehind(ArmContext &arm) {
    const std::unique_lock guard(arm.link.lock, std::try_to_lock);
    return !guard.owns_lock() || AskReceptionToCatchUp(arm);
}

bool AskReceptionToCatchUp(ArmContext &arm) {
    if (!arm.port.HasUnreadEvent()) return false;
    if (!arm.link.catchingUp) arm.port.ReportAgain();
    arm.link.catchingUp = true;
    return true;
}

void ProcessFrame(ArmContext &arm, const uint8_t *bytes, uint32_t count) {
    LinkState &link = arm.link;
    const char *box = nullptr;
    {
        const std::lock_guard guard(link.lock);
        MessageSlot &frame = link.linkRxSlots[link.linkRxIndex];
        const uint32_t length = std::min(count, kReceiveBytes);
        std::memcpy(frame.data, bytes, length);
        frame.Publish(static_cast<uint16_t>(length));
        link.history.Add(false, bytes, static_cast<int32_t>(length));
        box = ActOnFrame(arm, frame);
        frame.Free();
        link.linkRxIndex = NextIndex(link.linkRxIndex, kLinkRxSlots);
    }
    if (box != nullptr) platform::ShowMessageBox(box);
}

void LinkReset(ArmContext &arm) {
    LinkState &link = arm.link;
    const std::lock_guard guard(link.lock);
    arm.queues.replyWrite = 0;
    FreeAll(arm.queues.replyQueue);
    link.rxSequence = kNotStarted;
    link.txSequence = kLinkDown;
    link.retryTicks = 0;
    link.retryCount = 0;
    link.priorityInFlight = 0;
    link.catchingUp = false;
    link.postponedTicks = 0;
    link.unpostedBytes = 0;
    link.linkRxIndex = 0;
    link.awaitingPeerStart.store(1, std::memory_order_relaxed);
    link.awaitingStartAck.store(1, std::memory_order_relaxed);
    FreeAll(link.linkRxSlots);
    link.statistics = {};
    link.history = {};
    ResetSimulator(arm.simulator);
    arm.connection.portOpen = 0;
    arm.connection.mmTimerRunning = 0;
    arm.connection.simulationMode = 0;
}

int LinkStart(ArmContext &arm) {
    if (IsUp(arm)) return 0;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        SendControl(arm, kStartLink);
        platform::Sleep(kStartIntervalMs);
        for (uint32_t ms = 0; ms < kStartIntervalMs && !IsUp(arm) && IsReceptionBehind(arm); ms += kLookMs)
            platform::Sleep(kLookMs);
        if (IsUp(arm)) return 0;
    }
    return 1;
}

void ForceLinkDown(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    arm.link.txSequence = kLinkDown;
}

}  // namespace cc
