#include "ports/ports_command.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "machine/console.h"
#include "ports/serial_devices.h"

namespace cmm {
namespace {

// What --port takes, best first.
std::string CalledAs(const SerialDevice &device) {
    if (!device.comName.empty()) return device.comName;
    return device.stableName.empty() ? device.device : device.stableName;
}

std::string Condition(const SerialDevice &device) {
    if (!device.usedBy.empty()) return "in use by " + device.usedBy;
    return device.mayBeUsed ? "" : "you may not use it";
}

std::string Text(const std::vector<SerialDevice> &devices) {
    std::string text;
    for (const SerialDevice &device : devices) {
        text += device.device;
        if (!device.description.empty()) text += "  " + device.description;
        text += "\n  --port " + CalledAs(device) + "\n";
        if (!device.stableName.empty() && CalledAs(device) != device.stableName)
            text += "  --port " + device.stableName + "\n";
        if (const std::string condition = Condition(device); !condition.empty())
            text += "  " + condition + "\n";
    }
    return text;
}

nlohmann::ordered_json Json(const std::vector<SerialDevice> &devices) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const SerialDevice &device : devices) {
        list.push_back({{"device", device.device},
                        {"port", CalledAs(device)},
                        {"comName", device.comName},
                        {"stableName", device.stableName},
                        {"description", device.description},
                        {"usedBy", device.usedBy},
                        {"mayBeUsed", device.mayBeUsed}});
    }
    return list;
}

}  // namespace

void AddPortsCommand(CLI::App &app) {
    const auto json = std::make_shared<bool>(false);
    CLI::App &command = *app.add_subcommand(
        "ports", "List the serial devices, what they are and how --port names them; none is opened");
    command.add_flag("--json", *json, "As JSON");
    command.callback([json] {
        const std::vector<SerialDevice> devices = ListSerialDevices();
        Console console;
        if (*json) {
            std::cout << Json(devices).dump(2) << "\n";
        } else if (devices.empty()) {
            console.Say("There is no serial device. Is the adapter plugged in?");
        } else {
            console.Print(Text(devices));
        }
    });
}

}  // namespace cmm
