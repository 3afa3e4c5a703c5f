// Frames of the line: type, stuffed message, stuffed XOR checksum, terminator.
#pragma once

#include <cstdint>

#include "link/message_queues.h"

namespace cc {

inline constexpr uint8_t kTerminator = 8;
inline constexpr uint8_t kEscape = 27;
inline constexpr uint8_t kStuffing = 32;  // added to a byte that follows an escape

/// First byte of a frame. All but the data types are control frames: the type and the terminator.
enum FrameType : uint8_t {
    kLineError = 1,
    kAck0 = 2,
    kData0 = 3,
    kData1 = 4,
    kAck1 = 5,
    kStartLinkAck = 6,
    kStartLink = 9,
};

/// Type byte of a frame that waits for its first transmission, which gives it its type.
inline constexpr uint8_t kNotTransmitted = 0;

/// Stores the data frame of a message in the slot at `writeIndex` and advances the index modulo `queueSize`; `move`
/// as in MessageSlot. Result: false, with nothing changed, when the slot is busy or the frame would not fit it.
bool BuildFrame(MessageSlot *slots, int32_t &writeIndex, int32_t queueSize, uint16_t length,
                const uint8_t *message, int32_t move = kNoMove);

/// Unstuffs a received data frame in place and lowers `length` by one for every escape removed. Result:
/// whether the checksum is right, also for a frame of nothing but type and terminator; false when no
/// terminator ends the frame.
bool CheckFrame(uint8_t *frame, uint16_t &length);

}  // namespace cc
