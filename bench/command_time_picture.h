// The picture of where the time of a command goes.
#pragma once

#include <string>
#include <vector>

#include "measurements.h"

namespace bench {

struct CommandBar {
    std::string name;
    CommandParts parts;
};

/// Writes stacked bars as an SVG that stands for itself. bare: the same command without the library, ms; drawn as
/// a line through all bars. Failures are thrown as std::runtime_error.
void DrawCommandTimes(const std::string &path, const std::vector<CommandBar> &bars, double bare);

}  // namespace bench
