// The command-line program.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <optional>

#include "cc_interface.h"
#include "machine/emulated_line.h"
#include "machine/measuring_session.h"
#include "measure/sphere_report.h"

namespace {

using namespace cmm;

struct JobOptions {
    std::string iniFile = "demo/demo.ini";
    std::string picture;
    std::string title;
    std::string port;
    std::string headPort;
    bool emulate = false;
    SpherePart part;
    double scale = 0.0001;  // mm per count
};

// The upper rings with the head straight down, then the lower ones with it tilted, if there is a head.
std::vector<Eigen::Vector3d> ProbeInOrientations(MeasuringSession &arm, const std::vector<ProbingPoint> &plan,
                                                 const ProbingMotion &motion, bool withHead) {
    constexpr double kUpper = 0.7;  // sine of the lowest latitude that is probed from above
    const auto lower = std::find_if(plan.begin(), plan.end(),
                                    [](const ProbingPoint &point) { return point.direction.z() < kUpper; });
    if (withHead) arm.TurnHead(0, 0);
    std::vector<Eigen::Vector3d> measured = arm.Probe({plan.begin(), lower}, motion);
    if (withHead) arm.TurnHead(45, -90);
    const std::vector<Eigen::Vector3d> rest = arm.Probe({lower, plan.end()}, motion);
    measured.insert(measured.end(), rest.begin(), rest.end());
    return measured;
}

// The main job: zero, probe, fit, report, close. Result: whether it went as it should; the touch points must
// be within `tolerance` of the part, which is not known (0) on a real machine.
bool MeasureSphere(const JobOptions &options, const SessionOptions &session, const ProbingMotion &motion,
                   double tolerance) {
    const std::vector<ProbingPoint> plan = PlanSphere(options.part);
    MeasuringSession arm(session, std::cout);
    arm.Zero();
    arm.StartMeasuring();
    const std::vector<Eigen::Vector3d> measured =
        ProbeInOrientations(arm, plan, motion, !session.headPort.empty());
    const SphereFit fit = FitSphere(measured);
    PrintTable(std::cout, plan, measured, fit);
    const bool matches = tolerance == 0 || MatchesPart(std::cout, plan, measured, fit, tolerance);
    DrawDeviations(options.picture, options.title, plan, fit);
    std::cout << "  picture in " << options.picture << "\n";
    return arm.Close() && matches;
}

bool RunDemo(JobOptions options) {
    options.title = "Sphere probed in simulation";
    SessionOptions session;
    session.iniFile = options.iniFile;
    session.flags = CC_SIMULATION;
    session.linearScale = options.scale;
    // The simulator touches where it is told to; a target is cut to whole counts on each axis.
    return MeasureSphere(options, session, {}, 2 * options.scale);
}

bool RunMeasure(JobOptions options) {
    std::optional<EmulatedLine> line;
    if (options.emulate) line.emplace(options.part, options.scale);
    options.title =
        options.emulate ? "Sphere probed on the emulated machine" : "Sphere probed on " + options.port;
    SessionOptions session;
    session.iniFile = options.iniFile;
    session.port = options.emulate ? line->Port() : options.port;
    session.headPort = options.emulate ? line->HeadPort() : options.headPort;
    session.linearScale = options.scale;
    ProbingMotion motion;
    motion.overtravel = 3;
    return MeasureSphere(options, session, motion, options.emulate ? 3 * options.scale : 0);
}

void AddJobOptions(CLI::App &command, JobOptions &options) {
    command.add_option("--ini", options.iniFile, "Initialisation file")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    command.add_option("--picture", options.picture, "Where the picture of the deviations goes")
        ->capture_default_str();
    command.add_option("--centre", options.part.centre, "Centre of the sphere, mm: X Y Z")
        ->capture_default_str();
    command.add_option("--radius", options.part.radius, "Radius of the sphere with that of the tip, mm")
        ->capture_default_str();
    command.add_option("--scale", options.scale, "Length of one controller count, mm")->capture_default_str();
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app("Coordinate-measuring machine at the command line");
    app.require_subcommand(1);

    JobOptions demo;
    demo.picture = "sphere.svg";
    CLI::App *const demoCommand = app.add_subcommand("demo", "Probe a sphere on the built-in simulator");
    AddJobOptions(*demoCommand, demo);

    JobOptions measure;
    measure.picture = "sphere-line.svg";
    CLI::App *const measureCommand =
        app.add_subcommand("measure", "Probe a sphere with a controller on a serial line");
    AddJobOptions(*measureCommand, measure);
    measureCommand->add_option("--head-port", measure.headPort,
                               "Port of the probe head; without it there is none");
    auto *const where = measureCommand->add_option_group("where");
    where->add_option("--port", measure.port, "Port of the controller, such as COM3");
    where->add_flag("--emulate", measure.emulate,
                    "Start an emulated controller, with a sphere of known form error, and an emulated head");
    where->require_option(1);

    CLI11_PARSE(app, argc, argv);
    try {
        return (demoCommand->parsed() ? RunDemo(demo) : RunMeasure(measure)) ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "\ncmm: " << error.what() << "\n";
        return 1;
    }
}
