// The window timer: a periodic procedure on the caller's own thread, run from that thread's message loop.
#pragma once

#include <cstdint>

namespace cc::platform {

/// `periodic`: a period has passed; false: the timer was only woken. Result: whether it did its work, which it may
/// refuse.
using WindowTimerProcedure = bool (*)(bool periodic);

/// Starts the timer on `window` (may be null), owned by the calling thread. One such timer exists at a time.
/// Result: its id, 0 when it could not be created.
uintptr_t StartWindowTimer(void *window, uint32_t periodMs, WindowTimerProcedure due);

/// Stops the timer: no call of the procedure begins any more. May be called from inside the procedure, and on
/// another thread than the timer's, where a call that is under way goes on to its end.
void StopWindowTimer(void *window, uintptr_t timerId);

/// Makes the procedure due at once, on the thread that owns the timer; any thread may call it. Wakes that come
/// before the procedure runs are one. Nothing happens without a timer.
void WakeWindowTimer();

/// The message loop where the system has none (not implemented by the Windows backend, whose clients have
/// their own).

/// A descriptor that polls readable when the procedure is due; -1 without a timer, or where time is virtual.
int LoopDescriptor();

/// Runs the procedure once if it is due and the calling thread owns the timer. Result: 1 if it did its work,
/// else 0; a tick that it refused is over.
int LoopDispatch();

/// Dispatches for `milliseconds`. Result: how often the procedure did its work.
int LoopRun(int milliseconds);

}  // namespace cc::platform
