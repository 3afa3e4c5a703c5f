#include "dme/coordinates.h"

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

namespace cmm::dme {
namespace {

constexpr std::array<std::string_view, kCsyCount> kNames = {
    "MachineCsy",    "MultipleArmCsy", "MoveableMachineCsy", "PartCsy",
    "JogDisplayCsy", "JogMoveCsy",     "SensorCsy"};

double Normalised(double degrees) {
    const double rest = std::fmod(degrees, 360);
    return rest < 0 ? rest + 360 : rest;
}

/// Coordinates in axes that are turned by an angle are the old ones, turned back.
Eigen::Matrix3d AxesTurned(double degrees, const Eigen::Vector3d &axis) {
    return Eigen::AngleAxisd(-degrees * std::numbers::pi / 180, axis).toRotationMatrix();
}

}  // namespace

Eigen::Matrix3d RotationOf(double theta, double psi, double phi) {
    return AxesTurned(phi, Eigen::Vector3d::UnitZ()) * AxesTurned(theta, Eigen::Vector3d::UnitX()) *
           AxesTurned(psi, Eigen::Vector3d::UnitZ());
}

std::optional<Csy> CsyByName(std::string_view name) {
    for (size_t i = 0; i < kNames.size(); ++i)
        if (kNames[i] == name) return static_cast<Csy>(i);
    return std::nullopt;
}

std::string_view NameOf(Csy csy) {
    return kNames[static_cast<size_t>(csy)];
}

bool Coordinates::Set(Csy csy, const Transformation &transformation) {
    if (!(transformation.theta >= 0 && transformation.theta <= 180)) return false;
    Transformation &changed = transformations_[static_cast<size_t>(csy)];
    changed = transformation;
    changed.psi = Normalised(transformation.psi);
    changed.phi = Normalised(transformation.phi);
    return true;
}

Coordinates::Chain Coordinates::Whole() const {
    Chain chain;
    for (size_t link = 1; link <= static_cast<size_t>(selected_); ++link) {
        const Eigen::Matrix3d rotation = transformations_[link].Rotation();
        chain.rotation = rotation * chain.rotation;
        chain.zero = rotation * chain.zero + transformations_[link].zero;
    }
    return chain;
}

Eigen::Vector3d Coordinates::FromMachine(const Eigen::Vector3d &point) const {
    const Chain chain = Whole();
    return chain.rotation * point + chain.zero;
}

Eigen::Vector3d Coordinates::ToMachine(const Eigen::Vector3d &point) const {
    const Chain chain = Whole();
    return chain.rotation.transpose() * (point - chain.zero);
}

Eigen::Vector3d Coordinates::DirectionFromMachine(const Eigen::Vector3d &direction) const {
    return Whole().rotation * direction;
}

Eigen::Vector3d Coordinates::DirectionToMachine(const Eigen::Vector3d &direction) const {
    return Whole().rotation.transpose() * direction;
}

}  // namespace cmm::dme
