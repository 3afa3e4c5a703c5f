// Events to the client.
#pragma once

#include <cstdint>

#include "replies/reply_state.h"

namespace cc {

/// Info words that differ from the event's number.
namespace info {
inline constexpr uint16_t kLinkLost = 257;
inline constexpr uint16_t kLinkInOrder = 1;
inline constexpr uint16_t kEvent17 = 273;
inline constexpr uint16_t kHold = 274;
inline constexpr uint16_t kResume = 275;
inline constexpr uint16_t kEvent21 = 277;
inline constexpr uint16_t kPointPlain = 0;
inline constexpr uint16_t kPointBuffered = 1;
inline constexpr uint16_t kPointWithSecond = 256;
}  // namespace info

/// Data words of the hold and resume events that the library gives by itself.
inline constexpr uint8_t kWordStart = 80;
inline constexpr uint8_t kWordReset = 128;

/// Calls the client's callback, if there is one. It may call any export, also one that closes the arm.
void Notify(ReplyState &replies, int32_t event, uint16_t infoWord, void *data = nullptr);

/// Hold and resume events with a word of the library's own.
void NotifyHold(ReplyState &replies, uint8_t word);
void NotifyResume(ReplyState &replies, uint8_t word);

}  // namespace cc
