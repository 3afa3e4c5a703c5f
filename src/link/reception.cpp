#include <algorithm>
#include <cstring>

#include "link/link_control.h"
#include "link/link_guard.h"
#include "platform/clock.h"
#include "platform/message_box.h"
#include "platform/message_loop.h"

namespace cc {
namespace {

constexpr int kStartAttempts = 12;
constexpr uint32_t kStartIntervalMs = 500;
constexpr uint32_t kLookMs = 10;  // between looks at an input that is being read

// Frames that reception takes in one go; a line that goes on pouring is not waited for.
constexpr int kMostCaughtUp = 4096;

// A data frame of these bytes holds an empty message: type, checksum, terminator.
constexpr uint16_t kEmptyFrameBytes = 3;

void ReceiveAck(LinkState &link, uint8_t type) CC_REQUIRES(link.lock) {
    if (link.txSequence == kLinkDown || type != link.ackTypeBySeq[link.txSequence]) return;
    MessageQueues &queues = link.queues;
    const bool priority = link.priorityInFlight;
    MessageSlot &acknowledged =
        priority ? queues.prioritySendQueue[queues.priorityRead] : queues.sendQueue[queues.sendRead];
    // Only a frame that was sent in this sequence is acknowledged by it; taking another for it would lose the
    // next frame or jam the queue.
    if (!acknowledged.IsBusy() || acknowledged.data[0] != link.dataTypeBySeq[link.txSequence]) return;
    ++link.statistics.acknowledgements;
    link.retryTicks = 0;
    link.retryCount = 0;
    link.postponedTicks = 0;
    link.ackEvent.Signal();
    link.txSequence ^= 1;
    acknowledged.Free();
    if (priority) {
        queues.priorityRead = NextIndex(queues.priorityRead, kPrioritySlots);
        link.priorityInFlight = false;
    } else {
        queues.sendRead = NextIndex(queues.sendRead, kSendSlots);
    }
    link.progress.Signal();
}

// Writes a control frame. Result: whether the line took both bytes.
bool WriteControl(LinkState &link, uint8_t type) {
    const uint8_t frame[] = {type, kTerminator};
    return link.port.Write(frame, sizeof frame) == sizeof frame;
}

void NoteControl(LinkState &link, uint8_t type, uint32_t &counter) CC_REQUIRES(link.lock) {
    const uint8_t frame[] = {type, kTerminator};
    ++counter;
    link.history.Add(true, frame, sizeof frame);
}

// Writes what is left of a frame that a full line took a part of, waiting for the line. Result: whether nothing is left.
bool WriteRest(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.unpostedBytes == 0) return true;
    return SkipTaken(link, link.port.Write(link.unposted, link.unpostedBytes));
}

// Sends a control frame and counts it; on a prompt line not in the middle of another. Result: whether the line took it.
bool SendControl(LinkState &link, uint8_t type, uint32_t &counter) CC_REQUIRES(link.lock) {
    if (link.promptLine && !WriteRest(link)) return false;
    if (!WriteControl(link, type)) return false;
    NoteControl(link, type, counter);
    return true;
}

// Not under the lock, which a line that takes nothing would hold for seconds.
void WriteStartLink(LinkState &link) CC_EXCLUDES(link.lock) {
    if (!WriteControl(link, kStartLink)) return;
    const LinkGuard guard(link);
    NoteControl(link, kStartLink, link.statistics.startLinksSent);
}

bool SendLineError(LinkState &link) CC_REQUIRES(link.lock) {
    return SendControl(link, kLineError, link.statistics.lineErrorsSent);
}

// A frame that was delivered before: its acknowledgement was lost, and a prompt line gives it again.
void ReceiveRepeated(LinkState &link, MessageSlot &frame) CC_REQUIRES(link.lock) {
    ++link.statistics.framesIgnored;
    if (!link.promptLine || !link.rxDelivered) return;
    uint16_t length = frame.Length();
    if (CheckFrame(frame.data, length)) {
        SendControl(link, link.ackTypeBySeq[link.rxSequence ^ 1], link.statistics.acknowledgementsSent);
    } else {
        SendLineError(link);
    }
}

void ReceiveData(LinkState &link, MessageSlot &frame, uint8_t type) CC_REQUIRES(link.lock) {
    if (link.rxSequence == kNotStarted) {
        SendLineError(link);
        return;
    }
    if (type != link.dataTypeBySeq[link.rxSequence]) return ReceiveRepeated(link, frame);
    MessageQueues &queues = link.queues;
    MessageSlot &slot = queues.replyQueue[queues.replyWrite];
    uint16_t length = frame.Length();
    if (slot.IsBusy() || !CheckFrame(frame.data, length) || length < kEmptyFrameBytes) {
        SendLineError(link);
        return;
    }
    // A message is published only once its acknowledgement is out; without it the controller sends the frame
    // again.
    if (!SendControl(link, link.ackTypeBySeq[link.rxSequence], link.statistics.acknowledgementsSent)) return;
    link.rxSequence ^= 1;
    link.rxDelivered = true;
    if (length == kEmptyFrameBytes) return;
    ++link.statistics.framesDelivered;
    const auto messageLength = static_cast<uint16_t>(length - kEmptyFrameBytes);
    std::memcpy(slot.data, frame.data + 1, messageLength);
    slot.Publish(messageLength);
    queues.replyWrite = NextIndex(queues.replyWrite, kReplySlots);
    Tell(link);
}

// Whether a frame that begins like a control frame is longer than one: a damaged data frame, for which a prompt line
// asks again. On a classic line the type alone counts.
bool IsNoControlFrame(const LinkState &link, const MessageSlot &frame) {
    return link.promptLine && frame.data[0] != kData0 && frame.data[0] != kData1 && frame.Length() != 2;
}

// Prompt line: whether a start-link's acknowledgement brings the link up. The answer to one start-link too many says nothing
// new, but a frame under way would go out as another. One to a start-link from before the link was given up is late: the
// controller may have taken frames since, and expects another sequence. One that nothing has asked for is the end of a frame
// whose beginning came before the port was opened.
bool IsAnswerToStart(LinkState &link) CC_REQUIRES(link.lock) {
    if (link.unansweredStarts == 0) return false;
    --link.unansweredStarts;
    if (link.staleStarts == 0) return link.txSequence == kLinkDown;
    --link.staleStarts;
    return false;
}

// Acts on a frame, under the link lock. Result: the text that the operator must see, or null.
const char *ActOnFrame(LinkState &link, MessageSlot &frame) CC_REQUIRES(link.lock) {
    const uint8_t type = frame.data[0];
    if (IsNoControlFrame(link, frame)) {
        SendLineError(link);
        return nullptr;
    }
    switch (type) {
        case kLineError:
            ++link.statistics.lineErrorsReceived;
            // Repeated at the next tick on both lines: a disturbance, or a controller without room, gets time to pass.
            link.retryTicks = link.promptLine ? 1 : 0;
            return nullptr;
        case kAck0:
        case kAck1:
            ReceiveAck(link, type);
            return nullptr;
        case kData0:
        case kData1:
            ReceiveData(link, frame, type);
            return nullptr;
        case kStartLinkAck:
            ++link.statistics.startAcksReceived;
            if (link.promptLine && !IsAnswerToStart(link)) return nullptr;
            link.txSequence = 0;
            link.retryTicks = 0;
            link.retryCount = 0;
            link.awaitingStartAck.store(false, std::memory_order_relaxed);
            Tell(link);
            return nullptr;
        case kStartLink:
            ++link.statistics.startLinksReceived;
            link.rxSequence = 0;
            link.rxDelivered = false;
            if (!SendControl(link, kStartLinkAck, link.statistics.startAcksSent))
                return "Error on send Start Link Control Message";
            link.awaitingPeerStart.store(false, std::memory_order_relaxed);
            Tell(link);
            return nullptr;
        default:
            return SendLineError(link) ? nullptr : "Error on send Line Error Control Message";
    }
}

// Reads and handles one frame. Result: whether anything was there.
bool ReceiveFrame(LinkState &link) {
    uint8_t frame[kReceiveBytes];
    uint32_t count = 0;
    uint8_t byte = 0;
    do {
        if (link.port.Read(&byte, 1) == 0) break;
        if (count < kReceiveBytes) frame[count] = byte;
        ++count;
    } while (byte != kTerminator);
    if (count > kReceiveBytes) {
        const LinkGuard guard(link);
        SendLineError(link);
    } else if (count > 0) {
        ProcessFrame(link, frame, count);
    }
    return count > 0;
}

bool IsCatchingUp(LinkState &link) {
    const LinkGuard guard(link);
    return link.catchingUp;
}

void EndCatchingUp(LinkState &link) {
    const LinkGuard guard(link);
    link.catchingUp = false;
}

// Takes every whole frame that has come, and no part of one.
void TakeFrames(LinkState &link) {
    EndCatchingUp(link);
    for (int frames = 0; frames < kMostCaughtUp; ++frames) {
        if (!link.port.HoldsEventChar() || !ReceiveFrame(link)) return;
    }
    link.port.ReportAgain();
}

bool IsUp(LinkState &link) {
    const LinkGuard guard(link);
    return link.txSequence != kLinkDown;
}

}  // namespace

