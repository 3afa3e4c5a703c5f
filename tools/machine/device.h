// Why the system does not give a port.
#pragma once

#include <string>

#include "machine/failure.h"

namespace cmm {

/// The failure of a port that could not be opened, with the system's reason, found by opening its device once more, and
/// what to do about it. portText: as given to CC_INIT, "COM3:9600,e,8,1"; `whose`: "controller" or "head".
Failure PortFailure(const std::string &portText, const std::string &whose);

/// Where a port text leads on this system: "COM3" or "/dev/ttyS2".
std::string DeviceOf(const std::string &portText);

}  // namespace cmm
