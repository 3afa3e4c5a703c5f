#include "platform/virtual/world.h"

#include <algorithm>

namespace cc::platform {

World &World::Instance() {
    // Never destroyed: static objects may still stop their timers while the process ends.
    static World &world = *new World;
    return world;
}

World::Entry World::At(int64_t microseconds, Action action) {
    const Entry entry{microseconds, ++made_};
    agenda_.emplace(entry, std::move(action));
    return entry;
}

void World::Cancel(Entry entry) {
    agenda_.erase(entry);
}

bool World::Step(int64_t deadline) {
    const auto first = agenda_.begin();
    if (first == agenda_.end() || first->first.first > deadline) {
        now_ = std::max(now_, deadline);
        return false;
    }
    now_ = std::max(now_, first->first.first);
    const Action action = std::move(first->second);
    agenda_.erase(first);
    action();
    return true;
}

void World::Pass(int64_t microseconds) {
    PassUntil(now_ + microseconds, [] { return false; });
}

bool World::PassUntil(int64_t deadline, const std::function<bool()> &reached) {
    for (;;) {
        // Who waits on the host cannot look while it stands still.
        while (StandsStill()) {
            if (!Step(stillUntil_ - 1)) now_ = stillUntil_;
        }
        if (reached()) return true;
        if (!Step(deadline)) return reached();
    }
}

}  // namespace cc::platform
