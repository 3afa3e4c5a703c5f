// Virtual time: one thread, one clock, one agenda. Whoever waits runs what falls due meanwhile, so that the
// library, its timers, its lines and whatever stands at their far ends run repeatably and without waiting.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace cc::platform {

class World {
  public:
    using Action = std::function<void()>;
    /// An entry of the agenda: its time and a number that keeps entries of one time in the order of their
    /// making.
    using Entry = std::pair<int64_t, uint64_t>;

    /// The world of the process.
    static World &Instance();

    /// Microseconds since the start.
    int64_t Now() const { return now_; }

    /// Puts an action on the agenda; a time that has passed means: as soon as time moves.
    Entry At(int64_t microseconds, Action action);
    void Cancel(Entry entry);

    /// Lets `microseconds` pass and runs what falls due, in order. May be called from inside an action.
    void Pass(int64_t microseconds);

    /// Lets time pass until `reached` gives true, at most until `deadline`. Result: what `reached` gave last.
    bool PassUntil(int64_t deadline, const std::function<bool()> &reached);

    /// The host stands still from now on, as a stopped process does: nothing of it runs, while the far ends of
    /// its lines go on. Afterwards waits that are over end first, then timers tick, and lines report last.
    void StandStill(int64_t microseconds) {
        const int64_t until = std::max(stillUntil_, now_ + microseconds);
        stoodStill_ += until - std::max(now_, stillUntil_);
        stillUntil_ = until;
    }
    /// How long the host has stood still so far, or will have when it goes on.
    int64_t StoodStill() const { return stoodStill_; }
    bool StandsStill() const { return now_ < stillUntil_; }
    /// When the host goes on, or went on last.
    int64_t StillUntil() const { return stillUntil_; }

    /// Whether periodic timers cannot be started.
    bool refusesTimers = false;
    /// How many calls of the seam that may fail succeed before one fails; negative: none fails.
    int callsUntilFailure = -1;
    /// Counts such a call. Result: whether it is the one that fails.
    bool CallFails() { return callsUntilFailure >= 0 && callsUntilFailure-- == 0; }
    /// Texts of the message boxes shown so far.
    std::vector<std::string> messageBoxes;

  private:
    // Runs the first entry if it is due by `deadline`; otherwise time stands at the deadline and the result
    // is false.
    bool Step(int64_t deadline);

    int64_t now_ = 0;
    int64_t stillUntil_ = 0;
    int64_t stoodStill_ = 0;
    uint64_t made_ = 0;
    std::map<Entry, Action> agenda_;
};

inline constexpr int64_t kMillisecond = 1000;

}  // namespace cc::platform
