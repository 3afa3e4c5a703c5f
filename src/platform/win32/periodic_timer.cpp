#include "platform/periodic_timer.h"

// windows.h comes first: the multimedia header needs it.
#include <windows.h>
//
#include <mmsystem.h>

#include <algorithm>
#include <iterator>
#include <mutex>

namespace cc::platform {
namespace {

constexpr UINT kResolutionMs = 10;

// A timer of the system's, its resolution request, and the callback, which the system's own cannot carry on
// 64 bits.
struct Timer {
    uint32_t id;
    UINT resolution;
    TimerCallback callback;
};

std::mutex lock;
Timer timers[8];

Timer *FindTimer(uint32_t id) {
    auto *const found = std::find_if(std::begin(timers), std::end(timers),
                                     [id](const Timer &timer) { return timer.id == id; });
    return found == std::end(timers) ? nullptr : found;
}

void CALLBACK OnTick(UINT timerId, UINT, DWORD_PTR callback, DWORD_PTR, DWORD_PTR) {
    reinterpret_cast<TimerCallback>(callback)(timerId);
}

}  // namespace

uint32_t StartPeriodicTimer(uint32_t periodMs, TimerCallback callback) {
    const std::lock_guard guard(lock);
    Timer *const timer = FindTimer(0);
    if (timer == nullptr || periodMs == 0 || timeBeginPeriod(periodMs) == TIMERR_NOCANDO) return 0;
    const UINT id = timeSetEvent(periodMs, kResolutionMs, OnTick, reinterpret_cast<DWORD_PTR>(callback),
                                 TIME_PERIODIC | TIME_CALLBACK_FUNCTION | TIME_KILL_SYNCHRONOUS);
    if (id == 0) {
        timeEndPeriod(periodMs);
        return 0;
    }
    *timer = {id, periodMs, callback};
    return id;
}

void StopPeriodicTimer(uint32_t timerId) {
    if (timerId == 0) return;
    Timer stopped{};
    {
        const std::lock_guard guard(lock);
        Timer *const timer = FindTimer(timerId);
        if (timer == nullptr) return;
        stopped = *timer;
        *timer = {};
    }
    timeKillEvent(stopped.id);  // waits for a callback under way
    timeEndPeriod(stopped.resolution);
}

}  // namespace cc::platform
