// A measurement in a process of its own, and the surroundings of that process.
#pragma once

#include <functional>

#include "samples.h"

namespace bench {

/// Rows of figures.
using Rows = std::vector<Samples>;

/// Runs `work` in a process of its own and hands back its result. What `work` throws, or its death, is thrown
/// as std::runtime_error. The caller has one thread.
Rows RunApart(const std::function<Rows()> &work);

/// Makes this process one of an ordinary user, who gets no real-time priorities, if it is root's.
void BecomeOrdinaryUser();

/// Keeps this process, and those that it starts, to the first two processors that it may use.
void KeepToTwoProcessors();

}  // namespace bench
