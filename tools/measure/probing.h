// A measurement: from the machine at rest anywhere to the touch points.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "machine/arm.h"
#include "machine/console.h"
#include "measure/plan.h"

namespace cmm {

/// Probes the points and ends above the part. `targets`: where each probing move ends if it touches nothing. An arm with
/// a head probes a sphere in two orientations, other shapes with the head straight down; it turns above the part. Result:
/// the touch points, in the order of the plan. Failures are thrown as Failure.
std::vector<Eigen::Vector3d> ProbePoints(Arm &arm, Console &console, const Geometry &geometry,
                                         const Approach &approach, const std::vector<ProbingPoint> &plan,
                                         const std::vector<Eigen::Vector3d> &targets);

}  // namespace cmm
