#include <libudev.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

#include "machine/device.h"
#include "ports/serial_devices.h"

namespace cmm {
namespace {

namespace fs = std::filesystem;

constexpr char kById[] = "/dev/serial/by-id";
constexpr char kByPath[] = "/dev/serial/by-path";
constexpr int kMostPorts = 256;  // that the library has names for

using Udev = std::unique_ptr<udev, decltype(&udev_unref)>;
using Enumeration = std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)>;
using Device = std::unique_ptr<udev_device, decltype(&udev_device_unref)>;

std::string Text(const char *text) {
    return text != nullptr ? text : "";
}

// Names in udev's database are escaped: blanks stand there as underlines.
std::string Readable(std::string text) {
    std::replace(text.begin(), text.end(), '_', ' ');
    return text;
}

// What stands first of several texts.
std::string FirstOf(std::initializer_list<std::string> texts) {
    for (const std::string &text : texts) {
        if (!text.empty()) return text;
    }
    return {};
}

// A name below `folder` that leads to the device.
std::string LinkTo(const char *folder, const std::string &device) {
    std::error_code error;
    std::string found;
    for (const auto &entry : fs::directory_iterator(folder, error)) {
        const bool leadsThere = fs::equivalent(entry.path(), device, error) && !error;
        if (leadsThere && (found.empty() || entry.path().string() < found)) found = entry.path();
    }
    return found;
}

std::string Description(udev_device *device) {
    const auto property = [device](const char *name) {
        return Text(udev_device_get_property_value(device, name));
    };
    udev_device *const usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    const auto attribute = [usb](const char *name) {
        return usb == nullptr ? std::string() : Text(udev_device_get_sysattr_value(usb, name));
    };
    const std::string parts[] = {
        FirstOf({attribute("manufacturer"), property("ID_VENDOR_FROM_DATABASE"),
                 Readable(property("ID_VENDOR"))}),
        FirstOf({attribute("product"), property("ID_MODEL_FROM_DATABASE"), Readable(property("ID_MODEL"))}),
        FirstOf({attribute("serial"), property("ID_SERIAL_SHORT")})};
    std::string description;
    for (const std::string &part : parts) {
        if (!part.empty()) description += (description.empty() ? "" : " ") + part;
    }
    if (!description.empty()) return description;
    udev_device *const parent = udev_device_get_parent(device);
    const std::string driver = Text(udev_device_get_driver(parent));
    const bool onBoard = driver == "serial8250" || Text(udev_device_get_subsystem(parent)) == "pnp";
    return onBoard ? "port of the computer" : driver;
}

// Whether there is a line behind it: consoles and terminals have no parent, and the system has names for ports of the
// computer that it lacks.
bool IsSerialLine(udev_device *device) {
    if (udev_device_get_devnode(device) == nullptr || udev_device_get_parent(device) == nullptr) return false;
    const char *const chip = udev_device_get_sysattr_value(device, "type");
    return chip == nullptr || std::strcmp(chip, "0") != 0;
}

// What the library calls which device, by the device's real name.
std::map<std::string, std::string> ComNames() {
    std::map<std::string, std::string> names;
    const char *const folder = std::getenv("CC_PORT_DIR");
    for (int number = kMostPorts; number >= 1; --number) {
        const std::string path = folder != nullptr && *folder != '\0'
                                     ? std::string(folder) + "/com" + std::to_string(number)
                                     : "/dev/ttyS" + std::to_string(number - 1);
        std::error_code error;
        const fs::path device = fs::canonical(path, error);
        if (!error) names[device] = "COM" + std::to_string(number);
    }
    return names;
}

SerialDevice Describe(const std::string &device, const std::string &description) {
    SerialDevice described;
    described.device = device;
    described.stableName = FirstOf({LinkTo(kById, device), LinkTo(kByPath, device)});
    described.description = description;
    described.usedBy = UserOf(device);
    described.mayBeUsed = access(device.c_str(), R_OK | W_OK) == 0;
    return described;
}

}  // namespace

std::vector<SerialDevice> ListSerialDevices() {
    const Udev library(udev_new(), udev_unref);
    if (!library) throw std::runtime_error("the system does not tell its devices");
    const Enumeration all(udev_enumerate_new(library.get()), udev_enumerate_unref);
    udev_enumerate_add_match_subsystem(all.get(), "tty");
    udev_enumerate_scan_devices(all.get());
    std::map<std::string, std::string> comNames = ComNames();
    std::vector<SerialDevice> devices;
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(all.get())) {
        const Device device(udev_device_new_from_syspath(library.get(), udev_list_entry_get_name(entry)),
                            udev_device_unref);
        if (!device || !IsSerialLine(device.get())) continue;
        SerialDevice described = Describe(udev_device_get_devnode(device.get()), Description(device.get()));
        if (const auto name = comNames.extract(described.device)) described.comName = name.mapped();
        devices.push_back(described);
    }
    // What is linked by hand and is no device of the system's: a pseudo-terminal.
    for (const auto &[device, name] : comNames) {
        if (device.rfind("/dev/pts/", 0) != 0) continue;
        devices.push_back(Describe(device, "pseudo-terminal, as of cmm-emulator or socat"));
        devices.back().comName = name;
    }
    std::sort(devices.begin(), devices.end(), [](const SerialDevice &a, const SerialDevice &b) {
        return std::pair(a.device.size(), a.device) < std::pair(b.device.size(), b.device);
    });
    return devices;
}

}  // namespace cmm
