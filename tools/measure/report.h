// What was measured, as a table, as CSV and as JSON.
#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "measure/fit.h"
#include "measure/shape.h"

namespace cmm {

/// A finished measurement. Lengths in mm.
struct Result {
    std::string title;
    Geometry geometry;
    std::vector<ProbingPoint> plan;
    std::vector<Eigen::Vector3d> measured;  // in the order of the plan
    Fit fit;
};

/// The fitted shape as "name value" pairs for people, such as {"radius", "15.0000 mm"}; the form comes last.
std::vector<std::pair<std::string, std::string>> Summary(const Result &result);

/// Measured coordinates and deviation, a line a point, with the nominal ones where there is room for them in `columns`
/// characters (0: as many as it takes); then the summary.
std::string Table(const Result &result, int columns);

/// A line a point: id, nominal, direction, measured, deviation; the first line names the columns.
std::string Csv(const Result &result);

/// One object: shape, unit, nominal, fit, form, points.
std::string Json(const Result &result);

/// Writes a file. Failures are thrown as Failure.
void WriteFile(const std::string &path, const std::string &text);
/// Whether a file can be written there, without changing one that is there: a message if not, else empty.
std::string WhyNotWritable(const std::string &path);

/// Whether the measured points agree with the part that was probed: each within `tolerance` (mm) of where the tip should
/// have touched, and centre, radius and form as of those places. `differences`: what differs, and how the part compares.
bool MatchesPart(const Result &result, const std::vector<Eigen::Vector3d> &expected, double tolerance,
                 std::string &differences);

}  // namespace cmm
