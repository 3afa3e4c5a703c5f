// The command-line program.
#include <CLI/CLI.hpp>
#include <iostream>

#include "cc_interface.h"
#include "measuring_session.h"
#include "sphere_report.h"

namespace {

using namespace cmm;

struct DemoOptions {
    std::string iniFile = "demo/demo.ini";
    std::string picture = "sphere.svg";
};

// The main job on the built-in simulator. Result: whether it went as it should.
bool RunDemo(const DemoOptions &options) {
    SessionOptions session;
    session.iniFile = options.iniFile;
    session.flags = CC_SIMULATION;
    const SpherePart part;
    const std::vector<ProbingPoint> plan = PlanSphere(part);

    MeasuringSession arm(session, std::cout);
    arm.Zero();
    arm.StartMeasuring();
    const std::vector<Eigen::Vector3d> measured = arm.Probe(plan, {});
    const SphereFit fit = FitSphere(measured);
    PrintTable(std::cout, plan, measured, fit);
    // A target is cut to whole counts on each axis.
    const bool matches = MatchesPart(std::cout, plan, measured, fit, 2 * session.linearScale);
    DrawDeviations(options.picture, "Sphere probed in simulation", plan, fit);
    std::cout << "  picture in " << options.picture << "\n";
    return arm.Close() && matches;
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app("Coordinate-measuring machine at the command line");
    app.require_subcommand(1);

    DemoOptions demo;
    CLI::App *const demoCommand = app.add_subcommand("demo", "Probe a sphere on the built-in simulator");
    demoCommand->add_option("--ini", demo.iniFile, "Initialisation file")
        ->check(CLI::ExistingFile)
        ->capture_default_str();
    demoCommand->add_option("--picture", demo.picture, "Where the picture of the deviations goes")
        ->capture_default_str();

    CLI11_PARSE(app, argc, argv);
    try {
        return RunDemo(demo) ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "\ncmm: " << error.what() << "\n";
        return 1;
    }
}