void Tell(LinkState &link) {
    if (!link.promptLine) return;
    link.progress.Signal();
    platform::WakeWindowTimer();
}

void OnFrameReceived(LinkState &link) {
    if (link.promptLine) return TakeFrames(link);
    bool received = ReceiveFrame(link);
    for (int frames = 0; received && frames < kMostCaughtUp && IsCatchingUp(link); ++frames)
        received = link.port.HoldsEventChar() && ReceiveFrame(link);
    EndCatchingUp(link);
}

bool IsReceptionBehind(LinkState &link) {
    if (!link.lock.try_lock()) return true;
    const LinkGuard guard(link, std::adopt_lock);
    return AskReceptionToCatchUp(link);
}

bool AskReceptionToCatchUp(LinkState &link) {
    if (!link.port.HasUnreadEvent()) return false;
    if (!link.catchingUp) link.port.ReportAgain();
    link.catchingUp = true;
    return true;
}

void ProcessFrame(LinkState &link, const uint8_t *bytes, uint32_t count) {
    const char *box = nullptr;
    {
        const platform::Guard guard(link.lock);
        MessageSlot &frame = link.linkRxSlots[link.linkRxIndex];
        const uint32_t length = std::min(count, kReceiveBytes);
        std::memcpy(frame.data, bytes, length);
        frame.Publish(static_cast<uint16_t>(length));
        link.history.Add(false, bytes, static_cast<int32_t>(length));
        box = ActOnFrame(link, frame);
        frame.Free();
        link.linkRxIndex = NextIndex(link.linkRxIndex, kLinkRxSlots);
    }
    SendPromptly(link);
    if (box != nullptr) platform::ShowMessageBox(box);
}

