// What GoTo and PtMeas are told: places, angles and a direction.
#pragma once

#include <Eigen/Core>
#include <array>
#include <optional>

#include "dme/errors.h"
#include "dme/grammar.h"

namespace cmm::dme {

struct Target {
    std::array<std::optional<double>, 3> axes;  // X, Y, Z; mm, client's coordinates
    std::optional<Eigen::Vector3d> direction;   // IJK as given
    std::optional<double> a, b, c, table;       // degrees

    bool HasAxis() const { return axes[0] || axes[1] || axes[2]; }
    bool HasAllAxes() const { return axes[0] && axes[1] && axes[2]; }
    bool HasAngle() const { return a || b || c || table; }
    /// The axes given, the others as in `place`.
    Eigen::Vector3d Over(const Eigen::Vector3d &place) const;
};

/// Result: why the list is none. Each item may be there once.
std::optional<Fault> ParseTarget(const Argument &call, Target &target);

}  // namespace cmm::dme
