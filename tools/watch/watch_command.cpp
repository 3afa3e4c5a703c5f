#include "watch/watch_command.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "argument_checks.h"
#include "config/initialisation_file.h"
#include "machine/emulated_line.h"
#include "machine/failure.h"
#include "machine/operator_stop.h"
#include "machine/port_names.h"
#include "machine/settings_file.h"
#include "watch/observer.h"
#include "watch/readout_text.h"
#include "watch/view.h"

namespace cmm {
namespace {

using std::chrono::milliseconds;

constexpr char kTimeouts[] = "timeout=1\nPH9 timeout=1\n";
constexpr milliseconds kLongestSilence{
    1000};  // behind the time of a reading, then the last one is said again

struct WatchOptions {
    bool simulate = false, emulate = false;
    std::string port, headPort, iniFile;
    double scale = 0.0001;
    double rotaryScale = 1;
    double temperatureScale = 0.01;
    double rate = 4;  // readings a second
    int count = 0;    // of readings; 0: until it is stopped
    bool json = false, lines = false;
};

bool ExchangesAxes(const std::string &iniFile) {
    std::ifstream given(iniFile);
    for (const Setting &setting : ReadInitialisationFile(given).settings) {
        if (setting.key == "KX_AXES_CONVENTION") return setting.value == "TRUE";
    }
    return false;
}

std::string MachineOf(const WatchOptions &options, const ObserverOptions &observed) {
    if (options.simulate) return "simulation";
    return options.emulate ? "emulated machine" : PortWords(observed.port);
}

// Whether what is written is still read.
bool Say(const std::string &line) {
    return std::fputs((line + "\n").c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

void Print(const Observer &observer, const WatchOptions &options, const std::atomic<bool> &stop) {
    int happened = 0, readings = 0;
    bool parametersTold = false, isRead = true;
    Readout last;
    const auto period = milliseconds(static_cast<int64_t>(1000 / options.rate));
    auto said = Readout::Clock::now();
    while (!stop && isRead && (options.count == 0 || readings < options.count)) {
        observer.Await(last, period + kLongestSilence);
        const Readout now = observer.Look();
        for (const Happening &happening : now.happenings) {
            if (happening.number <= happened) continue;
            happened = happening.number;
            isRead = Say(options.json ? HappeningJson(happening).dump() : HappeningText(happening));
        }
        const bool isOver = Readout::Clock::now() - said >= period + kLongestSilence;
        const bool isNew = now.number != last.number || now.line == Readout::Line::Lost;
        last = now;
        if (!isNew && (!isOver || now.number == 0)) continue;
        said = Readout::Clock::now();
        ++readings;
        const bool withParameters = !parametersTold && !now.parameters.empty();
        parametersTold = parametersTold || withParameters;
        isRead = Say(options.json ? ReadingJson(now, options.temperatureScale, withParameters).dump()
                                  : ReadingText(now, options.temperatureScale));
    }
}

void Show(const Observer &observer, View &view, const WatchOptions &options, const std::string &machine,
          const std::atomic<bool> &stop) {
    Readout now;
    do {
        now = observer.Look();
        view.Show(ComposeScreen(now, {machine, options.temperatureScale, view.Columns(), view.Rows()}));
    } while (!view.IsLeft() && !stop && (options.count == 0 || now.number < options.count));
}

void Watch(const WatchOptions &options) {
    std::atomic<bool> stop{false};
    const Signals signals([&stop] { stop = true; });
    std::optional<EmulatedLine> line;
    if (options.emulate) line.emplace(nullptr, options.scale);
    const PortNames names(options.port, options.headPort);
    const SettingsFile ini(options.iniFile, kTimeouts), headIni({}, kTimeouts);
    ObserverOptions observed;
    observed.iniFile = ini.Path();
    observed.headIniFile = headIni.Path();
    observed.port = line ? line->Port() : names.Port();
    observed.headPort = line ? line->HeadPort() : names.HeadPort();
    observed.simulation = options.simulate;
    observed.linearScale = options.scale;
    observed.rotaryScale = options.rotaryScale;
    observed.exchangesAxes = ExchangesAxes(options.iniFile);
    observed.period = milliseconds(static_cast<int64_t>(1000 / options.rate));
    const std::unique_ptr<View> view = options.json || options.lines ? nullptr : View::Open();
    const Observer observer(observed);
    if (view) {
        Show(observer, *view, options, MachineOf(options, observed), stop);
    } else {
        Print(observer, options, stop);
    }
}

}  // namespace

void AddWatchCommand(CLI::App &app) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App &command = *app.add_subcommand(
        "watch",
        "Show a machine's position, state, head, temperatures, I/O words, parameters and link as they are. "
        "The machine is asked only: nothing is moved or changed");
    auto *const head = command.add_option("--head-port", options->headPort,
                                          "Port of the probe head, as --port; without it there is none");
    auto *const where = command.add_option_group("where");
    auto *const port =
        where->add_option("--port", options->port, "Port of the controller: COM3, or the path of its device");
    where->add_flag("--simulate", options->simulate, "Watch the built-in simulator");
    if (EmulatedLine::IsPossible())
        where->add_flag("--emulate", options->emulate, "Watch an emulated controller and head");
    where->require_option(1);
    head->needs(port);
    command.add_flag("--json", options->json, "One JSON object a line");
    command.add_flag("--lines", options->lines,
                     "Plain lines on a terminal too; elsewhere there are no others");
    command.add_option("--rate", options->rate, "Readings a second, 0.1 to 10")
        ->check(emulator::Number("a number from 0.1 to 10",
                                 [](double value) { return value >= 0.1 && value <= 10; }))
        ->capture_default_str();
    command.add_option("--count", options->count, "End after so many readings")->check(CLI::PositiveNumber);
    command.add_option("--ini", options->iniFile, "Initialisation file; without it the prompt line is used")
        ->check(CLI::ExistingFile);
    command.add_option("--scale", options->scale, "Length of one controller count, mm")
        ->check(emulator::Positive())
        ->capture_default_str();
    command
        .add_option("--rotary-scale", options->rotaryScale,
                    "Angle of one count of the wrist or rotary table, degrees")
        ->check(emulator::Positive())
        ->capture_default_str();
    command.add_option("--temperature-scale", options->temperatureScale, "Degrees of one temperature count")
        ->check(emulator::Positive())
        ->capture_default_str();
    command.callback([options] { Watch(*options); });
}

}  // namespace cmm
