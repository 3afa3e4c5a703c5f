// The machine file: a machine as a TOML file describes it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dme/setup.h"

namespace cmm::dme {

/// What is wrong with a line of the file.
struct FileComplaint {
    int line;
    std::string key;  // with its tables: "tool.orientation.radius"; empty: the line is no TOML
    std::string text;

    /// "line 12: tool.orientation.radius: ..."
    std::string Words() const;
};

struct MachineFile {
    double scale = 0.0001;  // mm of one count of the controller
    Setup setup = BuiltInSetup();
    std::vector<FileComplaint>
        complaints;  // in the order of lines; the machine is not to be used if there are any
};

/// What the file does not say is as it is built in; tools and orientations are the file's alone as soon as it has one.
MachineFile ReadMachineFile(std::string_view text);

/// The same from a file. One that can't be read is thrown as Failure.
MachineFile LoadMachineFile(const std::string &path);

}  // namespace cmm::dme
