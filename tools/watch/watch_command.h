// cmm watch.
#pragma once

#include <CLI/App.hpp>

namespace cmm {

/// Its work runs while the program's arguments are parsed; failures are thrown as Failure.
void AddWatchCommand(CLI::App &app);

}  // namespace cmm
