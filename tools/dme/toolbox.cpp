#include "dme/toolbox.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace cmm::dme {
namespace {

constexpr double kSameAngle = 0.05;  // degrees: half of what a head is told

double Radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

void ResetParameters(ToolParameters &parameters) {
    for (Parameter *parameter :
         {&parameters.goToSpeed, &parameters.goToAccel, &parameters.ptMeasSpeed, &parameters.ptMeasAccel,
          &parameters.ptMeasApproach, &parameters.ptMeasSearch, &parameters.ptMeasRetract,
          &parameters.scanSpeed, &parameters.scanAccel, &parameters.scanRetract})
        parameter->actual = parameter->standard;
}

}  // namespace

Eigen::Matrix3d HeadAxes(double a, double b) {
    return (Eigen::AngleAxisd(Radians(b), Eigen::Vector3d::UnitZ()) *
            Eigen::AngleAxisd(-Radians(a), Eigen::Vector3d::UnitX()))
        .toRotationMatrix();
}

Toolbox::Toolbox(const Setup &setup) : setup_(setup), tools_(setup.tools) {
    Tool base;
    base.name = kBaseTool;
    base.id = kBaseTool;
    base.measures = false;
    base.orientations = {Orientation{}};
    tools_.push_back(base);
    if (const Tool *first = Find(setup.firstTool)) Activate(*first);
}

std::vector<std::string> Toolbox::Names() const {
    std::vector<std::string> names;
    for (const Tool &tool : tools_)
        if (tool.name != kBaseTool) names.push_back(tool.name);
    return names;
}

Tool *Toolbox::Find(std::string_view name) {
    const auto tool =
        std::find_if(tools_.begin(), tools_.end(), [name](const Tool &each) { return each.name == name; });
    return tool == tools_.end() ? nullptr : &*tool;
}

void Toolbox::Activate(const Tool &tool) {
    active_ = static_cast<size_t>(&tool - tools_.data());
    ResetParameters(tools_[active_].parameters);
}

bool Toolbox::Search(std::string_view name) {
    found_ = Find(name);
    return found_ != nullptr;
}

Tip Toolbox::TipOf(const Tool &tool, double a, double b) {
    if (!tool.onHead)
        return {tool.orientations.front().offset, tool.orientations.front().radius,
                Eigen::Matrix3d::Identity(), true};
    const Eigen::Matrix3d axes = HeadAxes(a, b);
    for (const Orientation &orientation : tool.orientations)
        if (std::abs(orientation.a - a) < kSameAngle && std::abs(orientation.b - b) < kSameAngle)
            return {orientation.offset, orientation.radius, axes, true};
    const Orientation &known = tool.orientations.front();
    return {axes * HeadAxes(known.a, known.b).transpose() * known.offset, known.radius, axes, false};
}

std::pair<double, double> Toolbox::Aligned(const Eigen::Vector3d &primary,
                                           const std::optional<Eigen::Vector3d> &secondary) const {
    std::pair<double, double> best{0, 0};
    if (!Active().onHead) return best;
    double bestMatch = -3;
    const auto consider = [&](double a, double b) {
        const Eigen::Matrix3d axes = HeadAxes(a, b);
        // The second vector only chooses among positions that serve the first one alike.
        const double match = axes.col(2).dot(primary) + (secondary ? -1e-6 * axes.col(1).dot(*secondary) : 0);
        if (match <= bestMatch + 1e-12) return;
        bestMatch = match;
        best = {a, b};
    };
    for (const Orientation &orientation : Active().orientations) consider(orientation.a, orientation.b);
    const int aSteps = static_cast<int>((setup_.headHighestA - setup_.headLowestA) / setup_.headStep);
    const int bSteps = static_cast<int>((setup_.headHighestB - setup_.headLowestB) / setup_.headStep);
    for (int i = 0; i <= aSteps; ++i)
        for (int j = 0; j <= bSteps; ++j)
            consider(setup_.headLowestA + i * setup_.headStep, setup_.headLowestB + j * setup_.headStep);
    return best;
}

bool Toolbox::IsWithinHead(double a, double b) const {
    return a >= setup_.headLowestA && a <= setup_.headHighestA && b >= setup_.headLowestB &&
           b <= setup_.headHighestB;
}

}  // namespace cmm::dme
