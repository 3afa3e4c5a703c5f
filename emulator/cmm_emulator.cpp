// cmm-emulator: a controller on the far end of a serial line, for people who have no machine.
#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>

#include "controller.h"
#include "frame_words.h"
#include "head.h"
#include "line_host.h"
#include "pseudo_terminal.h"

namespace {

using namespace emulator;

std::atomic<bool> stop{false};

void OnSignal(int) {
    stop = true;
}

struct Options {
    ControllerOptions controller;
    std::string device;
    std::string folder;
    int port = 1;
    bool paced = false;
    bool strict = false;
    int gap = 2;         // ms
    int replyDelay = 3;  // ms
    bool log = false;
    std::string part = "sphere";
    double formError = 0.008;
    std::vector<std::string> faults;
    uint64_t seed = 1;
    std::vector<std::string> events;
    bool head = false;
    HeadOptions headOptions;
};

std::shared_ptr<const Part> MakePart(const Options &options) {
    const double amplitude = options.formError / 2;
    if (options.part == "none") return nullptr;
    if (options.part == "plane") return std::make_shared<PlanePart>();
    if (options.part == "plate") {
        auto plate = std::make_shared<PlatePart>();
        plate->formAmplitude = amplitude;
        return plate;
    }
    if (options.part == "cylinder" || options.part == "bore") {
        auto cylinder = std::make_shared<CylinderPart>();
        cylinder->formAmplitude = amplitude;
        cylinder->bore = options.part == "bore";
        return cylinder;
    }
    auto sphere = std::make_shared<SpherePart>();
    sphere->formAmplitude = amplitude;
    return sphere;
}

void LogFrame(FrameTeller &teller, int64_t microseconds, Direction direction, const Bytes &frame) {
    std::printf("%12.6f  %s  %-48s  %s\n", static_cast<double>(microseconds) / kSecond,
                direction == Direction::ToController ? "host -> controller" : "host <- controller",
                teller.Tell(direction, frame).c_str(), HexWords(frame).c_str());
    std::fflush(stdout);
}

// Controller events at given times: "48@2.5" is event 48 after two and a half seconds.
class EventPlan {
  public:
    explicit EventPlan(const std::vector<std::string> &texts) {
        for (const std::string &text : texts) {
            const size_t when = text.find('@');
            if (when == std::string::npos)
                throw std::invalid_argument("when? write '" + text + "' as CODE@SECONDS");
            plan_.emplace(static_cast<int64_t>(std::stod(text.substr(when + 1)) * kSecond),
                          std::stoi(text.substr(0, when)));
        }
    }
    void Give(Controller &controller, int64_t now) {
        while (!plan_.empty() && plan_.begin()->first <= now) {
            controller.AdvanceTo(now);
            controller.GiveEvent(static_cast<uint8_t>(plan_.begin()->second));
            plan_.erase(plan_.begin());
        }
    }

