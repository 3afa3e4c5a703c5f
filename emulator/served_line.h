// The line at whose far end cmm-emulator stands: a serial device, or where the system has them a pseudo-terminal.
#pragma once

#include <memory>
#include <string>

#include "device.h"

namespace emulator {

/// Whether this system has pseudo-terminals; where it has none, a device must be named.
bool HasPseudoTerminals();

class ServedLine {
  public:
    /// A serial device.
    ServedLine(const std::string &device, const DeviceSettings &settings);
    /// A pseudo-terminal, linked as comN in the folder, which is made if it is not there; in none when `folder` is empty.
    /// Throws std::runtime_error when another emulator serves that port.
    ServedLine(const std::string &folder, int number);
    ~ServedLine();

    int Descriptor() const;
    /// The device's name, or the path of the pseudo-terminal.
    const std::string &Name() const { return name_; }
    /// Hangs up.
    void Unplug();

  private:
    struct Terminal;

    std::string name_;
    int device_ = -1;
    std::unique_ptr<Terminal> terminal_;
};

}  // namespace emulator
