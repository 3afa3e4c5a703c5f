// What is told of a position or a measured point: the lists of Get and of the On...Report methods.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dme/coordinates.h"
#include "dme/errors.h"
#include "dme/grammar.h"

namespace cmm::dme {

/// A place of the tip and what belongs to it; machine axes, mm, degrees.
struct Reading {
    Eigen::Vector3d tip = Eigen::Vector3d::Zero();
    Eigen::Vector3d direction = Eigen::Vector3d::Zero();  // out of the material; 0 where there is none
    double radius = 0;
    double quality = 0;  // 0 good to 100 bad
    double a = 0, b = 0, table = 0;
};

/// Where a list is used; some items are told of measured points only.
enum class ReportUse { Position, Point };

/// The items of a list, in the client's order.
class Report {
  public:
    /// X(), Y(), Z(), and for scans Q().
    static Report OfPoint();
    static Report OfScan();

    /// Result: why the list from argument `first` on is none; nothing is changed then. It may not be empty.
    std::optional<Fault> Parse(const std::vector<Argument> &arguments, size_t first, ReportUse use);

    /// "X(1), Y(2)".
    std::string Format(const Reading &reading, const Coordinates &coordinates) const;
    /// "1, 2".
    std::string FormatBare(const Reading &reading, const Coordinates &coordinates) const;

    struct Item;

  private:
    std::vector<const Item *> items_;
};

}  // namespace cmm::dme
