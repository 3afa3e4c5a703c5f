#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "controller.h"
#include "head.h"
#include "line_host.h"
#include "machine/emulated_line.h"
#include "machine/port_folder.h"
#include "pseudo_terminal.h"

namespace cmm {
namespace {

constexpr int kControllerPort = 3;
constexpr int kHeadPort = 4;

emulator::ControllerOptions Options(std::shared_ptr<const emulator::Part> part, double mmPerCount) {
    emulator::ControllerOptions options;
    options.part = std::move(part);
    options.mmPerCount = mmPerCount;
    options.probingSpeed = 20;
    return options;
}

}  // namespace

struct EmulatedLine::Running {
    Running(std::shared_ptr<const emulator::Part> part, double mmPerCount)
        : controller(Options(std::move(part), mmPerCount)) {
        terminal.LinkAs(folder.Path(), kControllerPort);
        host.Add(controller, terminal.Descriptor(), emulator::kByteTimeController,
                 [this] { terminal.Unplug(); });
        headTerminal.LinkAs(folder.Path(), kHeadPort);
        host.Add(head, headTerminal.Descriptor(), emulator::kByteTimeHead, [this] { headTerminal.Unplug(); });
        thread = std::thread([this] { host.Run(stop); });
    }
    ~Running() {
        stop = true;
        thread.join();
        terminal.Unplug();
        headTerminal.Unplug();
    }

    const PortFolder folder;
    emulator::Controller controller;
    emulator::Head head{emulator::HeadOptions{}};
    emulator::PseudoTerminal terminal;
    emulator::PseudoTerminal headTerminal;
    emulator::LineHost host;
    std::atomic<bool> stop{false};
    std::thread thread;
};

EmulatedLine::EmulatedLine(std::shared_ptr<const emulator::Part> part, double mmPerCount)
    : running_(std::make_unique<Running>(std::move(part), mmPerCount)) {}

EmulatedLine::~EmulatedLine() = default;

bool EmulatedLine::IsPossible() {
    return true;
}

std::string EmulatedLine::Port() const {
    return "COM" + std::to_string(kControllerPort);
}

std::string EmulatedLine::HeadPort() const {
    return "COM" + std::to_string(kHeadPort);
}

}  // namespace cmm
