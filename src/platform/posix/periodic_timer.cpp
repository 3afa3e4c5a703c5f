#include "platform/periodic_timer.h"

#include <algorithm>

#include "platform/portable/tick_grid.h"
#include "platform/posix/monotonic.h"

namespace cc::platform {
namespace {

struct Timer {
    uint32_t id;  // 0: the entry is free
    TimerCallback callback;
    int64_t period;  // ns
    int64_t due;     // ns, MonotonicNow's time
};

constexpr int64_t kMillisecond = 1'000'000;  // ns

Monitor monitor;
Timer timers[8];
uint32_t lastId = 0;
uint32_t runningId = 0;  // timer whose callback is running
bool threadRuns = false;
bool threadToJoin = false;  // a thread was created and not joined yet
pthread_t thread;

Timer *FindTimer(uint32_t id) {
    auto *const found =
        std::find_if(std::begin(timers), std::end(timers), [id](const Timer &t) { return t.id == id; });
    return found == std::end(timers) ? nullptr : found;
}

Timer *NextTimer() {
    Timer *next = nullptr;
    for (Timer &timer : timers) {
        if (timer.id != 0 && (next == nullptr || timer.due < next->due)) next = &timer;
    }
    return next;
}

void *RunTimers(void *) {
    const Guard guard(monitor);
    while (Timer *const next = NextTimer()) {
        const int64_t now = MonotonicNow();
        if (next->due > now) {
            monitor.WaitUntil(next->due);
            continue;
        }
        next->due = NextTick(next->due, now, next->period, kMillisecond);
        runningId = next->id;
        const TimerCallback callback = next->callback;
        monitor.unlock();
        callback(runningId);
        monitor.lock();
        runningId = 0;
        monitor.NotifyAll();
    }
    threadRuns = false;
    monitor.NotifyAll();
    return nullptr;
}

// Under the lock, which a thread that does not run any more needs no longer.
void JoinEndedThread() {
    if (!threadRuns && threadToJoin) pthread_join(thread, nullptr);
    threadToJoin = threadRuns;
}

bool StartThread() {
    if (threadRuns) return true;
    JoinEndedThread();
    threadRuns = threadToJoin = pthread_create(&thread, nullptr, RunTimers, nullptr) == 0;
    return threadRuns;
}

}  // namespace

uint32_t StartPeriodicTimer(uint32_t periodMs, TimerCallback callback) {
    const Guard guard(monitor);
    Timer *const timer = FindTimer(0);
    if (timer == nullptr || periodMs == 0) return 0;
    const int64_t period = periodMs * kMillisecond;
    *timer = {++lastId, callback, period, MonotonicNow() + period};
    if (!StartThread()) {
        timer->id = 0;
        return 0;
    }
    monitor.NotifyAll();
    return timer->id;
}

void StopPeriodicTimer(uint32_t timerId) {
    const Guard guard(monitor);
    Timer *const timer = timerId == 0 ? nullptr : FindTimer(timerId);
    if (timer == nullptr) return;
    timer->id = 0;
    monitor.NotifyAll();
    if (threadRuns && pthread_equal(pthread_self(), thread)) return;
    while (runningId == timerId) monitor.Wait();
    // The thread ends with its last timer; the library may be unloaded after that.
    while (threadRuns && NextTimer() == nullptr) monitor.Wait();
    JoinEndedThread();
}

}  // namespace cc::platform
