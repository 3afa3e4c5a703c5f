// When periodic ticks fall due.
#pragma once

#include <cstdint>

namespace cc::platform {

/// A timer makes up for ticks that it is late by this many milliseconds, as on a busy machine. What a host
/// misses that stood still for longer is one tick: its time-outs must not pass before it has looked around.
inline constexpr int64_t kLongestCatchUpMs = 100;

/// The due time after the tick that fell due at `due` and runs at `now`, on the same grid of periods. All
/// arguments in one unit, of which `millisecond` says how many a millisecond has.
constexpr int64_t NextTick(int64_t due, int64_t now, int64_t period, int64_t millisecond) {
    const int64_t late = now - due;
    const int64_t missed = late > kLongestCatchUpMs * millisecond ? late / period : 0;
    return due + (missed + 1) * period;
}

}  // namespace cc::platform
