#include "platform/periodic_timer.h"

#include <algorithm>
#include <map>

#include "platform/portable/tick_grid.h"
#include "platform/virtual/world.h"

namespace cc::platform {
namespace {

std::map<uint32_t, World::Entry> &Timers() {
    static auto &timers = *new std::map<uint32_t, World::Entry>;
    return timers;
}

void PutOnAgenda(uint32_t id, int64_t due, int64_t period, TimerCallback callback) {
    World &world = World::Instance();
    Timers()[id] = world.At(std::max(due, world.StillUntil()), [=, &world] {
        if (world.StandsStill()) return PutOnAgenda(id, due, period, callback);
        PutOnAgenda(id, NextTick(due, world.Now(), period, kMillisecond), period, callback);
        callback(id);
    });
}

}  // namespace

uint32_t StartPeriodicTimer(uint32_t periodMs, TimerCallback callback) {
    static uint32_t lastId = 0;
    if (periodMs == 0 || World::Instance().refusesTimers || World::Instance().CallFails()) return 0;
    const int64_t period = periodMs * kMillisecond;
    PutOnAgenda(++lastId, World::Instance().Now() + period, period, callback);
    return lastId;
}

void StopPeriodicTimer(uint32_t timerId) {
    const auto timer = Timers().find(timerId);
    if (timer == Timers().end()) return;
    World::Instance().Cancel(timer->second);
    Timers().erase(timer);
}

}  // namespace cc::platform
