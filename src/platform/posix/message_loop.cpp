#include "platform/message_loop.h"

#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>

#include "platform/posix/monotonic.h"

namespace cc::platform {
namespace {

struct WindowTimer {
    Monitor monitor;
    // All open, or all -1 without a timer.
    int either CC_GUARDED_BY(monitor) = -1;  // epoll: readable when one of the next two is
    int period CC_GUARDED_BY(monitor) = -1;  // timerfd: readable when a period has passed
    int wake CC_GUARDED_BY(monitor) = -1;    // eventfd: readable when the timer was woken
    pthread_t owner CC_GUARDED_BY(monitor) = {};
    WindowTimerProcedure procedure CC_GUARDED_BY(monitor) = nullptr;

    void Close() CC_REQUIRES(monitor) {
        for (int *const descriptor : {&either, &period, &wake}) {
            if (*descriptor >= 0) close(*descriptor);
            *descriptor = -1;
        }
    }

    bool Open(uint32_t periodMs) CC_REQUIRES(monitor) {
        either = epoll_create1(EPOLL_CLOEXEC);
        period = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        const timespec every = ToTimespec(int64_t{periodMs} * 1'000'000);
        const itimerspec setting{every, every};
        epoll_event readable{};
        readable.events = EPOLLIN;
        return epoll_ctl(either, EPOLL_CTL_ADD, period, &readable) == 0 &&
               epoll_ctl(either, EPOLL_CTL_ADD, wake, &readable) == 0 &&
               timerfd_settime(period, 0, &setting, nullptr) == 0;
    }

    bool IsOwned() const CC_REQUIRES(monitor) {
        return either >= 0 && pthread_equal(owner, pthread_self()) != 0;
    }
} timer;

// Whether a count of the descriptor was taken, whatever it is: what has come since is one.
bool TakeCount(int descriptor) {
    uint64_t count = 0;
    return read(descriptor, &count, sizeof count) == sizeof count;
}

// The timer's descriptor on the thread that owns it, else -1.
int OwnedDescriptor() {
    const Guard guard(timer.monitor);
    return timer.IsOwned() ? timer.either : -1;
}

}  // namespace

uintptr_t StartWindowTimer(void *, uint32_t periodMs, WindowTimerProcedure due) {
    const Guard guard(timer.monitor);
    if (timer.either >= 0) return 0;
    if (!timer.Open(periodMs)) {
        timer.Close();
        return 0;
    }
    timer.owner = pthread_self();
    timer.procedure = due;
    return 1;
}

void StopWindowTimer(void *, uintptr_t) {
    const Guard guard(timer.monitor);
    timer.Close();
}

void WakeWindowTimer() {
    const Guard guard(timer.monitor);
    if (timer.wake >= 0) eventfd_write(timer.wake, 1);
}

int LoopDescriptor() {
    const Guard guard(timer.monitor);
    return timer.either;
}

int LoopDispatch() {
    bool periodic = false;
    WindowTimerProcedure due = nullptr;
    {
        const Guard guard(timer.monitor);
        if (!timer.IsOwned()) return 0;
        periodic = TakeCount(timer.period);
        const bool woken = TakeCount(timer.wake);
        if (periodic || woken) due = timer.procedure;
    }
    return due != nullptr && due(periodic) ? 1 : 0;
}

int LoopRun(int milliseconds) {
    const int64_t end = MonotonicNow() + int64_t{milliseconds} * 1'000'000;
    int ran = 0;
    for (int64_t left = 1; left > 0;) {
        ran += LoopDispatch();
        left = end - MonotonicNow();
        // A negative descriptor, where this thread has no timer, makes poll a mere wait.
        pollfd due{OwnedDescriptor(), POLLIN, 0};
        if (left > 0) poll(&due, 1, static_cast<int>((left + 999'999) / 1'000'000));
    }
    return ran;
}

}  // namespace cc::platform
