#include "link/tick_counters.h"

#include "arm/arm_context.h"
#include "cc_interface.h"

namespace cc {
namespace {

bool IsSlot(int16_t slot) {
    return slot >= 0 && slot < TickCounters::kSlots;
}

}  // namespace

int16_t CreateArmCounter(TickCounters &counters) {
    for (int16_t slot = 0; slot < TickCounters::kSlots; ++slot) {
        TickCounters::Slot &counter = counters.tickCounters[slot];
        if (counter.inUse.load(std::memory_order_relaxed) != 0) continue;
        counter.count.store(0, std::memory_order_relaxed);
        counter.inUse.store(1, std::memory_order_relaxed);
        return slot;
    }
    return -1;
}

void DeleteArmCounter(TickCounters &counters, int16_t slot) {
    if (IsSlot(slot)) counters.tickCounters[slot].inUse.store(0, std::memory_order_relaxed);
}

uint16_t GetArmCounter(const TickCounters &counters, int16_t slot) {
    if (!IsSlot(slot) || counters.tickCounters[slot].inUse.load(std::memory_order_relaxed) == 0) return 0;
    return counters.tickCounters[slot].count.load(std::memory_order_relaxed);
}

void AdvanceTickCounters(TickCounters &counters) {
    for (TickCounters::Slot &counter : counters.tickCounters) {
        if (counter.inUse.load(std::memory_order_relaxed) != 0)
            counter.count.fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace cc

using namespace cc;

int16_t CC_CALL CreateCounter(void) {
    return CreateArmCounter(SelectArm(1).counters);
}

int16_t CC_CALL DeleteCounter(int16_t slot) {
    DeleteArmCounter(SelectArm(1).counters, slot);
    return IsSlot(slot) ? 1 : 0;
}

int16_t CC_CALL GetCounter(int16_t slot) {
    return static_cast<int16_t>(GetArmCounter(SelectArm(1).counters, slot));
}
