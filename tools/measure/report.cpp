#include "measure/report.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "format.h"
#include "machine/failure.h"

namespace cmm {
namespace {

using emulator::Format;

using Eigen::Vector3d;

constexpr double kMicrometres = 1000;
constexpr int kWideColumns = 96;

std::string Triple(const char *format, Vector3d v) {
    constexpr double kNothing = 5e-7;  // would be shown as 0 with a sign
    for (double &value : v) {
        if (std::abs(value) < kNothing) value = 0;
    }
    return Format(format, v.x(), v.y(), v.z());
}

bool HasAxis(Shape shape) {
    return shape == Shape::Plane || shape == Shape::Circle || shape == Shape::Cylinder;
}

bool HasRadius(Shape shape) {
    return shape != Shape::Plane && shape != Shape::Points;
}

nlohmann::ordered_json Numbers(const Vector3d &v) {
    return {v.x(), v.y(), v.z()};
}

nlohmann::ordered_json Element(Shape shape, const Vector3d &centre, const Vector3d &axis, double radius) {
    nlohmann::ordered_json element;
    element["centre"] = Numbers(centre);
    if (HasAxis(shape)) element["axis"] = Numbers(axis);
    if (HasRadius(shape)) element["radius"] = radius;
    return element;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> Summary(const Result &result) {
    const Fit &fit = result.fit;
    const Shape shape = result.geometry.shape;
    std::vector<std::pair<std::string, std::string>> lines;
    if (shape != Shape::Points) lines.emplace_back("centre", Triple("%.4f %.4f %.4f mm", fit.centre));
    if (HasAxis(shape))
        lines.emplace_back(shape == Shape::Plane ? "normal" : "axis", Triple("%.6f %.6f %.6f", fit.axis));
    if (HasRadius(shape)) lines.emplace_back("radius", Format("%.4f mm", fit.radius));
    lines.emplace_back("form", Format("%.2f um (%zu points)", fit.form * kMicrometres, result.plan.size()));
    return lines;
}

std::string Table(const Result &result, int columns) {
    const bool wide = columns == 0 || columns >= kWideColumns;
    std::string text =
        wide ? "\n  id |     nominal X         Y         Z |    measured X         Y         Z | deviation\n"
               "     |        mm        mm        mm     |        mm        mm        mm     |     um\n"
               " ----+-----------------------------------+-----------------------------------+-----------\n"
             : "\n  id | measured X         Y         Z | deviation\n"
               "     |     mm        mm        mm     |     um\n"
               " ----+--------------------------------+-----------\n";
    for (size_t i = 0; i < result.plan.size(); ++i) {
        text += Format(" %3u |", result.plan[i].id);
        if (wide) text += Triple("    %10.4f%10.4f%10.4f |   ", result.plan[i].nominal);
        text += Triple(" %10.4f%10.4f%10.4f", result.measured[i]);
        text += Format(" | %+8.2f\n", result.fit.deviations[i] * kMicrometres);
    }
    text += "\n";
    for (const auto &[name, value] : Summary(result)) text += Format("  %-7s ", name.c_str()) + value + "\n";
    return text;
}

std::string Csv(const Result &result) {
    std::string text =
        "id,nominal_x,nominal_y,nominal_z,direction_x,direction_y,direction_z,measured_x,measured_y,measured_"
        "z,"
        "deviation\n";
    for (size_t i = 0; i < result.plan.size(); ++i) {
        const ProbingPoint &point = result.plan[i];
        text += std::to_string(point.id);
        for (const Vector3d &v : {point.nominal, point.direction, result.measured[i]})
            text += Triple(",%.6f,%.6f,%.6f", v);
        text += Format(",%.6f\n", result.fit.deviations[i]);
    }
    return text;
}

std::string Json(const Result &result) {
    const Geometry &geometry = result.geometry;
    const Shape shape = geometry.shape;
    nlohmann::ordered_json json;
    json["shape"] = NameOf(shape);
    json["title"] = result.title;
    json["unit"] = "mm";
    if (shape != Shape::Points) {
        json["nominal"] = Element(shape, geometry.centre, geometry.axis, geometry.radius);
        json["fit"] = Element(shape, result.fit.centre, result.fit.axis, result.fit.radius);
    }
    json["form"] = result.fit.form;
    for (size_t i = 0; i < result.plan.size(); ++i) {
        const ProbingPoint &point = result.plan[i];
        json["points"].push_back({{"id", point.id},
                                  {"nominal", Numbers(point.nominal)},
                                  {"direction", Numbers(point.direction)},
                                  {"measured", Numbers(result.measured[i])},
                                  {"deviation", result.fit.deviations[i]}});
    }
    return json.dump(2) + "\n";
}

void WriteFile(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw Failure(kWorkFailed, "cannot write " + path, "Is the disk full, or the folder gone?");
}

std::string WhyNotWritable(const std::string &path) {
    std::error_code ignored;
    const bool isThere = std::filesystem::exists(path, ignored);
    const bool writable = std::ofstream(path, std::ios::app).is_open();
    if (!writable) return "cannot write " + path;
    if (!isThere) std::filesystem::remove(path, ignored);
    return {};
}

bool MatchesPart(const Result &result, const std::vector<Vector3d> &expected, double tolerance,
                 std::string &differences) {
    bool matches = true;
    for (size_t i = 0; i < expected.size(); ++i) {
        const double distance = (result.measured[i] - expected[i]).norm();
        if (distance <= tolerance) continue;
        matches = false;
        differences +=
            Format("  point %u is %.4f mm from where the part was touched\n", result.plan[i].id, distance);
    }
    const Fit part = FitShape(result.geometry, result.plan, expected);
    const struct {
        const char *name;
        double difference;
    } kChecks[] = {{"centre", (result.fit.centre - part.centre).norm()},
                   {"radius", std::abs(result.fit.radius - part.radius)},
                   {"form", std::abs(result.fit.form - part.form)}};
    for (const auto &check : kChecks) {
        if (check.difference <= 2 * tolerance) continue;
        matches = false;
        differences +=
            Format("  %s differs by %.4f mm from that of the part\n", check.name, check.difference);
    }
    differences += "  the part: ";
    if (HasRadius(result.geometry.shape)) differences += Format("radius %.4f mm, ", part.radius);
    differences += Format("form %.2f um; measured form %s it\n", part.form * kMicrometres,
                          matches ? "agrees with" : "differs from");
    return matches;
}

}  // namespace cmm
