#include "platform/message_loop.h"

#include <poll.h>
#include <pthread.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>

#include "platform/posix/monotonic.h"

namespace cc::platform {
namespace {

Monitor monitor;
int descriptor = -1;  // timerfd; readable when the procedure is due
pthread_t owner;
WindowTimerProcedure procedure = nullptr;

// The timer's descriptor on the thread that owns it, else -1.
int OwnedDescriptor() {
    const Guard guard(monitor);
    return descriptor >= 0 && pthread_equal(owner, pthread_self()) ? descriptor : -1;
}

// Takes the ticks that are due as one. Null when none is, or when the calling thread does not own the timer.
WindowTimerProcedure TakeDueTick() {
    const Guard guard(monitor);
    uint64_t ticks = 0;
    if (descriptor < 0 || !pthread_equal(owner, pthread_self())) return nullptr;
    if (read(descriptor, &ticks, sizeof ticks) != sizeof ticks) return nullptr;
    return procedure;
}

}  // namespace

uintptr_t StartWindowTimer(void *, uint32_t periodMs, WindowTimerProcedure due) {
    const Guard guard(monitor);
    if (descriptor >= 0) return 0;
    descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (descriptor < 0) return 0;
    const timespec period = ToTimespec(int64_t{periodMs} * 1'000'000);
    const itimerspec setting{period, period};
    if (timerfd_settime(descriptor, 0, &setting, nullptr) != 0) {
        close(descriptor);
        descriptor = -1;
        return 0;
    }
    owner = pthread_self();
    procedure = due;
    return 1;
}

void StopWindowTimer(void *, uintptr_t) {
    const Guard guard(monitor);
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

int LoopDescriptor() {
    const Guard guard(monitor);
    return descriptor;
}

int LoopDispatch() {
    const WindowTimerProcedure due = TakeDueTick();
    return due != nullptr && due() ? 1 : 0;
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
