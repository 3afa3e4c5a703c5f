#include <cstdlib>

#include "machine/port_names.h"

namespace cmm {

// Every serial device has a name that the library knows.
struct PortNames::Links {};

PortNames::PortNames(const std::string &port, const std::string &headPort)
    : port_(port), headPort_(headPort) {}

PortNames::~PortNames() = default;

std::string PortName(const std::string &portText) {
    return portText;
}

std::string DeviceOf(const std::string &portText) {
    return "COM" + std::to_string(portText.size() > 3 ? std::atoi(portText.c_str() + 3) : 0);
}

std::string PortWords(const std::string &portText) {
    return DeviceOf(portText);
}

}  // namespace cmm
