// An emulated controller at the far end of a line that this program makes for itself.
#pragma once

#include <memory>
#include <string>

#include "part.h"

namespace cmm {

/// A controller with the sphere on its table, on a pseudo-terminal paced at the speed of the line, served by a thread of
/// its own. CC_PORT_DIR points to it while it lives. Failures are thrown as std::runtime_error.
class EmulatedLine {
  public:
    EmulatedLine(const emulator::SpherePart &part, double mmPerCount);
    ~EmulatedLine();

    /// Port name of the controller.
    std::string Port() const;

  private:
    struct Running;
    std::unique_ptr<Running> running_;
};

}  // namespace cmm
