#include <stdexcept>

#include "machine/emulated_line.h"

namespace cmm {

// The system has no pseudo-terminals; cmm-emulator on another machine and a null-modem cable do the same.
struct EmulatedLine::Running {};

EmulatedLine::EmulatedLine(std::shared_ptr<const emulator::Part>, double) {
    throw std::runtime_error("--emulate needs pseudo-terminals, which Windows does not have");
}

EmulatedLine::~EmulatedLine() = default;

bool EmulatedLine::IsPossible() {
    return false;
}

std::string EmulatedLine::Port() const {
    return {};
}

std::string EmulatedLine::HeadPort() const {
    return {};
}

}  // namespace cmm
