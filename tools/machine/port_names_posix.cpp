#include <cstdlib>
#include <map>

#include "machine/port_folder.h"
#include "machine/port_names.h"

namespace cmm {
namespace {

std::map<int, std::string> given;  // the paths, by the number of the port that leads there

bool IsPath(const std::string &text) {
    return text.find('/') != std::string::npos;
}

int NumberOf(const std::string &portText) {
    return portText.size() > 3 ? std::atoi(portText.c_str() + 3) : 0;
}

}  // namespace

struct PortNames::Links {
    PortFolder folder;

    // Result: the port's name in the folder. Numbers that stand in `other` are not taken.
    std::string Name(const std::string &path, const std::string &other) const {
        int number = 1;
        while (given.contains(number) || number == NumberOf(other)) ++number;
        folder.Link(number, path);
        given[number] = path;
        return "COM" + std::to_string(number);
    }
};

PortNames::PortNames(const std::string &port, const std::string &headPort)
    : port_(port), headPort_(headPort) {
    if (!IsPath(port) && !IsPath(headPort)) return;
    // A port with a number leads where it did without this folder.
    const std::string device = DeviceOf(port), headDevice = DeviceOf(headPort);
    links_ = std::make_unique<Links>();
    const auto take = [this](std::string &text, const std::string &leadsTo, const std::string &other) {
        if (IsPath(text)) {
            text = links_->Name(text, IsPath(other) ? "" : other);
        } else if (const int number = NumberOf(text); number > 0) {
            links_->folder.Link(number, leadsTo);
        }
    };
    take(port_, device, headPort);
    take(headPort_, headDevice, port);
}

PortNames::~PortNames() {
    if (links_) given.clear();
}

std::string PortName(const std::string &portText) {
    const auto path = given.find(NumberOf(portText));
    return path == given.end() ? portText : path->second;
}

std::string DeviceOf(const std::string &portText) {
    const int number = NumberOf(portText);
    if (const auto path = given.find(number); path != given.end()) return path->second;
    const char *const folder = std::getenv("CC_PORT_DIR");
    if (folder != nullptr && *folder != '\0') return std::string(folder) + "/com" + std::to_string(number);
    return "/dev/ttyS" + std::to_string(number - 1);
}

std::string PortWords(const std::string &portText) {
    const std::string name = PortName(portText), device = DeviceOf(portText);
    return name == device ? name : name + " (" + device + ")";
}

}  // namespace cmm
