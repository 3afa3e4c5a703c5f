// The options of a measurement.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "measure/plan.h"
#include "measure/shape.h"

namespace cmm {

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

/// Options that a simulated and a real measurement have in common.
void AddJobOptions(CLI::App &command, JobOptions &options);

/// Fills in what was not given, reads the list of points, and throws Failure for whatever can be known to be wrong before
/// anything moves. `command`: what the options were given to.
void CompleteJob(JobOptions &options, const CLI::App &command);

}  // namespace cmm
