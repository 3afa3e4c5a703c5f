#include <stdexcept>

#include "served_line.h"

namespace emulator {

struct ServedLine::Terminal {};

bool HasPseudoTerminals() {
    return false;
}

ServedLine::ServedLine(const std::string &device, const DeviceSettings &settings)
    : name_(device), device_(OpenDevice(device, settings)) {}

ServedLine::ServedLine(const std::string &, int) {
    throw std::runtime_error("Windows has no pseudo-terminals: name a device");
}

ServedLine::~ServedLine() {
    Unplug();
}

int ServedLine::Descriptor() const {
    return device_;
}

void ServedLine::Unplug() {
    if (device_ >= 0) CloseDevice(device_);
    device_ = -1;
}

}  // namespace emulator
