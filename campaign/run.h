// Sessions in processes of their own: what crashes or hangs is a breach too, and none finds what another left.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "account.h"

namespace campaign {

/// What the parent process learns of a session.
struct Outcome {
    int64_t lineTime = 0;  // µs
    long calls = 0;
    long frames = 0;  // data frames of the host
    std::vector<Breach> breaches;
    std::vector<Weakness> weaknesses;

    bool Breaks(const std::string &invariant) const;
};

/// Runs plans in up to `processes` processes at once, asking for the next plan until there is none.
void RunSessions(int processes, const std::function<bool(Plan &)> &next,
                 const std::function<void(const Plan &, const Outcome &)> &done);

/// Runs one, which tells what happens on standard output if wanted.
Outcome RunAlone(const Plan &plan, bool tells);

/// Drops steps of a plan that breaks an invariant while it still does. Result: the shortest plan found.
Plan Shorten(Plan plan, const std::string &invariant);

}  // namespace campaign
