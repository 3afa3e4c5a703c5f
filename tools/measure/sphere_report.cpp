#include "measure/sphere_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <ostream>
#include <stdexcept>

namespace cmm {
namespace {

constexpr double kMicrometres = 1000;

template <typename... Values>
std::string Format(const char *format, Values... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// From blue (inside) through grey to red (outside); share is -1 to 1.
std::string Colour(double share) {
    const double strength = std::min(std::abs(share), 1.0);
    const auto mixed = [strength](double target) {
        return static_cast<int>(150 + strength * (target - 150));
    };
    return share >= 0 ? Format("rgb(%d,%d,%d)", mixed(200), mixed(30), mixed(30))
                      : Format("rgb(%d,%d,%d)", mixed(30), mixed(80), mixed(200));
}

}  // namespace

void PrintTable(std::ostream &out, const std::vector<ProbingPoint> &plan,
                const std::vector<Eigen::Vector3d> &measured, const SphereFit &fit) {
    out << "\n  id |     nominal X         Y         Z |    measured X         Y         Z | deviation\n"
           "     |        mm        mm        mm     |        mm        mm        mm     |     um\n"
           " ----+-----------------------------------+-----------------------------------+-----------\n";
    for (size_t i = 0; i < plan.size(); ++i) {
        const Eigen::Vector3d &n = plan[i].nominal;
        const Eigen::Vector3d &m = measured[i];
        out << Format(" %3u |    %10.4f%10.4f%10.4f |    %10.4f%10.4f%10.4f | %+8.2f\n", plan[i].id, n.x(),
                      n.y(), n.z(), m.x(), m.y(), m.z(), fit.deviations[i] * kMicrometres);
    }
    out << Format(
        "\n  centre  %10.4f %10.4f %10.4f mm\n  radius  %10.4f mm\n  form    %10.2f um (%zu points)\n",
        fit.centre.x(), fit.centre.y(), fit.centre.z(), fit.radius, fit.form * kMicrometres, plan.size());
}

void DrawDeviations(const std::string &path, const std::string &title, const std::vector<ProbingPoint> &plan,
                    const SphereFit &fit) {
    constexpr double kSize = 640, kMiddle = 300, kRadius = 200, kLongestHair = 60;
    double largest = 1e-9;
    for (const double deviation : fit.deviations) largest = std::max(largest, std::abs(deviation));
    std::ofstream svg(path);
    svg << Format(
               "<svg xmlns='http://www.w3.org/2000/svg' width='%g' height='%g' font-family='sans-serif'>\n",
               kSize, kSize)
        << "<rect width='100%' height='100%' fill='white'/>\n"
        << "<text x='20' y='30' font-size='18'>" << title << "</text>\n";
    for (const double latitude : {0.0, 25.0, 50.0, 75.0}) {
        svg << Format("<circle cx='%g' cy='%g' r='%.1f' fill='none' stroke='#ccc'/>\n", kMiddle, kMiddle,
                      kRadius * std::cos(latitude * std::numbers::pi / 180));
    }
    for (size_t i = 0; i < plan.size(); ++i) {
        // The pole, seen from above, has no direction of its own: its line points up.
        const Eigen::Vector3d &direction = plan[i].direction;
        const Eigen::Vector2d place(kMiddle + kRadius * direction.x(), kMiddle - kRadius * direction.y());
        Eigen::Vector2d outward(direction.x(), -direction.y());
        outward = outward.norm() > 1e-6 ? outward.normalized().eval() : Eigen::Vector2d(0, -1);
        const double share = fit.deviations[i] / largest;
        const Eigen::Vector2d end = place + share * kLongestHair * outward;
        svg << Format("<line x1='%.1f' y1='%.1f' x2='%.1f' y2='%.1f' stroke='%s' stroke-width='3'/>\n",
                      place.x(), place.y(), end.x(), end.y(), Colour(share).c_str())
            << Format("<circle cx='%.1f' cy='%.1f' r='3.5' fill='#333'/>\n", place.x(), place.y())
            << Format("<text x='%.1f' y='%.1f' font-size='10' fill='#555'>%u</text>\n", place.x() + 5,
                      place.y() - 5, plan[i].id);
    }
    svg << Format("<line x1='20' y1='600' x2='%g' y2='600' stroke='%s' stroke-width='3'/>\n",
                  20 + kLongestHair, Colour(1).c_str())
        << Format("<text x='%g' y='604' font-size='13'>%.2f um outside; blue: inside</text>\n",
                  30 + kLongestHair, largest * kMicrometres)
        << Format(
               "<text x='20' y='628' font-size='13'>centre %.4f %.4f %.4f mm, radius %.4f mm, form %.2f "
               "um</text>\n",
               fit.centre.x(), fit.centre.y(), fit.centre.z(), fit.radius, fit.form * kMicrometres)
        << "</svg>\n";
    svg.close();
    if (!svg) throw std::runtime_error("cannot write " + path);
}

bool MatchesPart(std::ostream &out, const std::vector<ProbingPoint> &plan,
                 const std::vector<Eigen::Vector3d> &measured, const SphereFit &fit, double tolerance) {
    std::vector<Eigen::Vector3d> surface;
    bool matches = true;
    for (size_t i = 0; i < plan.size(); ++i) {
        surface.push_back(plan[i].surface);
        const double distance = (measured[i] - plan[i].surface).norm();
        if (distance <= tolerance) continue;
        matches = false;
        out << Format("  point %u is %.4f mm from where the part was touched\n", plan[i].id, distance);
    }
    const SphereFit expected = FitSphere(surface);
    const struct {
        const char *name;
        double difference;
    } kChecks[] = {{"centre", (fit.centre - expected.centre).norm()},
                   {"radius", std::abs(fit.radius - expected.radius)},
                   {"form", std::abs(fit.form - expected.form)}};
    for (const auto &check : kChecks) {
        if (check.difference <= 2 * tolerance) continue;
        matches = false;
        out << Format("  %s differs by %.4f mm from that of the part\n", check.name, check.difference);
    }
    out << Format("  the part: radius %.4f mm, form %.2f um; measured form %s it\n", expected.radius,
                  expected.form * kMicrometres, matches ? "agrees with" : "differs from");
    return matches;
}

}  // namespace cmm
