#include "frame_words.h"

namespace emulator {
namespace {

constexpr uint8_t kLineError = 1, kAck0 = 2, kData0 = 3, kData1 = 4, kAck1 = 5, kStartAck = 6, kStartLink = 9;
constexpr uint8_t kEscape = 27, kStuffing = 32;

bool IsData(const Bytes &frame) {
    return !frame.empty() && (frame[0] == kData0 || frame[0] == kData1);
}

// What stands between type and terminator: the message and its checksum.
Bytes Unstuffed(const Bytes &frame) {
    Bytes bytes;
    for (size_t i = 1; i + 1 < frame.size(); ++i) {
        const bool escaped = frame[i] == kEscape && i + 2 < frame.size();
        if (escaped) ++i;
        bytes.push_back(static_cast<uint8_t>(frame[i] - (escaped ? kStuffing : 0)));
    }
    return bytes;
}

std::string DataWords(const Bytes &frame, const std::string &line) {
    return std::string(frame[0] == kData0 ? "data 0: " : "data 1: ") + line;
}

}  // namespace

Bytes MessageInFrame(const Bytes &frame) {
    if (!IsData(frame) || frame.size() < 3) return {};
    Bytes message = Unstuffed(frame);
    message.pop_back();
    return message;
}

bool IsDamaged(const Bytes &frame) {
    if (!IsData(frame)) return false;
    uint8_t sum = 0;
    for (const uint8_t byte : Unstuffed(frame)) sum = static_cast<uint8_t>(sum ^ byte);
    return sum != 0;
}

std::string FrameWords(Direction direction, const Bytes &frame) {
    switch (frame.empty() ? 0 : frame[0]) {
        case kLineError:
            return "line error";
        case kAck0:
            return "acknowledgement 0";
        case kAck1:
            return "acknowledgement 1";
        case kData0:
        case kData1: {
            const Bytes message = MessageInFrame(frame);
            return DataWords(frame, MessageLine(direction, message, MessageWords(direction, message)));
        }
        case kStartAck:
            return "start-link acknowledged";
        case kStartLink:
            return "start-link";
        default:
            return "undefined frame";
    }
}

bool Repetitions::IsRepetition(Direction direction, const Bytes &frame) {
    Bytes &last = last_[static_cast<int>(direction)];
    const bool again = frame == last;
    if (IsData(frame)) last = frame;
    if (!frame.empty() && frame[0] == kStartLink) last.clear();
    return again;
}

std::string FrameTeller::Tell(Direction direction, const Bytes &frame) {
    if (!IsData(frame) || frame.size() < 3) {
        repetitions_.IsRepetition(direction, frame);
        return FrameWords(direction, frame);
    }
    if (IsDamaged(frame)) return DataWords(frame, "damaged");
    const Bytes message = MessageInFrame(frame);
    if (repetitions_.IsRepetition(direction, frame))
        return DataWords(frame, MessageName(direction, message) + " again");
    return DataWords(frame, MessageLine(direction, message, dialogue_.Take(direction, message).words));
}

}  // namespace emulator
