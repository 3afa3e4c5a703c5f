#include "link/framing.h"

namespace cc {
namespace {

bool NeedsStuffing(uint8_t byte) {
    return byte == kTerminator || byte == kEscape;
}

uint8_t *PutStuffed(uint8_t *out, uint8_t byte) {
    if (NeedsStuffing(byte)) {
        *out++ = kEscape;
        byte = static_cast<uint8_t>(byte + kStuffing);
    }
    *out++ = byte;
    return out;
}

struct MessageSum {
    uint8_t checksum = 0;
    int32_t frameBytes = 2;  // type and terminator, then what the message and its checksum take
};

MessageSum Sum(const uint8_t *message, uint16_t length) {
    MessageSum sum;
    for (uint16_t i = 0; i < length; ++i) {
        sum.checksum = static_cast<uint8_t>(sum.checksum ^ message[i]);
        sum.frameBytes += NeedsStuffing(message[i]) ? 2 : 1;
    }
    sum.frameBytes += NeedsStuffing(sum.checksum) ? 2 : 1;
    return sum;
}

}  // namespace

bool BuildFrame(MessageSlot *slots, int32_t &writeIndex, int32_t queueSize, uint16_t length,
                const uint8_t *message, int32_t move) {
    MessageSlot &slot = slots[writeIndex];
    if (slot.IsBusy()) return false;
    const MessageSum sum = Sum(message, length);
    if (sum.frameBytes > MessageSlot::kBytes) return false;
    slot.data[0] = kNotTransmitted;
    slot.move = move;
    slot.dropped = false;
    uint8_t *out = slot.data + 1;
    for (uint16_t i = 0; i < length; ++i) out = PutStuffed(out, message[i]);
    out = PutStuffed(out, sum.checksum);
    *out = kTerminator;
    slot.Publish(static_cast<uint16_t>(sum.frameBytes));
    writeIndex = NextIndex(writeIndex, queueSize);
    return true;
}

bool CheckFrame(uint8_t *frame, uint16_t &length) {
    if (length < 2 || frame[length - 1] != kTerminator) return false;
    if (frame[1] == kTerminator) return true;
    uint8_t sum = 0;
    uint16_t out = 1;
    for (uint16_t in = 1; in + 1 < length; ++in, ++out) {
        uint8_t byte = frame[in];
        // An escape right before the terminator has nothing to unstuff and stands for itself.
        if (byte == kEscape && in + 2 < length) byte = static_cast<uint8_t>(frame[++in] - kStuffing);
        frame[out] = byte;
        sum = static_cast<uint8_t>(sum ^ byte);
    }
    frame[out] = kTerminator;
    length = static_cast<uint16_t>(out + 1);
    return sum == 0;
}

}  // namespace cc
