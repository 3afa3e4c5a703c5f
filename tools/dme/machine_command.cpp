#include <CLI/CLI.hpp>
#include <memory>

#include "dme/machine_file.h"
#include "dme/serve_command.h"
#include "machine/console.h"
#include "machine/failure.h"

namespace cmm {
namespace {

std::string Summary(const dme::Setup &setup) {
    std::string tools;
    for (const dme::Tool &tool : setup.tools)
        tools += (tools.empty() ? "" : ", ") + tool.name + (tool.name == setup.firstTool ? " (first)" : "");
    return "tools " + tools + (setup.sphereRadius > 0 ? "; a reference sphere" : "; no reference sphere");
}

void Check(const std::string &path) {
    Console console;
    const dme::MachineFile file = dme::LoadMachineFile(path);
    for (const dme::FileComplaint &complaint : file.complaints) console.Print(complaint.Words() + "\n");
    if (!file.complaints.empty())
        throw Failure(kWorkFailed, path + ": " + std::to_string(file.complaints.size()) +
                                       (file.complaints.size() == 1 ? " fault" : " faults"));
    console.Say(path + " is right: " + Summary(file.setup));
}

}  // namespace

void AddMachineCommand(CLI::App &app) {
    CLI::App &command = *app.add_subcommand("machine", "Machine files of cmm serve");
    command.require_subcommand(1);
    const auto path = std::make_shared<std::string>();
    CLI::App &check =
        *command.add_subcommand("check", "Tell what is wrong with a machine file, by line and key");
    check.add_option("FILE", *path, "The file")->check(CLI::ExistingFile)->required();
    check.callback([path] { Check(*path); });
}

}  // namespace cmm
