// The library's initialisation file, as the library reads it.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace cmm {

/// One key of the file.
struct Setting {
    std::string section, key, unit;
    std::string defaultValue;
    std::string meaning;
    std::string value;  // in force
    int line = 0;       // of the file that gives it; 0: the default is in force
};

/// What is wrong with a line of the file, or with a value.
struct Complaint {
    int line;
    std::string text;
};

struct InitialisationFile {
    std::vector<Setting> settings;  // all that there are, in the order of the table
    std::vector<Complaint> complaints;
};

/// Reads a file; an empty one leaves every default. As in the library, sections and keys are compared without regard to
/// case, the first of several equal keys of the first of several equal sections counts, blanks around "=" and one pair of
/// quotes are dropped, and of numbers the leading digits count.
InitialisationFile ReadInitialisationFile(std::istream &file);

}  // namespace cmm
