// The values of awaitedReply: what the current call waits for.
#pragma once

#include <cstdint>

#include "protocol/vocabulary.h"

/// Answers differ in how they say that they are the awaited one, so each value is the number that its answer carries:
/// a controller state, the number of a setting, the code of a reply.
namespace cc::awaited {

inline constexpr int32_t kNothing = 0;
inline constexpr int32_t kAnyState = -1;  // the next state reply, whatever the state
inline constexpr int32_t kZeroing = 1;  // the end of zeroing; controller information that comes is not stored
inline constexpr int32_t kTable = 7;    // the acknowledgement of a table entry
inline constexpr int32_t kAxesDisabled = 18;  // setting by S12
inline constexpr int32_t kAxesEnabled = 19;   // setting by S13

/// The setting that an S command changes, answered by the number of its digits.
constexpr int32_t Setting(CommandName name) {
    return DigitsNumber(name);
}

}  // namespace cc::awaited
