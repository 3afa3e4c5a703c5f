// Counters of multimedia ticks, on which every time-out rests.
#pragma once

#include <atomic>
#include <cstdint>

namespace cc {

/// Three counters of one arm. Slots are taken and given back on the caller's thread; counts advance on the
/// timer thread and, in simulation mode, on the caller's. A count stands by itself, so relaxed order is
/// enough.
struct TickCounters {
    static constexpr int16_t kSlots = 3;

    struct Slot {
        std::atomic<bool> inUse{false};
        std::atomic<uint16_t> count{0};
    };
    Slot tickCounters[kSlots];
};

/// Takes the lowest free slot and sets its count to 0. Result: its number, or -1 when all are in use.
int16_t CreateArmCounter(TickCounters &counters);
/// Frees a slot. Result: whether the number names one.
bool DeleteArmCounter(TickCounters &counters, int16_t slot);
/// The count of a slot in use, wrapping at 65536; else 0.
uint16_t GetArmCounter(const TickCounters &counters, int16_t slot);
/// Adds one tick to every slot in use.
void AdvanceTickCounters(TickCounters &counters);

/// A slot for the time of a wait.
class TickCounter {
  public:
    explicit TickCounter(TickCounters &counters) : counters_(counters), slot_(CreateArmCounter(counters)) {}
    ~TickCounter() { DeleteArmCounter(counters_, slot_); }
    TickCounter(const TickCounter &) = delete;
    TickCounter &operator=(const TickCounter &) = delete;

    bool IsTaken() const { return slot_ >= 0; }
    uint16_t Ticks() const { return GetArmCounter(counters_, slot_); }

  private:
    TickCounters &counters_;
    const int16_t slot_;
};

}  // namespace cc
