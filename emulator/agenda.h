// Time as it is told to the emulator, and what is due at which time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <utility>

namespace emulator {

inline constexpr int64_t kMicrosecond = 1;
inline constexpr int64_t kMillisecond = 1000;
inline constexpr int64_t kSecond = 1000000;

/// Actions by time, in microseconds. It has no clock: time moves when AdvanceTo is called.
class Agenda {
  public:
    using Action = std::function<void()>;
    using Entry = std::pair<int64_t, uint64_t>;
    static constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
    static constexpr Entry kNone{kNever, 0};

    int64_t Now() const { return now_; }
    Entry After(int64_t microseconds, Action action) {
        const Entry entry{now_ + microseconds, ++made_};
        actions_.emplace(entry, std::move(action));
        return entry;
    }
    void Cancel(Entry &entry) {
        actions_.erase(entry);
        entry = kNone;
    }
    /// Time of the first action; kNever without one.
    int64_t NextDue() const { return actions_.empty() ? kNever : actions_.begin()->first.first; }
    /// Runs what is due up to `time`, each at its own time. Time does not go back.
    void AdvanceTo(int64_t time) {
        while (NextDue() <= time) {
            const auto first = actions_.begin();
            now_ = std::max(now_, first->first.first);
            const Action action = std::move(first->second);
            actions_.erase(first);
            action();
        }
        now_ = std::max(now_, time);
    }

  private:
    int64_t now_ = 0;
    uint64_t made_ = 0;
    std::map<Entry, Action> actions_;
};

}  // namespace emulator
