#include "dme/properties.h"

#include <algorithm>

namespace cmm::dme {
namespace {

/// The parameters of a tool. The order is that of an enumeration.
struct ParameterEntry {
    const char *block;
    const char *name;
    Parameter ToolParameters::*parameter;
};

constexpr ParameterEntry kParameters[] = {
    {"GoToPar", "Speed", &ToolParameters::goToSpeed},
    {"GoToPar", "Accel", &ToolParameters::goToAccel},
    {"PtMeasPar", "Speed", &ToolParameters::ptMeasSpeed},
    {"PtMeasPar", "Accel", &ToolParameters::ptMeasAccel},
    {"PtMeasPar", "Approach", &ToolParameters::ptMeasApproach},
    {"PtMeasPar", "Search", &ToolParameters::ptMeasSearch},
    {"PtMeasPar", "Retract", &ToolParameters::ptMeasRetract},
    {"ScanPar", "Speed", &ToolParameters::scanSpeed},
    {"ScanPar", "Accel", &ToolParameters::scanAccel},
    {"ScanPar", "Retract", &ToolParameters::scanRetract},
};

constexpr const char *kBlocks[] = {"GoToPar", "PtMeasPar", "ScanPar"};

/// The values of a parameter. Only the first can be set.
struct ValueEntry {
    const char *name;
    double Parameter::*value;
};

constexpr ValueEntry kValues[] = {{"Act", &Parameter::actual},
                                  {"Def", &Parameter::standard},
                                  {"Max", &Parameter::max},
                                  {"Min", &Parameter::min}};

/// What else a tool tells of itself.
struct View {
    const Tool &tool;
    const Tip tip;
    const Coordinates &coordinates;
    double a, b;
};

void Append(std::string &list, const Eigen::Vector3d &vector) {
    list += (list.empty() ? "" : ", ") + FormatNumbers({vector.x(), vector.y(), vector.z()});
}

std::string Alignment(const View &view) {
    std::string text;
    Append(text, view.coordinates.DirectionFromMachine(view.tip.axes.col(2)));
    return text;
}

std::string CollisionVolume(const View &view) {
    std::string text;
    for (const Box &box : view.tool.collisionVolume) {
        text += text.empty() ? "OBB" : ", OBB";
        Append(text, view.coordinates.DirectionFromMachine(view.tip.axes * box.centre));
        Append(text, box.extension);
        for (int axis = 0; axis < 3; ++axis)
            Append(text, view.coordinates.DirectionFromMachine(view.tip.axes * box.axes.col(axis)));
    }
    return text;
}

std::string AlignmentVolume(const View &view) {
    std::string text = "SPH";
    Append(text, view.coordinates.DirectionFromMachine(-view.tip.offset));
    return text + ", " + FormatNumber(view.tip.offset.norm() + view.tip.radius);
}

struct AttributeEntry {
    const char *name;
    const char *type;  // null: it is told, but not enumerated
    bool needsHead;
    std::string (*value)(const View &);
};

constexpr AttributeEntry kAttributes[] = {
    {"Name", "String", false, [](const View &view) { return FormatText(view.tool.name); }},
    {"Id", "String", false, [](const View &view) { return FormatText(view.tool.id); }},
    {"AvrRadius", "Number", false, [](const View &view) { return FormatNumber(view.tip.radius); }},
    {"A", "Number", true, [](const View &view) { return FormatNumber(view.a); }},
    {"B", "Number", true, [](const View &view) { return FormatNumber(view.b); }},
    {"Alignment", nullptr, false, Alignment},
    {"CollisionVolume", nullptr, false, CollisionVolume},
    {"AlignmentVolume", nullptr, true, AlignmentVolume},
};

template <typename Table>
auto FindNamed(const Table &table, std::string_view name) {
    const auto *entry = std::find_if(std::begin(table), std::end(table),
                                     [name](const auto &each) { return each.name == name; });
    return entry == std::end(table) ? nullptr : entry;
}

std::vector<std::string> Split(std::string_view path) {
    std::vector<std::string> parts(1);
    for (const char c : path) {
        if (c == '.')
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::string Line(const std::string &name, const char *type) {
    return FormatText(name) + ", " + FormatText(type);
}

/// The children of a block, and with `all` theirs; `prefix`: what stands before each name.
void EnumerateBlock(std::string_view block, const std::string &prefix, bool all,
                    std::vector<std::string> &lines) {
    for (const ParameterEntry &entry : kParameters)
        if (block == entry.block) lines.push_back(Line(prefix + entry.name, "Number"));
    for (const ParameterEntry &entry : kParameters) {
        if (block != entry.block) continue;
        if (!all) lines.push_back(Line(prefix + entry.name, "Property"));
        for (const ValueEntry &value : kValues)
            if (all) lines.push_back(Line(prefix + entry.name + "." + value.name, "Number"));
    }
}

}  // namespace

/// Where a path leads: to a tool, one of its attributes, a block, a parameter or a value of it.
struct Properties::Place {
    Tool *tool = nullptr;
    const AttributeEntry *attribute = nullptr;
    std::string block;
    const ParameterEntry *parameter = nullptr;
    const ValueEntry *value = nullptr;
};

std::optional<Fault> Properties::Locate(const Argument &argument, Place &place) const {
    if (argument.kind != Argument::Kind::Call) return Fault{ErrorNumber::BadArgument, argument.text};
    std::vector<std::string> path = Split(argument.text);
    const Fault unknown{ErrorNumber::BadProperty, argument.text};
    const bool found = path[0] == "FoundTool";
    place.tool = found ? tools_.Found() : &tools_.Active();
    const bool rooted = path[0] == "Tool" || found;
    if (rooted) path.erase(path.begin());
    if (!place.tool) return Fault{ErrorNumber::ToolNotDefined, argument.text};
    if (path.empty()) return std::nullopt;
    if (rooted) place.attribute = FindNamed(kAttributes, path[0]);
    if (place.attribute) {
        if (path.size() > 1) return unknown;
        if (place.attribute->needsHead && !place.tool->onHead)
            return Fault{ErrorNumber::BadArgument, argument.text};
        return std::nullopt;
    }
    if (std::find(std::begin(kBlocks), std::end(kBlocks), path[0]) == std::end(kBlocks)) return unknown;
    place.block = path[0];
    if (path.size() == 1) return std::nullopt;
    for (const ParameterEntry &entry : kParameters)
        if (path[0] == entry.block && path[1] == entry.name) place.parameter = &entry;
    if (!place.parameter) return unknown;
    if (path.size() == 2) return std::nullopt;
    place.value = FindNamed(kValues, path[2]);
    return place.value && path.size() == 3 ? std::nullopt : std::optional<Fault>(unknown);
}

std::optional<Fault> Properties::Get(const Argument &argument, std::string &data) const {
    Place place;
    if (auto fault = Locate(argument, place)) return fault;
    if (!argument.arguments.empty()) return Fault{ErrorNumber::BadArgument, argument.text};
    std::string value;
    if (place.attribute) {
        value =
            place.attribute->value({*place.tool, Toolbox::TipOf(*place.tool, a_, b_), coordinates_, a_, b_});
    } else if (place.parameter) {
        const Parameter &parameter = place.tool->parameters.*place.parameter->parameter;
        value = FormatNumber(parameter.*(place.value ? place.value->value : &Parameter::actual));
    } else {
        return Fault{ErrorNumber::BadProperty, argument.text + ": no value"};
    }
    data = argument.text + "(" + value + ")";
    return std::nullopt;
}

std::optional<Fault> Properties::Check(const Argument &argument) const {
    Place place;
    if (auto fault = Locate(argument, place)) return fault;
    if (!place.parameter || (place.value && place.value->value != &Parameter::actual))
        return Fault{ErrorNumber::NotSupported, argument.text + ": can't be set"};
    if (argument.arguments.size() != 1 || argument.arguments[0].kind != Argument::Kind::Number)
        return Fault{ErrorNumber::BadArgument, argument.text + ": needs one number"};
    return std::nullopt;
}

std::optional<Fault> Properties::Set(const Argument &argument, bool &outOfRange) {
    if (auto fault = Check(argument)) return fault;
    Place place;
    Locate(argument, place);
    Parameter &parameter = place.tool->parameters.*place.parameter->parameter;
    const double wanted = argument.arguments[0].number;
    parameter.actual = std::clamp(wanted, parameter.min, parameter.max);
    outOfRange = parameter.actual != wanted;
    return std::nullopt;
}

std::optional<Fault> Properties::Enumerate(const Argument &argument, bool all,
                                           std::vector<std::string> &lines) const {
    Place place;
    if (auto fault = Locate(argument, place)) return fault;
    if (!argument.arguments.empty()) return Fault{ErrorNumber::BadArgument, argument.text};
    if (place.attribute || place.value) return std::nullopt;
    if (place.parameter) {
        for (const ValueEntry &value : kValues) lines.push_back(Line(value.name, "Number"));
    } else if (!place.block.empty()) {
        EnumerateBlock(place.block, "", all, lines);
    } else {
        for (const AttributeEntry &attribute : kAttributes)
            if (attribute.type && (place.tool->onHead || !attribute.needsHead))
                lines.push_back(Line(attribute.name, attribute.type));
        for (const std::string block : kBlocks) {
            lines.push_back(Line(block, "Property"));
            if (all) EnumerateBlock(block, block + ".", true, lines);
        }
    }
    return std::nullopt;
}

}  // namespace cmm::dme
