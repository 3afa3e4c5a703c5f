#include "session/worker_timer.h"

#include "platform/message_loop.h"
#include "session/worker.h"

namespace cc {

WorkerTimer workerTimer;

WorkerTimer::~WorkerTimer() {
    const platform::Guard guard(timerLock);
    if (workerTimerId != 0) platform::StopWindowTimer(window, workerTimerId);
}

bool RegisterWorker(ArmContext &context, void *window) {
    const platform::Guard guard(workerTimer.timerLock);
    if (workerTimer.workerTimerId == 0) {
        const auto period = static_cast<uint32_t>(context.settings.hiPeriodMs);
        workerTimer.workerTimerId = platform::StartWindowTimer(window, period, RunWorker);
        workerTimer.window = window;
    }
    if (workerTimer.workerTimerId == 0) return false;
    ++workerTimer.workerTimerRefs;
    context.connection.workerRegistered = true;
    return true;
}

void ReleaseWorker(ArmContext &context) {
    if (!context.connection.workerRegistered) return;
    const platform::Guard guard(workerTimer.timerLock);
    --workerTimer.workerTimerRefs;
    if (workerTimer.workerTimerId != 0 && workerTimer.workerTimerRefs == 0) {
        platform::StopWindowTimer(workerTimer.window, workerTimer.workerTimerId);
        workerTimer.workerTimerId = 0;
    }
    context.connection.workerRegistered = false;
}

}  // namespace cc