void LinkReset(LinkState &link) {
    const LinkGuard guard(link);
    link.queues.replyWrite = 0;
    FreeAll(link.queues.replyQueue);
    link.rxSequence = kNotStarted;
    link.rxDelivered = false;
    link.txSequence = kLinkDown;
    link.retryTicks = 0;
    link.retryCount = 0;
    link.priorityInFlight = false;
    link.catchingUp = false;
    link.postponedTicks = 0;
    link.unpostedBytes = 0;
    link.unansweredStarts = link.staleStarts = 0;
    link.linkRxIndex = 0;
    link.losses.store(0, std::memory_order_relaxed);
    link.lostMove.store(kNoMove, std::memory_order_relaxed);
    link.lostSlot.store(nullptr, std::memory_order_relaxed);
    link.lastQueued = nullptr;
    link.awaitingPeerStart.store(true, std::memory_order_relaxed);
    link.awaitingStartAck.store(true, std::memory_order_relaxed);
    FreeAll(link.linkRxSlots);
    link.statistics = {};
    link.history = {};
    ResetSimulator(link.simulator);
}

bool LinkStart(LinkState &link) {
    if (IsUp(link)) return true;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        link.promptLine ? StartPromptly(link) : WriteStartLink(link);
        platform::Sleep(kStartIntervalMs);
        for (uint32_t ms = 0; ms < kStartIntervalMs && !IsUp(link) && IsReceptionBehind(link); ms += kLookMs)
            platform::Sleep(kLookMs);
        if (IsUp(link)) return true;
    }
    return false;
}

bool IsLineGone(LinkState &link) {
    return !link.port.IsOpen() || link.port.IsLost();
}

void TakeUpLine(LinkState &link) {
    link.port.Close();
    if (!link.port.Open(kTerminator)) return;
    const LinkGuard guard(link);
    link.retryTicks = 0;
    EndTornFrame(link);
}

}  // namespace cc
