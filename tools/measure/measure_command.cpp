#include "measure/measure_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>

#include "machine/arm.h"
#include "machine/emulated_line.h"
#include "machine/settings_file.h"
#include "machine/terminal.h"
#include "measure/picture.h"
#include "measure/probing.h"
#include "measure/report.h"

namespace cmm {
namespace {

using Eigen::Vector3d;

enum class Where { Simulated, Emulated, Port };

struct JobOptions {
    Where where = Where::Simulated;
    std::string shape = "sphere";
    Geometry geometry;
    std::vector<double> centre, axis;  // empty: as in the geometry
    std::string pointsFile;
    int points = 0;  // 0: as many as the shape usually has
    Approach approach;
    double formError = 0.008;  // of the emulated part, mm
    std::string iniFile;
    std::string picture, csv, json;
    std::string port, headPort;
    double scale = 0.0001;  // mm per count
    bool keepZero = false;
    bool yes = false;
};

// A number for which `isRight` holds. The library's own checks print limits of 300 digits.
CLI::Validator Number(const std::string &words, bool (*isRight)(double)) {
    return {[words, isRight](std::string &text) {
                double value = 0;
                const bool right = CLI::detail::lexical_cast(text, value) && isRight(value);
                return right ? std::string() : text + " is not " + words;
            },
            ""};
}

CLI::Validator Positive() {
    return Number("a length above 0", [](double value) { return value > 0 && std::isfinite(value); });
}

CLI::Validator NotNegative() {
    return Number("a length of 0 or more", [](double value) { return value >= 0 && std::isfinite(value); });
}

Vector3d VectorOf(const std::vector<double> &v) {
    return {v[0], v[1], v[2]};
}

[[noreturn]] void Refuse(const std::string &cause, const std::string &advice = {}) {
    throw Failure(kBadArguments, cause, advice);
}

// What can be known to be wrong before anything moves.
void Complete(JobOptions &options, const CLI::App &command) {
    Geometry &geometry = options.geometry;
    const auto &names = ShapeNames();
    geometry.shape = std::find_if(names.begin(), names.end(), [&](const auto &entry) {
                         return entry.first == options.shape;
                     })->second;
    const Shape shape = geometry.shape;
    if (!options.centre.empty()) geometry.centre = VectorOf(options.centre);
    if (!geometry.centre.allFinite()) Refuse("--centre has a coordinate that is no number");
    if (!options.axis.empty()) {
        const Vector3d axis = VectorOf(options.axis);
        if (!(axis.norm() > 0) || !axis.allFinite()) Refuse("--axis has no direction");
        geometry.axis = axis.normalized();
    }
    if (shape == Shape::Plane && command.count("--length") == 0) geometry.length = 60;
    const bool round = shape == Shape::Circle || shape == Shape::Cylinder;
    if (geometry.bore && !round) Refuse("--bore is for a circle or a cylinder");
    if (geometry.bore && geometry.radius <= options.approach.clearance)
        Refuse("the bore is too narrow for the clearance", "Give a smaller --clearance.");
    if ((shape == Shape::Points) != !options.pointsFile.empty())
        Refuse("the shape 'points' and --file go together");
    if (shape == Shape::Points) geometry.points = ReadPoints(options.pointsFile);
    if (options.points != 0 && (shape == Shape::Sphere || shape == Shape::Points))
        Refuse("--points is for a plane, a circle or a cylinder");
    const int least = shape == Shape::Cylinder ? 6 : 3;
    if (options.points != 0 && options.points < least)
        Refuse("a " + options.shape + " needs at least " + std::to_string(least) + " points");
    if (options.points == 0) options.points = shape == Shape::Circle ? 12 : shape == Shape::Plane ? 28 : 36;
    if (options.picture.empty())
        options.picture = options.shape + (options.where == Where::Simulated ? ".svg" : "-line.svg");
    for (const std::string &path : {options.picture, options.csv, options.json}) {
        const std::string why = path.empty() ? "" : WhyNotWritable(path);
        if (!why.empty()) Refuse(why, "Is its folder there, and may you write into it?");
    }
    if (options.where != Where::Port) return;
    std::vector<const char *> needed;
    if (shape != Shape::Points) needed = {"--centre", "--radius"};
    if (shape == Shape::Plane) needed = {"--centre", "--length", "--width"};
    if (shape == Shape::Cylinder) needed = {"--centre", "--radius", "--length"};
    for (const char *option : needed) {
        if (command.count(option) == 0)
            Refuse("a " + options.shape + " on a machine needs " + option,
                   "The program does not guess where a real part stands.");
    }
}

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

std::string Described(const JobOptions &options) {
    const Geometry &geometry = options.geometry;
    std::string text = options.shape;
    if (geometry.bore) text += " in a bore";
    if (geometry.shape == Shape::Points) return "the points of " + options.pointsFile;
    text += " about " + At(geometry.centre);
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
    if (!IsAnswered()) Refuse("nobody can be asked whether the machine may move", "Give --yes if it may.");
    console.Print("May it? [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw Failure(kStopped, "not started: the answer was no");
}

ArmOptions OptionsOfArm(const JobOptions &options, const std::string &iniFile, const EmulatedLine *line) {
    ArmOptions arm;
    arm.iniFile = iniFile;
    arm.simulation = options.where == Where::Simulated;
    arm.port = line != nullptr ? line->Port() : options.port;
    arm.headPort = line != nullptr ? line->HeadPort() : options.headPort;
    arm.linearScale = options.scale;
    return arm;
}

// Opens the arm, probes, closes it. Result: the touch points.
std::vector<Vector3d> Measure(Console &console, OperatorStop &operatorStop, const JobOptions &options,
                              const std::vector<ProbingPoint> &plan, const std::vector<Vector3d> &targets,
                              const std::shared_ptr<const emulator::Part> &part) {
    std::optional<EmulatedLine> line;
    if (options.where == Where::Emulated) line.emplace(part, options.scale);
    const SettingsFile ini(options.iniFile);
    Arm arm(OptionsOfArm(options, ini.Path(), line ? &*line : nullptr), console, operatorStop);
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
        throw failure;
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
    Complete(options, command);
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

void AddJobOptions(CLI::App &command, JobOptions &options) {
    std::vector<std::string> names;
    for (const auto &[name, shape] : ShapeNames()) names.push_back(name);
    command.add_option("shape", options.shape, "What is probed")
        ->check(CLI::IsMember(names))
        ->capture_default_str();
    Geometry &geometry = options.geometry;
    command.add_option("--centre", options.centre, "Centre of the shape, mm: X Y Z; else 100 80 50")
        ->expected(3);
    command
        .add_option("--axis,--normal", options.axis,
                    "Axis of a circle or cylinder, normal of a plane: I J K; else 0 0 1")
        ->expected(3);
    command
        .add_option("--radius", geometry.radius,
                    "Radius, mm, with that of the tip added, of a bore with it taken away")
        ->check(Positive())
        ->capture_default_str();
    command
        .add_option("--length", geometry.length,
                    "Length of a cylinder or plane, depth of a circle's bore, mm")
        ->check(Positive())
        ->capture_default_str();
    command.add_option("--width", geometry.width, "Width of a plane, mm")
        ->check(Positive())
        ->capture_default_str();
    command.add_flag("--bore", geometry.bore, "A circle or cylinder is touched from inside");
    command.add_option("--points", options.points, "Least number of points of a plane, circle or cylinder");
    command.add_option("--file", options.pointsFile, "CSV file of the shape 'points': X Y Z I J K a line")
        ->check(CLI::ExistingFile);
    command
        .add_option("--clearance", options.approach.clearance,
                    "Where probing moves begin, mm off the surface")
        ->check(Positive())
        ->capture_default_str();
    command.add_option("--overtravel", options.approach.overtravel, "Where they end, mm behind the surface")
        ->check(Positive())
        ->capture_default_str();
    command.add_option("--retract", options.approach.retract, "Where the head turns, mm above the part")
        ->check(Positive())
        ->capture_default_str();
    command.add_option("--ini", options.iniFile, "Initialisation file; without it the prompt line is used")
        ->check(CLI::ExistingFile);
    command.add_option("--scale", options.scale, "Length of one controller count, mm")
        ->check(Positive())
        ->capture_default_str();
    command.add_option("--picture", options.picture,
                       "Where the picture goes; else SHAPE.svg or SHAPE-line.svg");
    command.add_option("--csv", options.csv, "Where the points go as CSV");
    command.add_option("--json", options.json, "Where the result goes as JSON");
}

}  // namespace

void AddDemoCommand(CLI::App &app) {
    const auto options = std::make_shared<JobOptions>();
    CLI::App *const command = app.add_subcommand("demo", "Probe a shape on the built-in simulator");
    AddJobOptions(*command, *options);
    command->add_option("--form-error", options->formError, "Form error of the simulated part, mm")
        ->check(NotNegative())
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
                                           "Port of the probe head; without it there is none");
    command->add_flag("--no-zero", options->keepZero, "The machine is zeroed already");
    command->add_flag("--yes", options->yes, "Do not ask whether the machine may move");
    auto *const where = command->add_option_group("where");
    auto *const port = where->add_option("--port", options->port, "Port of the controller, such as COM3");
    auto *const emulate = where->add_flag(
        "--emulate", *emulated,
        "Start an emulated controller, with a part of known form error, and an emulated head");
    where->require_option(1);
    head->needs(port);
    command->add_option("--form-error", options->formError, "Form error of the emulated part, mm")
        ->needs(emulate)
        ->check(NotNegative())
        ->capture_default_str();
    command->callback([options, emulated, command] {
        if (!*emulated) options->where = Where::Port;
        RunJob(*options, *command);
    });
}

}  // namespace cmm
