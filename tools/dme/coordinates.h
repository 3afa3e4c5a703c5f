// The chain of coordinate systems: machine, multiple arm, movable machine, part.
#pragma once

#include <Eigen/Core>
#include <array>
#include <optional>
#include <string_view>

namespace cmm::dme {

/// Angles in degrees: psi about z, theta about the new x, phi about the new z.
Eigen::Matrix3d RotationOf(double theta, double psi, double phi);

/// A system stands on the one below it: its coordinates are rotation * those below + `zero`, the place of the zero point
/// below in the new coordinates, mm.
struct Transformation {
    Eigen::Vector3d zero = Eigen::Vector3d::Zero();
    double theta = 0, psi = 0, phi = 0;

    Eigen::Matrix3d Rotation() const { return RotationOf(theta, psi, phi); }
};

/// The first four in the order of the chain. The last three only keep what the client gives them.
enum class Csy { Machine, MultipleArm, MoveableMachine, Part, JogDisplay, JogMove, Sensor };
constexpr int kCsyCount = 7;

/// "PartCsy"; nothing for another name.
std::optional<Csy> CsyByName(std::string_view name);
std::string_view NameOf(Csy csy);

/// What the client has chosen, and the way from its coordinates to the machine's and back.
class Coordinates {
  public:
    Csy Selected() const { return selected_; }
    /// `csy`: one of the chain.
    void Select(Csy csy) { selected_ = csy; }
    const Transformation &Of(Csy csy) const { return transformations_[static_cast<size_t>(csy)]; }
    /// Psi and phi are brought into 0 to 360. Result: whether theta was within 0 to 180; else nothing changes. Not for the
    /// machine's own system.
    bool Set(Csy csy, const Transformation &transformation);

    Eigen::Vector3d FromMachine(const Eigen::Vector3d &point) const;
    Eigen::Vector3d ToMachine(const Eigen::Vector3d &point) const;
    /// Directions, of whatever length.
    Eigen::Vector3d DirectionFromMachine(const Eigen::Vector3d &direction) const;
    Eigen::Vector3d DirectionToMachine(const Eigen::Vector3d &direction) const;

  private:
    struct Chain {
        Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
        Eigen::Vector3d zero = Eigen::Vector3d::Zero();
    };
    Chain Whole() const;

    Csy selected_ = Csy::Machine;
    std::array<Transformation, kCsyCount> transformations_;
};

}  // namespace cmm::dme
