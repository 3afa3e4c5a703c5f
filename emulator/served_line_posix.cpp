#include <filesystem>
#include <optional>
#include <stdexcept>

#include "port_claim.h"
#include "pseudo_terminal.h"
#include "served_line.h"

namespace emulator {

struct ServedLine::Terminal {
    std::optional<PortClaim> claim;
    PseudoTerminal terminal;
};

bool HasPseudoTerminals() {
    return true;
}

ServedLine::ServedLine(const std::string &device, const DeviceSettings &settings)
    : name_(device), device_(OpenDevice(device, settings)) {}

ServedLine::ServedLine(const std::string &folder, int number) : terminal_(std::make_unique<Terminal>()) {
    name_ = terminal_->terminal.Path();
    if (folder.empty()) return;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw std::runtime_error("cannot make the folder " + folder + ": " + error.message());
    terminal_->claim.emplace(folder, number);
    terminal_->terminal.LinkAs(folder, number);
}

ServedLine::~ServedLine() {
    Unplug();
}

int ServedLine::Descriptor() const {
    return terminal_ ? terminal_->terminal.Descriptor() : device_;
}

void ServedLine::Unplug() {
    if (terminal_) {
        terminal_->terminal.Unplug();
    } else if (device_ >= 0) {
        CloseDevice(device_);
    }
    device_ = -1;
}

}  // namespace emulator
