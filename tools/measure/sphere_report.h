// What was measured, as a table and as a picture.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "measure/probing_plan.h"
#include "measure/sphere_fit.h"

namespace cmm {

/// Nominal and measured coordinates and the deviation from the fitted sphere, a line a point; then centre,
/// radius, form.
void PrintTable(std::ostream &out, const std::vector<ProbingPoint> &plan,
                const std::vector<Eigen::Vector3d> &measured, const SphereFit &fit);

/// The points seen from above, each with its deviation as a coloured radial line, greatly enlarged.
/// Throws std::runtime_error when the file cannot be written.
void DrawDeviations(const std::string &path, const std::string &title, const std::vector<ProbingPoint> &plan,
                    const SphereFit &fit);

/// Whether the measured points agree with the part that was probed: each point within `tolerance` of the
/// surface, and centre, radius and form as of the part's own points. Prints what differs.
bool MatchesPart(std::ostream &out, const std::vector<ProbingPoint> &plan,
                 const std::vector<Eigen::Vector3d> &measured, const SphereFit &fit, double tolerance);

}  // namespace cmm
