// A folder of links to serial devices, where the library looks for its ports. Not on Windows.
#pragma once

#include <optional>
#include <string>

#include "machine/temporaries.h"

namespace cmm {

/// CC_PORT_DIR names it while it lives, and what it named before afterwards. Made and destroyed while no other thread
/// looks for a port. Failures are thrown as std::runtime_error.
class PortFolder {
  public:
    PortFolder();
    ~PortFolder();

    const std::string &Path() const { return folder_.Path(); }
    /// Has COM`number` lead to the device.
    void Link(int number, const std::string &device) const;

  private:
    const Temporary folder_;
    std::optional<std::string> before_;
};

}  // namespace cmm
