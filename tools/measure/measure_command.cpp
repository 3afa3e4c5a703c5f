#include "measure/measure_command.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>

#include "argument_checks.h"
#include "machine/arm.h"
#include "machine/emulated_line.h"
#include "machine/port_names.h"
#include "machine/settings_file.h"
#include "machine/terminal.h"
#include "measure/job_options.h"
#include "measure/picture.h"
#include "measure/probing.h"
#include "measure/report.h"

namespace cmm {
namespace {

using Eigen::Vector3d;

std::string At(const Vector3d &v) {
    char text[96];
    std::snprintf(text, sizeof text, "X %.3f Y %.3f Z %.3f", v.x(), v.y(), v.z());
    return text;
}

std::string Millimetres(double length) {
    char text[32];
    std::snprintf(text, sizeof text, "%g mm", length);
    return text;
}

std::string Direction(const Vector3d &v) {
    char text[64];
    std::snprintf(text, sizeof text, "(%g %g %g)", v.x(), v.y(), v.z());
    return text;
}

std::string Described(const JobOptions &options) {
    const Geometry &geometry = options.geometry;
    std::string text = options.shape;
    if (geometry.bore) text += " in a bore";
    if (geometry.shape == Shape::Points) return "the points of " + options.pointsFile;
    text += " about " + At(geometry.centre);
    if (geometry.shape != Shape::Sphere) text += " along " + Direction(geometry.axis);
    if (geometry.shape != Shape::Plane) text += ", radius " + Millimetres(geometry.radius);
    if (geometry.shape == Shape::Plane || geometry.shape == Shape::Cylinder)
        text += ", length " + Millimetres(geometry.length);
    if (geometry.shape == Shape::Plane) text += ", width " + Millimetres(geometry.width);
    return "a " + text;
}

// Says what a real machine will do, and asks whether it may.
void Ask(Console &console, const JobOptions &options, size_t points) {
    const Approach &approach = options.approach;
    const Vector3d safe = SafePlace(options.geometry, approach);
    console.Say("The machine on " + options.port + " will:");
    if (!options.keepZero) console.Say("  - go to its reference marks (zeroing)");
    console.Say("  - rise to Z " + Millimetres(safe.z()) + " or stay higher, and go to " + At(safe));
    if (!options.headPort.empty()) console.Say("  - turn the probe head there");
    console.Say("  - probe " + std::to_string(points) + " points of " + Described(options) + ", from " +
                Millimetres(approach.clearance) + " off the surface to " + Millimetres(approach.overtravel) +
                " behind it at the most");
    console.Say("  - come back to " + At(safe));
    if (options.yes) return;
    if (!IsAnswered())
        throw Failure(kBadArguments, "nobody can be asked whether the machine may move",
                      "Give --yes if it may.");
    console.Print("May it? [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw Failure(kStopped, "not started: the answer was no");
}

ArmOptions OptionsOfArm(const JobOptions &options, const std::string &iniFile, const PortNames &names,
                        const EmulatedLine *line) {
    ArmOptions arm;
    arm.iniFile = iniFile;
    arm.simulation = options.where == Where::Simulated;
    arm.port = line != nullptr ? line->Port() : names.Port();
    arm.headPort = line != nullptr ? line->HeadPort() : names.HeadPort();
    arm.linearScale = options.scale;
    return arm;
}

// Opens the arm, probes, closes it. Result: the touch points.
std::vector<Vector3d> Measure(Console &console, OperatorStop &operatorStop, const JobOptions &options,
                              const std::vector<ProbingPoint> &plan, const std::vector<Vector3d> &targets,
                              const std::shared_ptr<const emulator::Part> &part) {
    std::optional<EmulatedLine> line;
    if (options.where == Where::Emulated) line.emplace(part, options.scale);
    const PortNames names(options.port, options.headPort);
    const SettingsFile ini(options.iniFile);
    Arm arm(OptionsOfArm(options, ini.Path(), names, line ? &*line : nullptr), console, operatorStop);
    try {
        if (!options.keepZero) arm.Zero();
        arm.StartMeasuring();
        std::vector<Vector3d> measured =
            ProbePoints(arm, console, options.geometry, options.approach, plan, targets);
        if (!arm.Close())
            throw Failure(kWorkFailed, "the session's events are not those that the work explains",
                          "The result may be wrong: measure anew.");
        return measured;
    } catch (Failure &failure) {
        arm.Stop(failure);
        throw;
    } catch (const std::exception &error) {
        Failure failure(kWorkFailed, error.what());
        arm.Stop(failure);
        throw Failure(failure);
    }
}

// Where the probing moves end, or for a part that is known where they touch it.
std::vector<Vector3d> Targets(const JobOptions &options, const std::vector<ProbingPoint> &plan,
                              const emulator::Part *part, double overtravel) {
    std::vector<Vector3d> targets;
    for (const ProbingPoint &point : plan) {
        const Vector3d outside = point.nominal + options.approach.clearance * point.direction;
        const Vector3d inside = point.nominal - overtravel * point.direction;
        const auto touch = part != nullptr ? part->Touch(ToPart(outside), ToPart(inside)) : std::nullopt;
        targets.push_back(touch ? FromPart(*touch) : inside);
    }
    return targets;
}

std::string TitleOf(const JobOptions &options) {
    std::string title = options.shape;
    title[0] = static_cast<char>(std::toupper(title[0]));
    switch (options.where) {
        case Where::Simulated:
            return title + " probed in simulation";
        case Where::Emulated:
            return title + " probed on the emulated machine";
        case Where::Port:
            break;
    }
    return title + " probed on " + options.port;
}

void Report(Console &console, const JobOptions &options, const Result &result) {
    console.Print(Table(result, Console::Columns()));
    WriteFile(options.picture, Picture(result));
    console.Say("  picture in " + options.picture);
    if (!options.csv.empty()) {
        WriteFile(options.csv, Csv(result));
        console.Say("  CSV in " + options.csv);
    }
    if (!options.json.empty()) {
        WriteFile(options.json, Json(result));
        console.Say("  JSON in " + options.json);
    }
}

void RunJob(JobOptions options, const CLI::App &command) {
    CompleteJob(options, command);
    Console console;
    OperatorStop operatorStop(console);
    Result result;
    result.title = TitleOf(options);
    result.geometry = options.geometry;
    result.plan = Plan(options.geometry, options.points);
    if (options.where == Where::Port) Ask(console, options, result.plan.size());

    std::shared_ptr<const emulator::Part> part;
    if (options.where != Where::Port) part = EmulatedPart(options.geometry, options.formError);
    const double overtravel = options.approach.overtravel;
    const std::vector<Vector3d> expected = Targets(options, result.plan, part.get(), overtravel);
    // The simulator touches where it is told to.
    const std::vector<Vector3d> targets =
        options.where == Where::Simulated ? expected : Targets(options, result.plan, nullptr, overtravel);
    result.measured = Measure(console, operatorStop, options, result.plan, targets, part);
    try {
        result.fit = FitShape(result.geometry, result.plan, result.measured);
    } catch (const std::invalid_argument &error) {
        throw Failure(kWorkFailed, error.what(), "Are the points those of the shape?");
    }
    Report(console, options, result);
    if (!part) return;
    std::string differences;
    // A target is cut to whole counts on each axis.
    const bool matches = MatchesPart(result, expected, 3 * options.scale, differences);
    console.Print(differences);
    if (!matches) throw Failure(kWorkFailed, "what was measured is not the part that was probed");
}

}  // namespace

void AddDemoCommand(CLI::App &app) {
    const auto options = std::make_shared<JobOptions>();
    CLI::App *const command = app.add_subcommand("demo", "Probe a shape on the built-in simulator");
    AddJobOptions(*command, *options);
    command->add_option("--form-error", options->formError, "Form error of the simulated part, mm")
        ->check(emulator::NotNegative())
        ->capture_default_str();
    command->callback([options, command] { RunJob(*options, *command); });
}

void AddMeasureCommand(CLI::App &app) {
    const auto options = std::make_shared<JobOptions>();
    const auto emulated = std::make_shared<bool>(false);
    options->where = Where::Emulated;
    CLI::App *const command =
        app.add_subcommand("measure", "Probe a shape with a controller on a serial line, and fit it");
    AddJobOptions(*command, *options);
    auto *const head = command->add_option("--head-port", options->headPort,
                                           "Port of the probe head, as --port; without it there is none");
    command->add_flag("--no-zero", options->keepZero, "The machine is zeroed already");
    command->add_flag("--yes", options->yes, "Do not ask whether the machine may move");
    auto *const where = command->add_option_group("where");
    auto *const port =
        where->add_option("--port", options->port, "Port of the controller: COM3, or the path of its device");
    where->require_option(1);
    head->needs(port);
    if (EmulatedLine::IsPossible()) {
        auto *const emulate = where->add_flag(
            "--emulate", *emulated,
            "Start an emulated controller, with a part of known form error, and an emulated head");
        command->add_option("--form-error", options->formError, "Form error of the emulated part, mm")
            ->needs(emulate)
            ->check(emulator::NotNegative())
            ->capture_default_str();
    }
    command->callback([options, emulated, command] {
        if (!*emulated) options->where = Where::Port;
        RunJob(*options, *command);
    });
}

}  // namespace cmm
