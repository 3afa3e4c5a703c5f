// Deadlines on the monotonic clock, and the lock and condition that wait for them.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

#include "platform/mutex.h"

namespace cc::platform {

/// Nanoseconds of the monotonic clock.
inline int64_t MonotonicNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

inline timespec ToTimespec(int64_t nanoseconds) {
    return {static_cast<time_t>(nanoseconds / 1'000'000'000), static_cast<long>(nanoseconds % 1'000'000'000)};
}

/// A mutex with a condition variable. It has no destructor, so that a static one outlives every static object
/// that may still use it while the process ends.
class CC_LOCK Monitor {
  public:
    constexpr Monitor() = default;
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;

    void lock() CC_THREAD_SAFETY(acquire_capability()) { pthread_mutex_lock(&mutex_); }
    void unlock() CC_THREAD_SAFETY(release_capability()) { pthread_mutex_unlock(&mutex_); }
    /// Waits until notified; like WaitUntil, the lock is given up meanwhile.
    void Wait() CC_THREAD_SAFETY(requires_capability(this)) { pthread_cond_wait(&changed_, &mutex_); }
    /// Waits until notified or until the deadline, in MonotonicNow's time.
    void WaitUntil(int64_t deadline) CC_THREAD_SAFETY(requires_capability(this)) {
        const timespec until = ToTimespec(deadline);
        pthread_cond_clockwait(&changed_, &mutex_, CLOCK_MONOTONIC, &until);
    }
    void NotifyAll() { pthread_cond_broadcast(&changed_); }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
};

}  // namespace cc::platform
