#include "dme/state_file.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "dme/toml_section.h"
#include "machine/failure.h"

namespace cmm::dme {
namespace {

constexpr const char *kAngles[] = {"theta", "psi", "phi"};
constexpr double Transformation::*kAngleFields[] = {&Transformation::theta, &Transformation::psi,
                                                    &Transformation::phi};

// So that it is read as the very same number.
std::string Exactly(double value) {
    char text[32];
    char *const end = std::to_chars(text, text + sizeof text, value).ptr;
    std::string number(text, end);
    return number.find_first_of(".e") == std::string::npos ? number + ".0" : number;
}

}  // namespace

std::string StateText(const Memory &memory) {
    std::string text = "# Kept by cmm serve, which replaces this file with every change.\n";
    text += "tool = \"" + memory.tool + "\"\n";
    text += "coordinates = \"" + std::string(NameOf(memory.selected)) + "\"\n";
    for (size_t i = 1; i < memory.transformations.size(); ++i) {
        const Transformation &transformation = memory.transformations[i];
        text += "\n[" + std::string(NameOf(static_cast<Csy>(i))) + "]\nzero = [" +
                Exactly(transformation.zero.x()) + ", " + Exactly(transformation.zero.y()) + ", " +
                Exactly(transformation.zero.z()) + "]\n";
        for (size_t angle = 0; angle < std::size(kAngles); ++angle)
            text += std::string(kAngles[angle]) + " = " + Exactly(transformation.*kAngleFields[angle]) + "\n";
    }
    return text;
}

Memory ReadState(std::string_view text, const Memory &before) {
    Memory memory = before;
    std::vector<FileComplaint> unheard;
    try {
        const toml::table table = toml::parse(text);
        TomlSection section(table, "", unheard);
        section.Read("tool", memory.tool);
        std::string selected(NameOf(memory.selected));
        section.Read("coordinates", selected);
        const auto csy = CsyByName(selected);
        if (csy && *csy <= Csy::Part) memory.selected = *csy;
        for (size_t i = 1; i < memory.transformations.size(); ++i) {
            const toml::table *const each = section.Table(NameOf(static_cast<Csy>(i)));
            if (!each) continue;
            TomlSection fields(*each, "", unheard);
            Transformation &transformation = memory.transformations[i];
            fields.Read("zero", transformation.zero);
            for (size_t angle = 0; angle < std::size(kAngles); ++angle)
                fields.Read(kAngles[angle], transformation.*kAngleFields[angle]);
        }
    } catch (const toml::parse_error &) {
        return before;
    }
    return memory;
}

StateFile::StateFile(std::string path, Server &server) : path_(std::move(path)), server_(server) {
    if (path_.empty()) return;
    const std::string advice =
        "--state names a file that the server can write; it makes it if there is none.";
    if (std::filesystem::exists(path_)) {
        std::ifstream given(path_, std::ios::binary);
        std::ostringstream text;
        text << given.rdbuf();
        if (!given) throw Failure(kBadArguments, "cannot read " + path_, advice);
        written_ = text.str();
        server_.Recall(ReadState(written_, server_.Remember()));
    }
    const std::string state = StateText(server_.Remember());
    const std::string why = ReplaceFile(path_, state);
    if (!why.empty()) throw Failure(kBadArguments, "cannot write " + path_ + ": " + why, advice);
    written_ = state;
}

bool StateFile::Keep() {
    if (path_.empty()) return true;
    std::string state = StateText(server_.Remember());
    if (state == written_) return !failed_;
    written_ = std::move(state);
    failed_ = !ReplaceFile(path_, written_).empty();
    return !failed_;
}

}  // namespace cmm::dme
