// cmm demo and cmm measure.
#pragma once

#include <CLI/App.hpp>

namespace cmm {

/// Their work runs while the program's arguments are parsed; failures are thrown as Failure.
void AddDemoCommand(CLI::App &app);
void AddMeasureCommand(CLI::App &app);

}  // namespace cmm
