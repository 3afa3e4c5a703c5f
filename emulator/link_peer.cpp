#include "link_peer.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace emulator {
namespace {

// The frames of the line, written down here a second time on purpose: a peer that shared the library's code
// would share its faults.
constexpr uint8_t kEnd = 8;
constexpr uint8_t kEscape = 27;
constexpr uint8_t kStuffed = 32;
constexpr uint8_t kLineError = 1;
constexpr uint8_t kAck[2] = {2, 5};
constexpr uint8_t kData[2] = {3, 4};
constexpr uint8_t kStartAck = 6;
constexpr uint8_t kStart = 9;

constexpr size_t kControlBytes = 2;

constexpr int kTransmissions = 4;
constexpr size_t kLongestFrame = 600;

// How long a USB adapter keeps what it has received for more to come, usually.
constexpr int64_t kAdapterLatency = 16 * kMillisecond;

Bytes DataFrame(uint8_t type, const Bytes &message) {
    Bytes frame{type};
    uint8_t sum = 0;
    const auto put = [&frame](uint8_t byte) {
        if (byte == kEnd || byte == kEscape) {
            frame.push_back(kEscape);
            byte = static_cast<uint8_t>(byte + kStuffed);
        }
        frame.push_back(byte);
    };
    for (const uint8_t byte : message) {
        put(byte);
        sum = static_cast<uint8_t>(sum ^ byte);
    }
    put(sum);
    frame.push_back(kEnd);
    return frame;
}

// The message of a data frame, or nothing when the frame is damaged.
std::optional<Bytes> MessageOf(const Bytes &frame) {
    Bytes message;
    uint8_t sum = 0;
    for (size_t i = 1; i + 1 < frame.size(); ++i) {
        uint8_t byte = frame[i];
        if (byte == kEscape && i + 2 < frame.size()) byte = static_cast<uint8_t>(frame[++i] - kStuffed);
        message.push_back(byte);
        sum = static_cast<uint8_t>(sum ^ byte);
    }
    if (message.empty() || sum != 0) return std::nullopt;
    message.pop_back();
    return message;
}

}  // namespace

void LinkPeer::Receive(uint8_t byte) {
    if (IsUnplugged()) return;
    incoming_.push_back(byte);
    if (byte != kEnd && incoming_.size() < kLongestFrame) return;
    Bytes frame;
    frame.swap(incoming_);
    ReceiveFrame(std::move(frame));
}

void LinkPeer::ReceiveFrame(Bytes bytes) {
    Late late{std::move(bytes), agenda_.Now(), 1, false};
    bool corrupt = false;
    for (const Fault &fault : faults_.Strike(Direction::ToController)) {
        if (fault.kind == FaultKind::Drop) late.times = 0;
        if (fault.kind == FaultKind::Repeat) ++late.times;
        corrupt |= fault.kind == FaultKind::Corrupt;
        if (fault.kind == FaultKind::Delay) late.notBefore += fault.value;
        late.merges |= fault.kind == FaultKind::Merge;
        ActOnFault(fault);
    }
    if (agenda_.Now() < silentUntil_ || IsUnplugged()) return;
    if (corrupt) Corrupt(late.frame);
    if (!late_.empty() && late_.back().merges) late_.back().notBefore = agenda_.Now();
    if (late.merges) late.notBefore += kAdapterLatency;
    late_.push_back(std::move(late));
    TakeLate();
}

// Once a frame: a second wrong bit may hide the first from the checksum.
void LinkPeer::Corrupt(Bytes &frame) {
    if (frame.size() > 1) frame[faults_.Pick(static_cast<uint32_t>(frame.size() - 1))] ^= 1;
}

void LinkPeer::TakeLate() {
    while (!late_.empty() && late_.front().notBefore <= agenda_.Now()) {
        const Late late = std::move(late_.front());
        late_.pop_front();
        for (int times = late.times; times > 0; --times) {
            if (onFrame) onFrame(agenda_.Now(), Direction::ToController, late.frame);
            ActOnFrame(late.frame);
        }
    }
    if (late_.empty()) return;
    agenda_.After(late_.front().notBefore - agenda_.Now(), [this] { TakeLate(); });
}

void LinkPeer::ActOnFault(const Fault &fault) {
    switch (fault.kind) {
        case FaultKind::LineError:
            return Control(kLineError);
        case FaultKind::Restart:
            return StartLink();
        case FaultKind::Silence:
            silentUntil_ = agenda_.Now() + fault.value;
            return;
        case FaultKind::State:
            return OnStateFault(static_cast<int>(fault.value));
        case FaultKind::Unplug:
            return Unplug();
        default:
            return;
    }
}

void LinkPeer::ActOnFrame(const Bytes &frame) {
    // A control frame is its type and the end. What is longer was a data frame until its type was damaged.
    const bool isData = frame[0] == kData[0] || frame[0] == kData[1];
    if (!isData && frame.size() != kControlBytes) return Control(kLineError);
    switch (frame[0]) {
        case kLineError:
            // The host wants the frame in flight again.
            if (txSequence_ != kDown && transmissions_ > 0) OnAckTimeout();
            return;
        case kAck[0]:
        case kAck[1]:
            return ReceiveAck(frame[0]);
        case kData[0]:
        case kData[1]:
            return ReceiveData(frame);
        case kStartAck:
            return OnStartAck();
        case kStart:
            rxSequence_ = 0;
            Control(kStartAck);
            // A host that starts may not know this side's sequence any more, unless a frame under way tells
            // it.
            if (transmissions_ == 0) StartLink();
            return;
        default:
            return Control(kLineError);
    }
}