  private:
    std::multimap<int64_t, int> plan_;
};

int Run(Options &options) {
    options.controller.part = MakePart(options);
    options.controller.link.frameGap = options.gap * kMillisecond;
    options.controller.link.ignoresRepetitions = options.strict;
    options.controller.replyDelay = options.replyDelay * kMillisecond;
    Controller controller(options.controller);
    controller.Faults().Seed(options.seed);
    for (const std::string &fault : options.faults) controller.Faults().Add(ParseFault(fault));
    EventPlan events(options.events);
    FrameTeller teller(options.controller.mmPerCount);
    if (options.log) {
        controller.onFrame = [&teller](int64_t time, Direction direction, const Bytes &frame) {
            LogFrame(teller, time, direction, frame);
        };
    }

    LineHost host;
    std::optional<PseudoTerminal> terminal;
    const int64_t byteTime = options.paced ? kByteTimeController : 0;
    const int64_t gap = options.controller.link.frameGap;
    if (options.device.empty()) {
        terminal.emplace();
        if (!options.folder.empty()) terminal->LinkAs(options.folder, options.port);
        host.Add(
            controller, terminal->Descriptor(), byteTime, [&terminal] { terminal->Unplug(); }, gap);
        std::cout << "controller on " << terminal->Path() << std::endl;
    } else {
        const int descriptor = OpenDevice(options.device, 9600, true, 1);
        host.Add(
            controller, descriptor, byteTime, [descriptor] { close(descriptor); }, gap);
        std::cout << "controller on " << options.device << std::endl;
    }
    Head head(options.headOptions);
    std::optional<PseudoTerminal> headTerminal;
    if (options.head) {
        headTerminal.emplace();
        if (!options.folder.empty()) headTerminal->LinkAs(options.folder, options.port + 1);
        host.Add(head, headTerminal->Descriptor(), options.paced ? kByteTimeHead : 0,
                 [&headTerminal] { headTerminal->Unplug(); });
        std::cout << "head on " << headTerminal->Path() << std::endl;
    }
    while (!stop) {
        host.RunOnce(20 * kMillisecond);
        events.Give(controller, host.Now());
    }
    std::cout << "stopped after " << controller.Faults().Frames(Direction::ToController)
              << " frames from and " << controller.Faults().Frames(Direction::ToHost) << " to the host"
              << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Emulated controller of a coordinate-measuring machine on a serial line");
    auto *const device =
        app.add_option("--device", options.device, "Serial device; without it a pseudo-terminal is made");
    app.add_option("--link-dir", options.folder, "Folder in which the pseudo-terminal is linked as comN")
        ->check(CLI::ExistingDirectory)
        ->excludes(device);
    app.add_option("--port", options.port, "N of comN")->capture_default_str();
    app.add_flag("--strict", options.strict, "Drop repeated frames without acknowledging them again");
    app.add_flag("--paced", options.paced, "Send and take bytes at the speed of the line, 9600 baud");
    app.add_option("--gap", options.gap, "Least time from one frame to the host to the next, ms")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--reply-delay", options.replyDelay, "Time from a command to its reply, ms")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_flag("--log", options.log, "Print each frame in plain words");
    app.add_option("--part", options.part,
                   "What stands on the table, about X 100 Y 80 Z 50; the plane is all below Z 0")
        ->check(CLI::IsMember({"sphere", "plate", "cylinder", "bore", "plane", "none"}))
        ->capture_default_str();
    app.add_option("--form-error", options.formError, "Form error of the part, mm; the plane has none")
        ->capture_default_str();
    app.add_option("--type", options.controller.type, "Controller type")->capture_default_str();
    app.add_option("--level", options.controller.level, "Controller level")->capture_default_str();
    app.add_option("--option", options.controller.option, "Option code")->capture_default_str();
    app.add_flag("--wants-table", options.controller.wantsTable, "Ask for the table at the first start");
    app.add_option("--scale", options.controller.mmPerCount, "mm per count")->capture_default_str();
    app.add_option("--speed", options.controller.speed, "Speed of moves, mm/s")->capture_default_str();
    app.add_option("--probing-speed", options.controller.probingSpeed, "Speed of probing, mm/s")
        ->capture_default_str();
    app.add_option("--fault", options.faults,
                   "Fault [to-host:|to-controller:]KIND[=VALUE]@N at the N-th frame, or ...%PERCENT; KIND: "
                   "drop, corrupt, "
                   "repeat, delay=MS, split, merge, line-error, restart, silence=MS, state=S, unplug");
    app.add_option("--seed", options.seed, "Seed of the faults")->capture_default_str();
    app.add_option("--event", options.events, "Controller event CODE@SECONDS: 30, 31, 32, 48, 50, 51 to 55");
    app.add_flag("--head", options.head,
                 "Also emulate a probe head, on a second pseudo-terminal, linked as com(N+1)");
    app.add_option("--head-speed", options.headOptions.speed, "Speed of the head, degrees a second")
        ->capture_default_str();
    app.add_flag("--head-silent", options.headOptions.silent, "The head answers nothing");
    CLI11_PARSE(app, argc, argv);

    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    try {
        return Run(options);
    } catch (const std::exception &error) {
        std::cerr << "cmm-emulator: " << error.what() << "\n";
        return 1;
    }
}
