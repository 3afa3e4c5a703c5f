#include "measure/job_options.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "argument_checks.h"
#include "machine/failure.h"
#include "measure/report.h"

namespace cmm {
namespace {

using Eigen::Vector3d;
using emulator::Positive;

constexpr double kPlaneLength = 60;  // mm
constexpr int kMostPoints = 10000;

Vector3d VectorOf(const std::vector<double> &v) {
    return {v[0], v[1], v[2]};
}

[[noreturn]] void Refuse(const std::string &cause, const std::string &advice = {}) {
    throw Failure(kBadArguments, cause, advice);
}

// The shape and its place.
void CompleteGeometry(JobOptions &options, const CLI::App &command) {
    Geometry &geometry = options.geometry;
    for (const auto &[name, shape] : ShapeNames()) {
        if (name == options.shape) geometry.shape = shape;
    }
    if (!options.centre.empty()) geometry.centre = VectorOf(options.centre);
    if (!geometry.centre.allFinite()) Refuse("--centre has a coordinate that is no number");
    if (!options.axis.empty()) {
        const Vector3d axis = VectorOf(options.axis);
        if (!(axis.norm() > 0) || !axis.allFinite()) Refuse("--axis has no direction");
        geometry.axis = axis.normalized();
    }
    if (geometry.shape == Shape::Plane && command.count("--length") == 0) geometry.length = kPlaneLength;
    if (!geometry.bore) return;
    if (geometry.shape != Shape::Circle && geometry.shape != Shape::Cylinder)
        Refuse("--bore is for a circle or a cylinder");
    if (geometry.radius <= options.approach.clearance)
        Refuse("the bore is too narrow for the clearance", "Give a smaller --clearance.");
}

// How many points there are, or which.
void CompletePoints(JobOptions &options) {
    const Shape shape = options.geometry.shape;
    if ((shape == Shape::Points) != !options.pointsFile.empty())
        Refuse("the shape 'points' and --file go together");
    if (shape == Shape::Points) options.geometry.points = ReadPoints(options.pointsFile);
    if (options.points == 0) {
        options.points = shape == Shape::Circle ? 12 : shape == Shape::Plane ? 28 : 36;
        return;
    }
    if (shape == Shape::Sphere || shape == Shape::Points)
        Refuse("--points is for a plane, a circle or a cylinder");
    const int least = shape == Shape::Cylinder ? 6 : 3;
    if (options.points < least || options.points > kMostPoints)
        Refuse("a " + options.shape + " has " + std::to_string(least) + " to " + std::to_string(kMostPoints) +
               " points");
}

void CheckFiles(JobOptions &options) {
    if (options.picture.empty())
        options.picture = options.shape + (options.where == Where::Simulated ? ".svg" : "-line.svg");
    for (const std::string &path : {options.picture, options.csv, options.json}) {
        const std::string why = path.empty() ? "" : WhyNotWritable(path);
        if (!why.empty()) Refuse(why, "Is its folder there, and may you write into it?");
    }
}

void CheckGiven(const JobOptions &options, const CLI::App &command) {
    const Shape shape = options.geometry.shape;
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

}  // namespace

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

void CompleteJob(JobOptions &options, const CLI::App &command) {
    CompleteGeometry(options, command);
    CompletePoints(options);
    CheckFiles(options);
    if (options.where == Where::Port) CheckGiven(options, command);
}

}  // namespace cmm
