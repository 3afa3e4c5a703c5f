#include "measure/picture.h"
#include "format.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace cmm {
namespace {

using emulator::Format;

using Eigen::Vector2d;
using Eigen::Vector3d;

constexpr double kMicrometres = 1000;
constexpr const char *kGrey = "#888";

// Pixels.
constexpr double kTop = 70;  // of both panels
constexpr double kMapLeft = 75, kMapSize = 430;
constexpr double kBarsLeft = 600, kBarsWidth = 300;
constexpr double kWidth = 940;
constexpr double kShortestRow = 11;

std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&') {
            escaped += "&amp;";
        } else if (c == '<') {
            escaped += "&lt;";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string Text(double x, double y, int size, const char *anchor, const std::string &text) {
    return Format("<text x='%.1f' y='%.1f' font-size='%d' text-anchor='%s'>", x, y, size, anchor) +
           Escaped(text) + "</text>\n";
}

std::string Line(double x1, double y1, double x2, double y2, const char *colour) {
    return Format("<line x1='%.1f' y1='%.1f' x2='%.1f' y2='%.1f' stroke='%s'/>\n", x1, y1, x2, y2, colour);
}

// From blue (negative) through grey to red (positive); share is -1 to 1.
std::string Colour(double share) {
    const double strength = std::min(std::abs(share), 1.0);
    const auto mixed = [strength](double target) {
        return static_cast<int>(170 + strength * (target - 170));
    };
    return share >= 0 ? Format("rgb(%d,%d,%d)", mixed(200), mixed(30), mixed(30))
                      : Format("rgb(%d,%d,%d)", mixed(30), mixed(80), mixed(200));
}

// 1, 2 or 5 times a power of ten, so that at most some five steps fit into `range`.
double NiceStep(double range) {
    const double power = std::pow(10, std::floor(std::log10(range / 5)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (range / (factor * power) <= 5.5) return factor * power;
    }
    return 10 * power;
}

// How a shape is laid flat.
struct View {
    std::string horizontal, vertical;  // names of the axes, with units
    std::vector<Vector2d> places;      // of the points
    bool sameScale = true;             // both axes are lengths
    double horizontalStep = 0;         // from tick to tick; 0: whatever is nice
};

std::string AxisName(const Vector3d &direction) {
    for (int axis = 0; axis < 3; ++axis) {
        if (direction[axis] > 1 - 1e-9) return Format("%c, mm", "XYZ"[axis]);
    }
    return Format("along (%.3f %.3f %.3f), mm", direction.x(), direction.y(), direction.z());
}

View LayFlat(const Result &result) {
    const Geometry &geometry = result.geometry;
    View view;
    if (geometry.shape == Shape::Cylinder) {
        const auto [first, second] = AxesAcross(geometry.axis);
        view.horizontal = "angle about the axis, degrees";
        view.vertical = "height along the axis, mm";
        view.sameScale = false;
        view.horizontalStep = 60;
        for (const ProbingPoint &point : result.plan) {
            const Vector3d arm = point.nominal - geometry.centre;
            const double angle = std::atan2(arm.dot(second), arm.dot(first)) * 180 / std::numbers::pi;
            view.places.emplace_back(angle < -1e-6 ? angle + 360 : angle, arm.dot(geometry.axis));
        }
        return view;
    }
    // Across the axis; what lies there along X, Y or Z shows its coordinates.
    const bool flat = geometry.shape == Shape::Plane || geometry.shape == Shape::Circle;
    const Vector3d axis = flat ? geometry.axis : Vector3d::UnitZ();
    const auto [first, second] = AxesAcross(axis);
    view.horizontal = AxisName(first);
    view.vertical = AxisName(second);
    for (const ProbingPoint &point : result.plan)
        view.places.emplace_back(point.nominal.dot(first), point.nominal.dot(second));
    return view;
}

// One axis of a panel: from values to pixels.
struct Scale {
    double low, high;    // values
    double first, last;  // pixels

    double operator()(double value) const { return first + (value - low) / (high - low) * (last - first); }
};

std::string Ticks(const Scale &scale, bool horizontal, double across, double end, double wanted = 0) {
    std::string svg;
    const double step = wanted > 0 ? wanted : NiceStep(scale.high - scale.low);
    const auto first = static_cast<int>(std::ceil(scale.low / step));
    const auto last = static_cast<int>(std::floor(scale.high / step + 1e-6));
    for (int i = first; i <= last; ++i) {
        const double value = i * step;
        const double place = scale(value);
        const std::string label = Format("%g", value);
        svg += horizontal ? Line(place, across, place, end, "#e4e4e4")
                          : Line(across, place, end, place, "#e4e4e4");
        svg += horizontal ? Text(place, across + 16, 12, "middle", label)
                          : Text(across - 6, place + 4, 12, "end", label);
    }
    return svg;
}

std::string Map(const Result &result, double largest) {
    const View view = LayFlat(result);
    Vector2d low = view.places[0], high = view.places[0];
    for (const Vector2d &place : view.places) {
        low = low.cwiseMin(place);
        high = high.cwiseMax(place);
    }
    Vector2d middle = (low + high) / 2, half = (high - low).cwiseMax(1) / 2 * 1.12;
    if (view.sameScale) half.setConstant(half.maxCoeff());
    const double bottom = kTop + kMapSize;
    const Scale x{middle.x() - half.x(), middle.x() + half.x(), kMapLeft, kMapLeft + kMapSize};
    const Scale y{middle.y() - half.y(), middle.y() + half.y(), bottom, kTop};
    std::string svg =
        Ticks(x, true, bottom, kTop, view.horizontalStep) + Ticks(y, false, kMapLeft, kMapLeft + kMapSize);
    svg += Format("<rect x='%g' y='%g' width='%g' height='%g' fill='none' stroke='%s'/>\n", kMapLeft, kTop,
                  kMapSize, kMapSize, kGrey);
    svg += Text(kMapLeft + kMapSize / 2, bottom + 36, 13, "middle", view.horizontal);
    svg += Format("<text transform='translate(%g %g) rotate(-90)' font-size='13' text-anchor='middle'>",
                  kMapLeft - 50, kTop + kMapSize / 2) +
           view.vertical + "</text>\n";
    for (size_t i = 0; i < view.places.size(); ++i) {
        const double px = x(view.places[i].x()), py = y(view.places[i].y());
        svg += Format("<circle cx='%.1f' cy='%.1f' r='6' fill='%s' stroke='#333' stroke-width='0.7'/>\n", px,
                      py, Colour(result.fit.deviations[i] / largest).c_str());
        svg += Text(px, py - 9, 10, "middle", std::to_string(result.plan[i].id));
    }
    return svg;
}

std::string Bars(const Result &result, double largest, double height) {
    const double bottom = kTop + height;
    const Scale x{-largest * 1.05 * kMicrometres, largest * 1.05 * kMicrometres, kBarsLeft,
                  kBarsLeft + kBarsWidth};
    const double row = height / static_cast<double>(result.plan.size());
    const double thickness = std::min(0.7 * row, 14.0);
    const int size = static_cast<int>(std::clamp(row - 1, 8.0, 12.0));
    std::string svg = Ticks(x, true, bottom, kTop);
    svg += Line(x(0), kTop, x(0), bottom, kGrey);
    svg += Format("<rect x='%g' y='%g' width='%g' height='%g' fill='none' stroke='%s'/>\n", kBarsLeft, kTop,
                  kBarsWidth, height, kGrey);
    svg += Text(kBarsLeft + kBarsWidth / 2, bottom + 36, 13, "middle", "deviation, um (red: outward)");
    for (size_t i = 0; i < result.plan.size(); ++i) {
        const double deviation = result.fit.deviations[i];
        const double middle = kTop + row * (static_cast<double>(i) + 0.5);
        const double end = x(deviation * kMicrometres);
        svg += Text(kBarsLeft - 6, middle + size * 0.36, size, "end", std::to_string(result.plan[i].id));
        svg += Format("<rect x='%.1f' y='%.1f' width='%.1f' height='%.1f' fill='%s'/>\n", std::min(end, x(0)),
                      middle - thickness / 2, std::abs(end - x(0)), thickness,
                      Colour(deviation / largest).c_str());
    }
    return svg;
}

}  // namespace

std::string Picture(const Result &result) {
    double largest = 1e-6;  // mm; what is smaller than that is drawn as nothing
    for (const double deviation : result.fit.deviations) largest = std::max(largest, std::abs(deviation));
    const double height = std::max(kMapSize, kShortestRow * static_cast<double>(result.plan.size()));
    const double whole = kTop + height + 60;
    std::string svg = Format(
        "<svg xmlns='http://www.w3.org/2000/svg' width='%g' height='%g' viewBox='0 0 %g %g' "
        "font-family='sans-serif' "
        "fill='#222'>\n<rect width='100%%' height='100%%' fill='white'/>\n",
        kWidth, whole, kWidth, whole);
    svg += Text(20, 28, 18, "start", result.title);
    std::string summary;
    for (const auto &[name, value] : Summary(result)) {
        if (!summary.empty()) summary += ",  ";
        summary.append(name).append(" ").append(value);
    }
    svg += Text(20, 50, 13, "start", summary);
    return svg + Map(result, largest) + Bars(result, largest, height) + "</svg>\n";
}

}  // namespace cmm
