// The property tree: Tool.GoToPar.Speed.Max and its like.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dme/coordinates.h"
#include "dme/grammar.h"
#include "dme/toolbox.h"

namespace cmm::dme {

/// The tree as a client sees it now. Roots are Tool, the active one, FoundTool, and the blocks of the active tool without
/// their tool in front.
class Properties {
  public:
    /// `a`, `b`: the head's angles, degrees.
    Properties(Toolbox &tools, const Coordinates &coordinates, double a, double b)
        : tools_(tools), coordinates_(coordinates), a_(a), b_(b) {}

    /// Result: why there is no such value. `data`: the argument with its value, as it goes into a data line.
    std::optional<Fault> Get(const Argument &argument, std::string &data) const;
    /// Result: why the value can't be set; nothing is changed then. A value out of range is brought to the nearest that is
    /// allowed. `outOfRange`: whether it was.
    std::optional<Fault> Set(const Argument &argument, bool &outOfRange);
    /// Whether Set will do it.
    std::optional<Fault> Check(const Argument &argument) const;
    /// `lines`: name and type of each child, and with `all` of theirs too, as data lines.
    std::optional<Fault> Enumerate(const Argument &argument, bool all, std::vector<std::string> &lines) const;

  private:
    struct Place;
    std::optional<Fault> Locate(const Argument &argument, Place &place) const;

    Toolbox &tools_;
    const Coordinates &coordinates_;
    double a_, b_;
};

}  // namespace cmm::dme
