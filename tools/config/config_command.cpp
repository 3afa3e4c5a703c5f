#include "config/config_command.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "config/initialisation_file.h"
#include "format.h"
#include "machine/console.h"
#include "machine/failure.h"

namespace cmm {
namespace {

using emulator::Format;

struct ConfigOptions {
    std::string file;
    bool json = false;
};

std::string Row(const Setting &setting) {
    const std::string unit = setting.unit.empty() ? "" : " " + setting.unit;
    const std::string from = setting.line == 0 ? "default" : Format("line %d", setting.line);
    return Format("%-11s%-19s%-9s%-9s default %-8s ", setting.section.c_str(), setting.key.c_str(),
                  (setting.value + unit).c_str(), from.c_str(), (setting.defaultValue + unit).c_str());
}

void Print(const InitialisationFile &file) {
    Console console;
    for (const Setting &setting : file.settings) console.Print(Row(setting) + setting.meaning + "\n");
    for (const Complaint &complaint : file.complaints)
        console.Print(Format("line %d: ", complaint.line) + complaint.text + "\n");
}

nlohmann::ordered_json Json(const InitialisationFile &file) {
    nlohmann::ordered_json settings = nlohmann::ordered_json::array(),
                           complaints = nlohmann::ordered_json::array();
    for (const Setting &setting : file.settings) {
        settings.push_back(
            {{"section", setting.section},
             {"key", setting.key},
             {"value", setting.value},
             {"unit", setting.unit},
             {"default", setting.defaultValue},
             {"line", setting.line == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(setting.line)},
             {"meaning", setting.meaning}});
    }
    for (const Complaint &complaint : file.complaints)
        complaints.push_back({{"line", complaint.line}, {"text", complaint.text}});
    return {{"settings", settings}, {"complaints", complaints}};
}

void Show(const ConfigOptions &options) {
    std::ifstream given(options.file);
    const InitialisationFile file = ReadInitialisationFile(given);
    if (options.json) {
        std::cout << Json(file).dump(2) << "\n";
    } else {
        Print(file);
    }
    if (!file.complaints.empty())
        throw Failure(kWorkFailed,
                      options.file + ": " + std::to_string(file.complaints.size()) + " complaints",
                      "The library reads the file without a word; what is in force stands above.");
}

}  // namespace

void AddConfigCommand(CLI::App &app) {
    const auto options = std::make_shared<ConfigOptions>();
    CLI::App &command = *app.add_subcommand("config",
                                            "Show what an initialisation file says: every key with its "
                                            "value, default and meaning, and what is wrong");
    command.add_option("FILE", options->file, "The file; without it the defaults are shown")
        ->check(CLI::ExistingFile);
    command.add_flag("--json", options->json, "As JSON");
    command.callback([options] { Show(*options); });
}

}  // namespace cmm
