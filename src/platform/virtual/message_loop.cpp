#include "platform/message_loop.h"

#include <algorithm>

#include "platform/virtual/world.h"

namespace cc::platform {
namespace {

struct WindowTimer {
    WindowTimerProcedure procedure = nullptr;  // null: no timer
    int64_t period = 0;
    int64_t due = 0;
    bool woken = false;
} timer;

}  // namespace

uintptr_t StartWindowTimer(void *, uint32_t periodMs, WindowTimerProcedure due) {
    if (timer.procedure != nullptr || periodMs == 0 || World::Instance().CallFails()) return 0;
    const int64_t period = periodMs * kMillisecond;
    timer = {due, period, World::Instance().Now() + period, false};
    return 1;
}

void StopWindowTimer(void *, uintptr_t) {
    timer = {};
}

void WakeWindowTimer() {
    if (timer.procedure != nullptr) timer.woken = true;
}

int LoopDescriptor() {
    return -1;
}

int LoopDispatch() {
    const int64_t now = World::Instance().Now();
    const bool periodic = timer.due <= now;
    if (timer.procedure == nullptr || !(periodic || timer.woken)) return 0;
    if (periodic) timer.due += ((now - timer.due) / timer.period + 1) * timer.period;
    timer.woken = false;
    return timer.procedure(periodic) ? 1 : 0;
}

int LoopRun(int milliseconds) {
    World &world = World::Instance();
    const int64_t end = world.Now() + milliseconds * kMillisecond;
    int ran = LoopDispatch();
    while (world.Now() < end) {
        const int64_t next = timer.procedure == nullptr ? end : std::min(end, timer.due);
        world.PassUntil(next, [] { return timer.woken; });
        ran += LoopDispatch();
    }
    return ran;
}

}  // namespace cc::platform
