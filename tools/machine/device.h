// Why the system does not give a port.
#pragma once

#include <string>

#include "machine/failure.h"

namespace cmm {

/// The failure of a port that could not be opened, with the system's reason, found by opening its device once more, and
/// what to do about it. portText: as given to CC_INIT, "COM3:9600,e,8,1"; `whose`: "controller" or "head".
Failure PortFailure(const std::string &portText, const std::string &whose);

/// What uses a serial device, "cmm-emulator (process 4711)", as far as the system tells without opening it; empty: nothing
/// is known to. Windows tells nothing.
std::string UserOf(const std::string &device);

}  // namespace cmm