void LinkPeer::ReceiveData(const Bytes &frame) {
    const std::optional<Bytes> message = MessageOf(frame);
    // A piece of a frame has a right checksum once in 256 times; its length tells. Nothing is not sent as a message.
    const bool whole = message && message->size() > 1 && size_t{message->front()} + 1 == message->size();
    if (rxSequence_ == kDown || !whole) return Control(kLineError);
    const int sequence = frame[0] == kData[0] ? 0 : 1;
    // A repetition was taken before; only its acknowledgement was lost.
    const bool repeated = sequence != rxSequence_;
    if (!repeated || !options_.ignoresRepetitions) Control(kAck[sequence]);
    if (repeated) return;
    rxSequence_ ^= 1;
    if (onMessage) onMessage(agenda_.Now(), *message);
    OnMessage(*message);
}

void LinkPeer::ReceiveAck(uint8_t type) {
    if (txSequence_ == kDown || transmissions_ == 0 || type != kAck[txSequence_]) return;
    agenda_.Cancel(timer_);
    txSequence_ ^= 1;
    transmissions_ = 0;
    messages_.pop_front();
    Transmit();
}

void LinkPeer::SendMessage(Bytes message) {
    messages_.push_back(std::move(message));
    if (transmissions_ == 0) Transmit();
}

void LinkPeer::Transmit() {
    if (txSequence_ == kDown || messages_.empty()) return;
    ++transmissions_;
    PutFrame(DataFrame(kData[txSequence_], messages_.front()));
    if (txSequence_ == kDown) return;  // a fault of that frame has started the link anew
    agenda_.Cancel(timer_);
    timer_ = agenda_.After(options_.ackTimeout, [this] { OnAckTimeout(); });
}

void LinkPeer::OnAckTimeout() {
    if (transmissions_ >= kTransmissions) return GiveUp();
    Transmit();
}

void LinkPeer::GiveUp() {
    givenUp_ = true;
    StartLink();
}

void LinkPeer::StartLink() {
    if (txSequence_ != kDown) startLinks_ = 0;
    if (transmissions_ > 0 && !givenUp_) ++doubtful_.twice;
    txSequence_ = kDown;
    transmissions_ = 0;
    ++startLinks_;
    Control(kStart);
    agenda_.Cancel(timer_);
    timer_ = agenda_.After(options_.ackTimeout, [this] { StartLink(); });
}

void LinkPeer::OnStartAck() {
    agenda_.Cancel(timer_);
    // A host that answers at once was there all the time. That it kept silent about a message means that it
    // has it already, and ignored the repetitions. One that was away gets the message again.
    if (givenUp_ && startLinks_ == 1) {
        messages_.pop_front();
        ++doubtful_.lost;
    } else if (givenUp_) {
        ++doubtful_.twice;
    }
    givenUp_ = false;
    txSequence_ = 0;
    transmissions_ = 0;
    Transmit();
}

void LinkPeer::Control(uint8_t type) {
    PutFrame({type, kEnd});
}

void LinkPeer::PutFrame(Bytes frame) {
    Outgoing out{std::move(frame), agenda_.Now()};
    int times = 1;
    bool corrupt = false, split = false, merge = false;
    for (const Fault &fault : faults_.Strike(Direction::ToHost)) {
        if (fault.kind == FaultKind::Drop) times = 0;
        if (fault.kind == FaultKind::Repeat) ++times;
        corrupt |= fault.kind == FaultKind::Corrupt;
        if (fault.kind == FaultKind::Delay) out.notBefore += fault.value;
        split |= fault.kind == FaultKind::Split;
        merge |= fault.kind == FaultKind::Merge;
        ActOnFault(fault);
    }
    if (agenda_.Now() < silentUntil_ || IsUnplugged()) return;
    if (corrupt) Corrupt(out.bytes);
    if (times > 0 && onFrame) onFrame(agenda_.Now(), Direction::ToHost, out.bytes);
    if (!merged_.empty()) {
        agenda_.Cancel(mergeTimer_);
        out.bytes.insert(out.bytes.begin(), merged_.begin(), merged_.end());
        merged_.clear();
    }
    if (merge && times > 0) {
        merged_ = out.bytes;
        mergeTimer_ = agenda_.After(kAdapterLatency, [this] {
            outgoing_.push_back({std::exchange(merged_, {}), agenda_.Now()});
            if (!putting_) PutOut();
        });
        return;
    }
    for (; times > 0; --times) {
        if (split) {
            const auto middle = out.bytes.begin() + static_cast<std::ptrdiff_t>(out.bytes.size() / 2);
            outgoing_.push_back({Bytes(out.bytes.begin(), middle), out.notBefore});
            outgoing_.push_back({Bytes(middle, out.bytes.end()), out.notBefore});
        } else {
            outgoing_.push_back(out);
        }
    }
    if (!putting_) PutOut();
}

void LinkPeer::PutOut() {
    putting_ = !outgoing_.empty();
    if (!putting_) return;
    const int64_t wait = outgoing_.front().notBefore - agenda_.Now();
    if (wait > 0) {
        agenda_.After(wait, [this] { PutOut(); });
        return;
    }
    Output(std::move(outgoing_.front().bytes));
    outgoing_.pop_front();
    agenda_.After(options_.frameGap, [this] { PutOut(); });
}

}  // namespace emulator
