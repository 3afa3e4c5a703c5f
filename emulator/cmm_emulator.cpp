// cmm-emulator: a controller on the far end of a serial line, for people who have no machine.
#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "argument_checks.h"
#include "emulation.h"
#include "served_line.h"

namespace {

using namespace emulator;

std::atomic<bool> stop{false};

void OnSignal(int) {
    stop = true;
}

constexpr int kBadArguments = 2;

// What is given as text, and is made into options once all of it is known to be right.
struct Arguments {
    EmulationOptions options;
    std::string part = "sphere";
    double formError = 0.008;     // mm
    int gap = 2, replyDelay = 3;  // ms
    int type = 1, level = 16, option = 0;
    std::vector<std::string> faults, events;
};

std::shared_ptr<const Part> MakePart(const Arguments &arguments) {
    const double amplitude = arguments.formError / 2;
    const std::string &name = arguments.part;
    if (name == "none") return nullptr;
    if (name == "plane") return std::make_shared<PlanePart>();
    if (name == "plate") {
        auto plate = std::make_shared<PlatePart>();
        plate->formAmplitude = amplitude;
        return plate;
    }
    if (name == "cylinder" || name == "bore") {
        auto cylinder = std::make_shared<CylinderPart>();
        cylinder->formAmplitude = amplitude;
        cylinder->bore = name == "bore";
        return cylinder;
    }
    auto sphere = std::make_shared<SpherePart>();
    sphere->formAmplitude = amplitude;
    return sphere;
}

EmulationOptions Complete(const Arguments &arguments) {
    EmulationOptions options = arguments.options;
    options.controller.part = MakePart(arguments);
    options.controller.link.frameGap = arguments.gap * kMillisecond;
    options.controller.replyDelay = arguments.replyDelay * kMillisecond;
    options.controller.type = static_cast<uint8_t>(arguments.type);
    options.controller.level = static_cast<uint8_t>(arguments.level);
    options.controller.option = static_cast<uint8_t>(arguments.option);
    for (const std::string &fault : arguments.faults) options.faults.push_back(ParseFault(fault));
    for (const std::string &event : arguments.events) options.events.push_back(ParseEvent(event));
    options.head = options.head || !options.headDevice.empty();
    return options;
}

void AddLines(CLI::App &app, EmulationOptions &options) {
    auto *const device = app.add_option("--device", options.device, "Serial device of the controller");
    auto *const headDevice =
        app.add_option("--head-device", options.headDevice, "Serial device of an emulated probe head");
    if (!HasPseudoTerminals()) {
        device->required();
        return;
    }
    device->description("Serial device of the controller; without it a pseudo-terminal is made");
    app.add_option("--link-dir", options.folder,
                   "Folder in which pseudo-terminals are linked as comN; it is made")
        ->excludes(device);
    app.add_option("--port", options.port, "N of comN")->check(CLI::Range(1, 255))->capture_default_str();
    app.add_flag("--head", options.head,
                 "Also emulate a probe head, on a second pseudo-terminal, linked as com(N+1)")
        ->excludes(headDevice);
}

void AddController(CLI::App &app, Arguments &arguments) {
    ControllerOptions &controller = arguments.options.controller;
    const CLI::Range byte(0, 255);
    auto *const replay =
        app.add_option("--replay", arguments.options.recording,
                       "Answer as the controller of a recording did: a trace of the library, or what "
                       "--log printed")
            ->check(CLI::ExistingFile);
    const auto invented = [replay](CLI::Option *option) { option->excludes(replay)->capture_default_str(); };
    invented(app.add_option("--part", arguments.part,
                            "What stands on the table, about X 100 Y 80 Z 50; the plane is all below Z 0")
                 ->check(CLI::IsMember({"sphere", "plate", "cylinder", "bore", "plane", "none"})));
    invented(
        app.add_option("--form-error", arguments.formError, "Form error of the part, mm; the plane has none")
            ->check(CLI::Range(0.0, 10.0)));
    invented(app.add_option("--type", arguments.type, "Controller type")->check(byte));
    invented(app.add_option("--level", arguments.level, "Controller level")->check(byte));
    invented(app.add_option("--option", arguments.option, "Option code")->check(byte));
    invented(app.add_flag("--wants-table", controller.wantsTable, "Ask for the table at the first start"));
    invented(app.add_option("--speed", controller.speed, "Speed of moves, mm/s")->check(Positive()));
    invented(app.add_option("--probing-speed", controller.probingSpeed, "Speed of probing, mm/s")
                 ->check(Positive()));
    invented(app.add_option("--event", arguments.events,
                            "Controller event CODE@SECONDS: 30, 31, 32, 48, 50, 51 to 55")
                 ->check(Parses(ParseEvent)));
    app.add_option("--scale", controller.mmPerCount, "Length of a count, mm")
        ->check(Positive())
        ->capture_default_str();
    app.add_option("--reply-delay", arguments.replyDelay,
                   "Time from a command to its reply, ms; in a replay where no times are known")
        ->check(CLI::Range(0, 600000))
        ->capture_default_str();
}

void AddLink(CLI::App &app, Arguments &arguments) {
    EmulationOptions &options = arguments.options;
    app.add_flag("--strict", options.controller.link.ignoresRepetitions,
                 "Drop repeated frames without acknowledging them again");
    app.add_flag("--paced", options.paced, "Send and take bytes at the speed of the line, 9600 baud");
    app.add_option("--gap", arguments.gap, "Least time from one frame to the host to the next, ms")
        ->check(CLI::Range(0, 600000))
        ->capture_default_str();
    app.add_option(
           "--fault", arguments.faults,
           "Fault [to-host:|to-controller:]KIND[=VALUE]@N at the N-th frame, or ...%PERCENT; KIND: drop, "
           "corrupt, repeat, delay=MS, split, merge, line-error, restart, silence=MS, state=S, unplug")
        ->check(Parses(ParseFault));
    app.add_option("--seed", options.seed, "Seed of the faults")->capture_default_str();
    app.add_flag("--log", options.log, "Print each frame in plain words");
}

}  // namespace

int main(int argc, char **argv) {
    Arguments arguments;
    CLI::App app("Emulated controller of a coordinate-measuring machine on a serial line");
    app.set_version_flag("--version", "cmm-emulator " CMM_VERSION, "Print the version");
    app.footer("Exit status: 0 stopped by a signal; 1 the line cannot be served; 2 wrong arguments.");
    AddLines(app, arguments.options);
    AddController(app, arguments);
    AddLink(app, arguments);
    HeadOptions &head = arguments.options.headOptions;
    app.add_option("--head-speed", head.speed, "Speed of the head, degrees a second")
        ->check(Positive())
        ->capture_default_str();
    app.add_flag("--head-silent", head.silent, "The head answers nothing");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return app.exit(success);
    } catch (const CLI::ParseError &error) {
        app.exit(error);
        return kBadArguments;
    }
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    try {
        RunEmulation(Complete(arguments), stop);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "cmm-emulator: " << error.what() << "\n";
        return 1;
    }
}
