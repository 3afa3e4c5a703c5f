#include <libudev.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "machine/device.h"
#include "machine/port_names.h"
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

bool LeadsTo(const std::string &path, const std::string &device) {
    struct stat one {
    }, other{};
    return stat(path.c_str(), &one) == 0 && stat(device.c_str(), &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

// A name below `folder` that leads to the device.
std::string LinkTo(const char *folder, const std::string &device) {
    std::error_code error;
    std::string found;
    for (const auto &entry : fs::directory_iterator(folder, error)) {
        if (LeadsTo(entry.path(), device) && (found.empty() || entry.path().string() < found))
            found = entry.path();
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
    const bool isOnBoard = Text(udev_device_get_sysname(device)).rfind("ttyS", 0) == 0;
    return isOnBoard ? "port of the computer" : Text(udev_device_get_driver(udev_device_get_parent(device)));
}

// Whether there is a line behind it: consoles and terminals have no parent, and the system has names for ports of the
// computer that it lacks.
bool IsSerialLine(udev_device *device) {
    if (udev_device_get_devnode(device) == nullptr || udev_device_get_parent(device) == nullptr) return false;
    const char *const chip = udev_device_get_sysattr_value(device, "type");
    return chip == nullptr || std::strcmp(chip, "0") != 0;
}

// Where the library looks for a port.
std::string PathOfPort(int number) {
    return DeviceOf("COM" + std::to_string(number));
}

// What the library calls a device; empty: nothing.
std::string ComName(const std::string &device) {
    for (int number = 1; number <= kMostPorts; ++number) {
        if (LeadsTo(PathOfPort(number), device)) return "COM" + std::to_string(number);
    }
    return {};
}

SerialDevice Describe(const std::string &device, const std::string &description) {
    SerialDevice described;
    described.device = device;
    described.stableName = FirstOf({LinkTo(kById, device), LinkTo(kByPath, device)});
    described.description = description;
    described.comName = ComName(device);
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
    std::vector<SerialDevice> devices;
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(all.get())) {
        const Device device(udev_device_new_from_syspath(library.get(), udev_list_entry_get_name(entry)),
                            udev_device_unref);
        if (!device || !IsSerialLine(device.get())) continue;
        devices.push_back(Describe(udev_device_get_devnode(device.get()), Description(device.get())));
    }
    // What is linked by hand and is no device of the system's: a pseudo-terminal.
    for (int number = 1; number <= kMostPorts; ++number) {
        std::error_code error;
        const std::string device = fs::read_symlink(PathOfPort(number), error);
        if (!error && device.rfind("/dev/pts/", 0) == 0)
            devices.push_back(Describe(device, "pseudo-terminal, as of cmm-emulator or socat"));
    }
    std::sort(devices.begin(), devices.end(), [](const SerialDevice &a, const SerialDevice &b) {
        return std::pair(a.device.size(), a.device) < std::pair(b.device.size(), b.device);
    });
    return devices;
}

}  // namespace cmm
