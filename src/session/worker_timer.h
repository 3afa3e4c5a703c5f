// The worker timer, which both arms share.
#pragma once

#include <atomic>
#include <cstdint>

#include "arm/arm_context.h"
#include "platform/mutex.h"

namespace cc {

struct WorkerTimer {
    /// A client may unload the library without closing its arms.
    ~WorkerTimer();

    platform::Mutex timerLock;
    uintptr_t workerTimerId CC_GUARDED_BY(timerLock) = 0;
    void *window CC_GUARDED_BY(timerLock) = nullptr;
    int32_t workerTimerRefs CC_GUARDED_BY(timerLock) = 0;

    std::atomic<bool> running{false};  // a run of the worker is under way
};

extern WorkerTimer workerTimer;

/// Makes the worker serve an arm; the first arm starts the timer, at its "Hi Period", on this thread or for its window.
/// Result: whether the timer runs.
bool RegisterWorker(ArmContext &context, void *window);

/// Undoes it; the last arm stops the timer.
void ReleaseWorker(ArmContext &context);

}  // namespace cc
