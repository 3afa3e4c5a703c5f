// Periodic ticks on one timer thread of the process.
#pragma once

#include <cstdint>

namespace cc::platform {

/// Called on the timer thread with the timer's id. Must be short: all timers share the thread.
using TimerCallback = void (*)(uint32_t timerId);

/// Starts ticks every `periodMs` (1 to 1000) on absolute deadlines of a monotonic clock: a late tick does not
/// shift the following ones. What a host missed that stood still, as a stopped process does, is one tick.
/// Result: the timer's id, never used twice; 0 when it could not be started.
uint32_t StartPeriodicTimer(uint32_t periodMs, TimerCallback callback);

/// Stops a timer; when it returns, its callback has ended and is not called again. From inside the callback
/// it only prevents further calls. Unknown ids are ignored.
void StopPeriodicTimer(uint32_t timerId);

}  // namespace cc::platform
