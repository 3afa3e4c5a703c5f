#include "command_time_picture.h"
#include "format.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

using emulator::Format;

constexpr double kWidth = 760, kLeft = 190, kRight = 690, kTop = 92, kStep = 46, kBar = 28;

// In the order in which they follow each other. The colours differ in brightness too.
constexpr struct {
    const char *name;
    double CommandParts::*time;
    const char *colour;
} kParts[] = {{"tick", &CommandParts::tick, "#e69f00"},
              {"wire", &CommandParts::wire, "#9ecae9"},
              {"library", &CommandParts::reception, "#222222"},
              {"completion poll", &CommandParts::completion, "#b03a5b"}};

double Total(const CommandParts &parts) {
    double total = 0;
    for (const auto &part : kParts) total += parts.*part.time;
    return total;
}

std::string Legend() {
    std::string svg;
    double x = kLeft;
    for (const auto &part : kParts) {
        svg += Format("<rect x='%g' y='50' width='14' height='14' fill='%s'/>\n", x, part.colour) +
               Format("<text x='%g' y='62'>%s</text>\n", x + 20, part.name);
        x += 95;
    }
    return svg;
}

std::string Axis(double longest, double scale, double bottom) {
    std::string svg;
    for (int ms = 0; ms <= static_cast<int>(longest); ms += 10) {
        const double x = kLeft + ms * scale;
        svg +=
            Format("<line x1='%.1f' y1='%g' x2='%.1f' y2='%g' stroke='#dddddd'/>\n", x, kTop - 8, x, bottom) +
            Format("<text x='%.1f' y='%g' text-anchor='middle'>%d</text>\n", x, bottom + 16, ms);
    }
    return svg + Format("<text x='%g' y='%g'>ms</text>\n", kRight + 24, bottom + 16);
}

std::string Bar(const CommandBar &bar, double y, double scale) {
    std::string svg = Format("<text x='%g' y='%g' text-anchor='end'>", kLeft - 10, y + 0.68 * kBar) +
                      bar.name + "</text>\n";
    double x = kLeft;
    for (const auto &part : kParts) {
        const double width = bar.parts.*part.time * scale;
        svg += Format("<rect x='%.1f' y='%g' width='%.1f' height='%g' fill='%s'>", x, y, width, kBar,
                      part.colour) +
               Format("<title>%s %.2f ms</title></rect>\n", part.name, bar.parts.*part.time);
        x += width;
    }
    return svg + Format("<text x='%.1f' y='%g'>%.1f</text>\n", x + 6, y + 0.68 * kBar, Total(bar.parts));
}

}  // namespace

void DrawCommandTimes(const std::string &path, const std::vector<CommandBar> &bars, double bare) {
    double longest = bare;
    for (const CommandBar &bar : bars) longest = std::max(longest, Total(bar.parts));
    const double scale = (kRight - kLeft) / longest;
    const double bottom = kTop + kStep * static_cast<double>(bars.size());
    const double bareX = kLeft + bare * scale;
    std::ofstream svg(path);
    svg << Format("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' width='%g' height='%g' ",
                  kWidth, bottom + 56, kWidth, bottom + 56)
        << "font-family='sans-serif' font-size='13' fill='#222222'>\n"
        << "<rect width='100%' height='100%' fill='white'/>\n"
        << "<text x='20' y='30' font-size='17'>Time of a command with its reply on a line of 9600 "
           "baud</text>\n"
        << Legend() << Axis(longest, scale, bottom);
    double y = kTop;
    for (const CommandBar &bar : bars) {
        svg << Bar(bar, y, scale);
        y += kStep;
    }
    svg << Format("<line x1='%.1f' y1='%g' x2='%.1f' y2='%g' stroke='#222222' stroke-dasharray='5 4'/>\n",
                  bareX, kTop - 8, bareX, bottom)
        << Format(
               "<text x='%.1f' y='%g' text-anchor='middle'>dashed: the same bytes without the library, "
               "%.1f ms</text>\n",
               (kLeft + kRight) / 2, bottom + 40, bare)
        << "</svg>\n";
    svg.close();
    if (!svg) throw std::runtime_error("cannot write " + path);
}

}  // namespace bench
