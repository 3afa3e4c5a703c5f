// The tools: which one is active, where its tip is, and which angles of the head point it where.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dme/setup.h"

namespace cmm::dme {

/// The names that no tool of a machine file has: the model of the others, and what is there after a failed search.
constexpr std::string_view kBaseTool = "BaseTool";
constexpr std::string_view kUndefinedTool = "UnDefTool";

/// Axes of a head at angles in degrees: a tilts about the machine's x axis, towards -y at b 0; b turns about z. Its columns
/// are the tool's own axes in machine axes; the tool's shaft points along its -z.
Eigen::Matrix3d HeadAxes(double a, double b);

/// What a tool is at two angles.
struct Tip {
    Eigen::Vector3d offset;  // from the head's reference point, machine axes, mm
    double radius;           // mm
    Eigen::Matrix3d axes;    // as HeadAxes
    bool qualified;          // else calculated
};

class Toolbox {
  public:
    explicit Toolbox(const Setup &setup);
    Toolbox(const Toolbox &) = delete;
    Toolbox &operator=(const Toolbox &) = delete;

    /// Names of the tools, without BaseTool.
    std::vector<std::string> Names() const;
    /// None has that name: null. BaseTool is found too.
    Tool *Find(std::string_view name);

    Tool &Active() { return tools_[active_]; }
    const Tool &Active() const { return tools_[active_]; }
    /// Makes a tool that Find found the active one, with its parameters at their defaults.
    void Activate(const Tool &tool);

    /// Result: whether FoundTool points to a tool now.
    bool Search(std::string_view name);
    /// Null before the first search, and after one that found nothing.
    Tool *Found() { return found_; }
    void ForgetFound() { found_ = nullptr; }

    /// Where a tool's tip is when the head has these angles.
    static Tip TipOf(const Tool &tool, double a, double b);

    /// The angles at which the active tool's primary direction, away from the surface, comes next to `primary`, and with
    /// `secondary` its secondary direction, its own -y, next to that one. All are of length 1, in machine axes.
    std::pair<double, double> Aligned(const Eigen::Vector3d &primary,
                                      const std::optional<Eigen::Vector3d> &secondary) const;
    bool IsWithinHead(double a, double b) const;

  private:
    Setup setup_;
    std::vector<Tool> tools_;  // BaseTool is the last one
    size_t active_ = 0;
    Tool *found_ = nullptr;
};

}  // namespace cmm::dme
