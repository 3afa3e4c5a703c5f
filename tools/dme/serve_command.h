// cmm serve and cmm machine.
#pragma once

#include <CLI/App.hpp>

namespace cmm {

/// Their work runs while the program's arguments are parsed; failures are thrown as Failure.
void AddServeCommand(CLI::App &app);
void AddMachineCommand(CLI::App &app);

}  // namespace cmm
