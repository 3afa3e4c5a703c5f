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

// A data frame of these bytes holds an empty message: type, checksum, terminator.
constexpr uint16_t kEmptyFrameBytes = 3;

void ReceiveAck(ArmContext &arm, uint8_t type) {
    LinkState &link = arm.link;
    if (link.txSequence == kLinkDown || type != link.ackTypeBySeq[link.txSequence]) return;
    // Without a frame in flight it acknowledges nothing; taking it would lose the next frame or jam the
    // queue.
    if (link.retryCount == 0) return;
    ++link.statistics.acknowledgements;
    link.retryTicks = 0;
    link.retryCount = 0;
    arm.connection.ackEvent.Signal();
    link.txSequence ^= 1;
    MessageQueues &queues = arm.queues;
    if (link.priorityInFlight != 0) {
        queues.prioritySendQueue[queues.priorityRead].Free();
        queues.priorityRead = NextIndex(queues.priorityRead, kPrioritySlots);
        link.priorityInFlight = 0;
    } else {
        queues.sendQueue[queues.sendRead].Free();
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

int32_t TransmitSequence(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    return arm.link.txSequence;
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
    if (TransmitSequence(arm) != kLinkDown) return 0;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        SendControl(arm, kStartLink);
        platform::Sleep(kStartIntervalMs);
        if (TransmitSequence(arm) != kLinkDown) return 0;
    }
    return 1;
}

void ForceLinkDown(ArmContext &arm) {
    const std::lock_guard guard(arm.link.lock);
    arm.link.txSequence = kLinkDown;
}

}  // namespace cc
