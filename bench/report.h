// Figures as a table, as Markdown and as JSON.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// One line of the table. What was not measured is empty.
struct Figure {
    std::string what;
    std::string unit;
    std::optional<double> bare;     // without the library
    std::optional<double> classic;  // "Line mode" 0
    std::optional<double> prompt;   // "Line mode" 1
};

/// A value with three digits, whole ones from 100 on; "-" for an empty one.
std::string Text(const std::optional<double> &value);

void PrintTable(std::ostream &out, const std::vector<Figure> &figures);
void PrintMarkdown(std::ostream &out, const std::vector<Figure> &figures);
/// An array of objects with the fields of Figure; null for what is empty.
void PrintJson(std::ostream &out, const std::vector<Figure> &figures);

}  // namespace bench
