#include "dme/machine_file.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "dme/toml_section.h"
#include "dme/toolbox.h"
#include "machine/failure.h"

namespace cmm::dme {
namespace {

using Complaints = std::vector<FileComplaint>;

void ReadParameter(TomlSection &block, std::string_view name, double least, Parameter &parameter,
                   Complaints &complaints) {
    const toml::table *const table = block.Table(name);
    if (!table) return;
    Parameter given = parameter;
    {
        TomlSection section(*table, block.PathOf(name), complaints);
        section.Read("min", given.min);
        section.Read("max", given.max);
        section.Read("default", given.standard);
    }
    std::ostringstream words;
    if (given.min < least) {
        words << "min must not be below " << least;
        return block.Complain(name, words.str());
    }
    if (given.min > given.standard || given.standard > given.max) {
        words << "min, default and max must be in order; they are " << given.min << ", " << given.standard
              << " and " << given.max;
        return block.Complain(name, words.str());
    }
    parameter = {given.min, given.max, given.standard};
}

// A speed or acceleration must be above 0, and so must the least that a client may choose.
constexpr double kLeastSpeed = 0.001;

void ReadParameters(TomlSection &section, ToolParameters &parameters, Complaints &complaints) {
    struct Entry {
        const char *block, *name;
        double least;
        Parameter *parameter;
    };
    const Entry entries[] = {
        {"GoToPar", "Speed", kLeastSpeed, &parameters.goToSpeed},
        {"GoToPar", "Accel", kLeastSpeed, &parameters.goToAccel},
        {"PtMeasPar", "Speed", kLeastSpeed, &parameters.ptMeasSpeed},
        {"PtMeasPar", "Accel", kLeastSpeed, &parameters.ptMeasAccel},
        {"PtMeasPar", "Approach", 0, &parameters.ptMeasApproach},
        {"PtMeasPar", "Search", 0, &parameters.ptMeasSearch},
        {"PtMeasPar", "Retract", -1, &parameters.ptMeasRetract},
        {"ScanPar", "Speed", kLeastSpeed, &parameters.scanSpeed},
        {"ScanPar", "Accel", kLeastSpeed, &parameters.scanAccel},
        {"ScanPar", "Retract", -1, &parameters.scanRetract},
    };
    for (const char *name : {"GoToPar", "PtMeasPar", "ScanPar"}) {
        const toml::table *const table = section.Table(name);
        if (!table) continue;
        TomlSection block(*table, section.PathOf(name), complaints);
        for (const Entry &entry : entries) {
            if (name == std::string_view(entry.block))
                ReadParameter(block, entry.name, entry.least, *entry.parameter, complaints);
        }
    }
}

void ReadOrientation(TomlSection &section, const Setup &setup, bool onHead, Orientation &orientation) {
    section.Read("a", orientation.a);
    section.Read("b", orientation.b);
    section.Read("offset", orientation.offset);
    section.ReadNotNegative("radius", orientation.radius);
    if (!onHead && (orientation.a != 0 || orientation.b != 0))
        section.Complain("a", "a tool that is not on the head has no angles");
    if (orientation.a < setup.headLowestA || orientation.a > setup.headHighestA)
        section.Complain("a", "is beyond the head's range");
    if (orientation.b < setup.headLowestB || orientation.b > setup.headHighestB)
        section.Complain("b", "is beyond the head's range");
}

void ReadBoxes(TomlSection &section, Tool &tool, Complaints &complaints) {
    for (const toml::table *table : section.Tables("box")) {
        TomlSection part(*table, section.PathOf("box"), complaints);
        Box box{Eigen::Vector3d::Zero(), Eigen::Vector3d::Zero()};
        part.Read("centre", box.centre);
        part.Read("extension", box.extension);
        part.ReadAxes("axes", box.axes);
        if (!(box.extension.minCoeff() > 0)) part.Complain("extension", "must be above 0");
        tool.collisionVolume.push_back(box);
    }
}

Tool ReadTool(const toml::table &table, const Setup &setup, const ToolParameters &parameters,
              Complaints &complaints) {
    TomlSection section(table, "tool", complaints);
    Tool tool;
    tool.parameters = parameters;
    if (!section.Has("name")) section.Complain("name", "is missing");
    section.Read("name", tool.name);
    if (tool.name == kBaseTool || tool.name == kUndefinedTool)
        section.Complain("name", "is a name that no tool may have");
    for (const Tool &other : setup.tools) {
        if (other.name == tool.name && !tool.name.empty()) section.Complain("name", "is another tool's too");
    }
    tool.id = tool.name;
    section.Read("id", tool.id);
    section.Read("measures", tool.measures);
    section.Read("on_head", tool.onHead);
    ReadParameters(section, tool.parameters, complaints);
    for (const toml::table *each : section.Tables("orientation")) {
        TomlSection part(*each, section.PathOf("orientation"), complaints);
        ReadOrientation(part, setup, tool.onHead, tool.orientations.emplace_back());
    }
    if (tool.orientations.empty()) tool.orientations.resize(1);
    if (!tool.onHead && tool.orientations.size() > 1)
        section.Complain("orientation", "a tool that is not on the head has one");
    ReadBoxes(section, tool, complaints);
    return tool;
}

void ReadMachine(TomlSection &section, MachineFile &file) {
    double arm = 1;
    section.Read("arm", arm);
    if (arm != 1) section.Complain("arm", "must be 1: the server drives the first arm");
    section.ReadAbove0("scale", file.scale);
    Setup &setup = file.setup;
    section.Read("lowest", setup.lowest);
    section.Read("highest", setup.highest);
    if (!((setup.highest - setup.lowest).minCoeff() > 0))
        section.Complain("highest", "must be above lowest in each axis");
    section.Read("first_tool", setup.firstTool);
}

void ReadAll(const toml::table &table, MachineFile &file) {
    Complaints &complaints = file.complaints;
    Setup &setup = file.setup;
    TomlSection root(table, "", complaints);
    const toml::table *const machine = root.Table("machine");
    if (machine) {
        TomlSection section(*machine, "machine", complaints);
        ReadMachine(section, file);
    }
    if (const toml::table *const head = root.Table("head")) {
        TomlSection section(*head, "head", complaints);
        section.ReadAbove0("step", setup.headStep);
        section.ReadRange("a", setup.headLowestA, setup.headHighestA);
        section.ReadRange("b", setup.headLowestB, setup.headHighestB);
    }
    if (const toml::table *const sphere = root.Table("sphere")) {
        TomlSection section(*sphere, "sphere", complaints);
        section.Read("centre", setup.sphereCentre);
        section.ReadNotNegative("radius", setup.sphereRadius);
    }
    ToolParameters parameters;
    ReadParameters(root, parameters, complaints);
    for (Tool &tool : setup.tools) tool.parameters = parameters;
    const auto tools = root.Tables("tool");
    if (!tools.empty()) setup.tools.clear();
    for (const toml::table *each : tools)
        setup.tools.push_back(ReadTool(*each, setup, parameters, complaints));
    const bool known = std::any_of(setup.tools.begin(), setup.tools.end(),
                                   [&](const Tool &tool) { return tool.name == setup.firstTool; });
    if (known) return;
    if (machine && machine->contains("first_tool"))
        complaints.push_back({static_cast<int>(machine->get("first_tool")->source().begin.line),
                              "machine.first_tool", "is not the name of a tool"});
    else
        setup.firstTool = setup.tools.front().name;
}

}  // namespace

std::string FileComplaint::Words() const {
    return "line " + std::to_string(line) + ": " + (key.empty() ? "" : key + ": ") + text;
}

MachineFile ReadMachineFile(std::string_view text) {
    MachineFile file;
    try {
        ReadAll(toml::parse(text), file);
    } catch (const toml::parse_error &error) {
        file.complaints.push_back(
            {static_cast<int>(error.source().begin.line), "", std::string(error.description())});
    }
    std::stable_sort(file.complaints.begin(), file.complaints.end(),
                     [](const FileComplaint &a, const FileComplaint &b) { return a.line < b.line; });
    return file;
}

MachineFile LoadMachineFile(const std::string &path) {
    std::ifstream given(path, std::ios::binary);
    std::ostringstream text;
    text << given.rdbuf();
    if (!given || !text) throw Failure(kBadArguments, "cannot read " + path);
    return ReadMachineFile(text.str());
}

}  // namespace cmm::dme
