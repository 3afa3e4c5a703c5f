// Calls of the library against the clock: none may take longer than it says, but for the time that its process was stopped.
#pragma once

#include "shared.h"

namespace soak {

/// Settings of the initialisation file, s.
inline constexpr int kTimeout = 2;
inline constexpr int kHeadTimeout = 1;

struct CallInfo {
    const char *name;
    double limit;  // s, by include/cc_interface.h and the settings
};
extern const CallInfo kCallInfos[kCallKinds];

/// What a call may take longer, µs: ticks that the host misses are not counted, so a busy one stretches every wait.
constexpr int64_t WithMargin(double limit) {
    return static_cast<int64_t>((limit * 1.5 + 2) * kSecond);
}

/// Makes a call and looks at its time. `more`: what it may take beyond its own limit, s. Result: the call's.
template <typename Call>
auto Timed(Shared &shared, CallKind kind, Call call, double more = 0) {
    const int64_t stopped = shared.stopped;
    const int64_t begin = Now();
    shared.callBegin = begin;
    shared.callStopped = stopped;
    shared.call = kind;
    const auto result = call();
    shared.call = -1;
    const int64_t took = Now() - begin - (shared.stopped - stopped);
    CallFigures &figures = shared.calls[kind];
    ++figures.count;
    if (!result) ++figures.failed;
    if (took > figures.longest) figures.longest = took;
    if (took > WithMargin(kCallInfos[kind].limit + more))
        Broken(shared, "%s took %.3f s", kCallInfos[kind].name, static_cast<double>(took) / kSecond);
    return result;
}

}  // namespace soak
