#include "dme/report.h"

#include <algorithm>
#include <iterator>

namespace cmm::dme {

/// A reading whose tip and direction are in the client's coordinates.
using Value = std::string (*)(const Reading &);

struct Report::Item {
    const char *name;
    ErrorNumber elsewhere;  // what it gets where it can't be told
    bool onlyOfPoints;
    Value value;
};

namespace {

// Angles that are not fitted are 0.
constexpr Report::Item kItems[] = {
    {"X", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.tip.x()); }},
    {"Y", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.tip.y()); }},
    {"Z", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.tip.z()); }},
    {"R", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.table); }},
    {"Tool.A", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.a); }},
    {"Tool.B", ErrorNumber::BadProperty, false,
     [](const Reading &reading) { return FormatNumber(reading.b); }},
    {"Tool.C", ErrorNumber::BadProperty, false, [](const Reading &) { return FormatNumber(0); }},
    {"IJK", ErrorNumber::BadContext, true,
     [](const Reading &reading) {
         return FormatNumbers({reading.direction.x(), reading.direction.y(), reading.direction.z()});
     }},
    {"ER", ErrorNumber::BadArgument, true,
     [](const Reading &reading) { return FormatNumber(reading.radius); }},
    {"Q", ErrorNumber::BadArgument, true,
     [](const Reading &reading) { return FormatNumber(reading.quality); }},
};

const Report::Item *Find(std::string_view name) {
    const auto *item = std::find_if(std::begin(kItems), std::end(kItems),
                                    [name](const Report::Item &each) { return each.name == name; });
    return item == std::end(kItems) ? nullptr : item;
}

Reading InClientCoordinates(Reading reading, const Coordinates &coordinates) {
    reading.tip = coordinates.FromMachine(reading.tip);
    reading.direction = coordinates.DirectionFromMachine(reading.direction);
    return reading;
}

}  // namespace

Report Report::OfPoint() {
    Report report;
    report.items_ = {Find("X"), Find("Y"), Find("Z")};
    return report;
}

Report Report::OfScan() {
    Report report = OfPoint();
    report.items_.push_back(Find("Q"));
    return report;
}

std::optional<Fault> Report::Parse(const std::vector<Argument> &arguments, size_t first, ReportUse use) {
    if (arguments.size() <= first) return Fault{ErrorNumber::IncorrectArguments, "nothing to report"};
    std::vector<const Item *> items;
    for (size_t i = first; i < arguments.size(); ++i) {
        const Argument &argument = arguments[i];
        const Item *item = argument.kind == Argument::Kind::Call ? Find(argument.text) : nullptr;
        if (!item) return Fault{ErrorNumber::BadProperty, argument.text};
        if (!argument.arguments.empty()) return Fault{ErrorNumber::BadArgument, argument.text};
        if (item->onlyOfPoints && use != ReportUse::Point) return Fault{item->elsewhere, argument.text};
        if (std::find(items.begin(), items.end(), item) != items.end())
            return Fault{ErrorNumber::BadArgument, argument.text + " twice"};
        items.push_back(item);
    }
    items_ = items;
    return std::nullopt;
}

std::string Report::Format(const Reading &reading, const Coordinates &coordinates) const {
    const Reading seen = InClientCoordinates(reading, coordinates);
    std::string text;
    for (const Item *item : items_)
        text += (text.empty() ? "" : ", ") + std::string(item->name) + "(" + item->value(seen) + ")";
    return text;
}

std::string Report::FormatBare(const Reading &reading, const Coordinates &coordinates) const {
    const Reading seen = InClientCoordinates(reading, coordinates);
    std::string text;
    for (const Item *item : items_) text += (text.empty() ? "" : ", ") + item->value(seen);
    return text;
}

}  // namespace cmm::dme
