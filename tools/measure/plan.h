// Which points of a shape are probed, and where the machine moves for it.
#pragma once

#include <Eigen/Core>
#include <vector>

#include "measure/shape.h"

namespace cmm {

/// How points are approached, mm.
struct Approach {
    double clearance = 5;   // off the surface, where a probing move begins and the retract ends
    double overtravel = 3;  // behind the nominal surface, where a probing move ends that touches nothing
    double retract = 50;    // above the part, where the head turns and the machine comes from and goes to
};

/// Points of the shape, at least `count` of a plane, a circle or a cylinder. A sphere has rings from the pole, which is
/// reached from above, to the equator: 1, 5, 8, 10 and 12. A cylinder has three rings, a plane rows to and fro.
std::vector<ProbingPoint> Plan(const Geometry &geometry, int count);

/// Points from a file of lines "X Y Z I J K", separated by commas, semicolons, tabs or blanks: the nominal point in mm and
/// the direction out of the material. A first line without numbers and lines that begin with # are passed over. Failures
/// are thrown as Failure, with the number of the line.
std::vector<ProbingPoint> ReadPoints(const std::string &path);

/// Above the part, where the way to its points begins and ends.
Eigen::Vector3d SafePlace(const Geometry &geometry, const Approach &approach);

/// Places on the way from SafePlace to `outside`, which lies off the surface, without both. The way back is the reverse.
std::vector<Eigen::Vector3d> WayIn(const Geometry &geometry, const Approach &approach,
                                   const Eigen::Vector3d &outside);

/// Places on the way from one place off the surface to another, without both: it keeps half the clearance.
std::vector<Eigen::Vector3d> WayAlong(const Geometry &geometry, const Approach &approach,
                                      const Eigen::Vector3d &from, const Eigen::Vector3d &to);

}  // namespace cmm
