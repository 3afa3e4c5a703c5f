// An emulated controller at the far end of a line that this program makes for itself.
#pragma once

#include <memory>
#include <string>

#include "part.h"

namespace cmm {

/// A controller with the part on its table, and a probe head, on two pseudo-terminals paced at the speed of
/// their lines, served by a thread of their own. CC_PORT_DIR points to it while it lives. Failures are thrown
/// as std::runtime_error.
class EmulatedLine {
  public:
    EmulatedLine(std::shared_ptr<const emulator::Part> part, double mmPerCount);
    ~EmulatedLine();

    /// Whether the system has what it needs.
    static bool IsPossible();

    /// Port name of the controller.
    std::string Port() const;
    /// Port name of the head.
    std::string HeadPort() const;

  private:
    struct Running;
    std::unique_ptr<Running> running_;
};

}  // namespace cmm
