#include "platform/periodic_timer.h"

// windows.h comes first: the multimedia header needs it.
#include <windows.h>
//
#include <mmsystem.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <mutex>

#include "platform/portable/tick_grid.h"

namespace cc::platform {
namespace {

constexpr UINT kResolutionMs = 10;

constexpr int64_t kMillisecond = 1000;  // us
constexpr uint32_t kStopping = UINT32_MAX;

// A timer of the system's. Its period is its resolution request, too.
struct Timer {
    uint32_t id;  // 0: the entry is free; kStopping
    UINT periodMs;
    TimerCallback callback;
    int64_t due;  // us, of the monotonic clock; used on the timer thread
};

std::mutex lock;
Timer timers[8];

Timer *FindTimer(uint32_t id) {
    auto *const found = std::find_if(std::begin(timers), std::end(timers),
                                     [id](const Timer &timer) { return timer.id == id; });
    return found == std::end(timers) ? nullptr : found;
}

int64_t Now() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

// The system makes up for every tick that it missed, back to back; of these only those that are due count.
void CALLBACK OnTick(UINT timerId, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR) {
    Timer &timer = *reinterpret_cast<Timer *>(user);
    const int64_t period = timer.periodMs * kMillisecond;
    const int64_t now = Now();
    if (now < timer.due - period / 2) return;
    timer.due = NextTick(timer.due, now, period, kMillisecond);
    timer.callback(timerId);
}

}  // namespace

uint32_t StartPeriodicTimer(uint32_t periodMs, TimerCallback callback) {
    const std::lock_guard guard(lock);
    Timer *const timer = FindTimer(0);
    if (timer == nullptr || periodMs == 0 || timeBeginPeriod(periodMs) == TIMERR_NOCANDO) return 0;
    *timer = {0, periodMs, callback, Now() + periodMs * kMillisecond};
    timer->id = timeSetEvent(periodMs, kResolutionMs, OnTick, reinterpret_cast<DWORD_PTR>(timer),
                             TIME_PERIODIC | TIME_CALLBACK_FUNCTION | TIME_KILL_SYNCHRONOUS);
    if (timer->id == 0) timeEndPeriod(periodMs);
    return timer->id;
}

void StopPeriodicTimer(uint32_t timerId) {
    if (timerId == 0) return;
    Timer *timer = nullptr;
    {
        const std::lock_guard guard(lock);
        timer = FindTimer(timerId);
        if (timer == nullptr) return;
        timer->id = kStopping;
    }
    timeKillEvent(timerId);  // waits for a callback under way
    timeEndPeriod(timer->periodMs);
    const std::lock_guard guard(lock);
    *timer = {};
}

}  // namespace cc::platform
