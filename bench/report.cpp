#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

namespace bench {
namespace {

constexpr int kDigits = 3;

std::string Number(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string JsonNumber(const std::optional<double> &value) {
    return value ? Number(*value, 6) : "null";
}

std::string Padded(const std::string &text, size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

}  // namespace

std::string Text(const std::optional<double> &value) {
    if (!value) return "-";
    const double size = std::abs(*value);
    if (size == std::round(size)) return Number(*value, 0);
    const int before = size > 0 ? static_cast<int>(std::floor(std::log10(size))) + 1 : 1;
    return Number(*value, std::clamp(kDigits - before, 0, kDigits));
}

void PrintTable(std::ostream &out, const std::vector<Figure> &figures) {
    constexpr size_t kColumn = 10;
    size_t widest = 0;
    for (const Figure &figure : figures) widest = std::max(widest, figure.what.size());
    const auto line = [&](const std::string &what, const std::string &unit, const std::string &bare,
                          const std::string &classic, const std::string &prompt) {
        out << what << Padded("", widest - what.size()) << Padded(bare, kColumn) << Padded(classic, kColumn)
            << Padded(prompt, kColumn) << "  " << unit << "\n";
    };
    line("", "", "bare", "mode 0", "mode 1");
    for (const Figure &figure : figures)
        line(figure.what, figure.unit, Text(figure.bare), Text(figure.classic), Text(figure.prompt));
}

void PrintMarkdown(std::ostream &out, const std::vector<Figure> &figures) {
    out << "| What | Unit | Bare | Line mode 0 | Line mode 1 |\n| --- | --- | --- | --- | --- |\n";
    for (const Figure &figure : figures) {
        out << "| " << figure.what << " | " << figure.unit << " | " << Text(figure.bare) << " | "
            << Text(figure.classic) << " | " << Text(figure.prompt) << " |\n";
    }
}

void PrintJson(std::ostream &out, const std::vector<Figure> &figures) {
    out << "[\n";
    for (size_t i = 0; i < figures.size(); ++i) {
        const Figure &figure = figures[i];
        out << "  {\"what\": \"" << figure.what << "\", \"unit\": \"" << figure.unit
            << "\", \"bare\": " << JsonNumber(figure.bare) << ", \"classic\": " << JsonNumber(figure.classic)
            << ", \"prompt\": " << JsonNumber(figure.prompt) << "}"
            << (i + 1 < figures.size() ? ",\n" : "\n");
    }
    out << "]\n";
}

}  // namespace bench
