// What went over the controller's line.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace cmm {

/// Names and counts, in the order of CC_LinkStatistics.
using LinkCounts = std::vector<std::pair<const char *, uint32_t>>;

/// Counts of arm 1 since it was opened. May wait as CC_LINK_STATISTICS does. Empty on Windows, where the library does not
/// tell them.
LinkCounts CountLink();

}  // namespace cmm
