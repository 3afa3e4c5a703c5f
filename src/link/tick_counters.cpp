#include "link/tick_counters.h"

namespace cc {
namespace {

bool IsSlot(int16_t slot) {
    return slot >= 0 && slot < TickCounters::kSlots;
}

}  // namespace

int16_t CreateArmCounter(TickCounters &counters) {
    for (int16_t slot = 0; slot < TickCounters::kSlots; ++slot) {
        TickCounters::Slot &counter = counters.tickCounters[slot];
        if (counter.inUse.load(std::memory_order_relaxed)) continue;
        counter.count.store(0, std::memory_order_relaxed);
        counter.inUse.store(true, std::memory_order_relaxed);
        return slot;
    }
    return -1;
}

bool DeleteArmCounter(TickCounters &counters, int16_t slot) {
    if (!IsSlot(slot)) return false;
    counters.tickCounters[slot].inUse.store(false, std::memory_order_relaxed);
    return true;
}

uint16_t GetArmCounter(const TickCounters &counters, int16_t slot) {
    if (!IsSlot(slot) || !counters.tickCounters[slot].inUse.load(std::memory_order_relaxed)) return 0;
    return counters.tickCounters[slot].count.load(std::memory_order_relaxed);
}

void AdvanceTickCounters(TickCounters &counters) {
    for (TickCounters::Slot &counter : counters.tickCounters) {
        if (counter.inUse.load(std::memory_order_relaxed))
            counter.count.fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace cc
