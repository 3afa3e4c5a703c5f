#include "dme/serve_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "argument_checks.h"
#include "dme/serve.h"
#include "machine/emulated_line.h"

namespace cmm {

void AddServeCommand(CLI::App &app) {
    const auto options = std::make_shared<dme::ServeOptions>();
    CLI::App &command =
        *app.add_subcommand("serve", "Serve a machine to measuring software that speaks I++ DME, over TCP");
    auto *const head = command.add_option("--head-port", options->headPort,
                                          "Port of the probe head, as --port; without it there is none");
    auto *const where = command.add_option_group("where");
    auto *const port =
        where->add_option("--port", options->port, "Port of the controller: COM3, or the path of its device");
    where->add_flag("--simulate", options->simulate, "Serve the built-in simulator");
    head->needs(port);
    if (EmulatedLine::IsPossible()) {
        auto *const emulate =
            where->add_flag("--emulate", options->emulate, "Serve an emulated controller and head");
        command.add_option("--part", options->part, "What stands on the emulated machine's table")
            ->needs(emulate)
            ->check(CLI::IsMember({"sphere", "plane", "none"}))
            ->capture_default_str();
    }
    where->require_option(1);
    command
        .add_option("--listen", options->listen,
                    "HOST:PORT where clients connect; port 0 takes any free one. There is no password")
        ->check(emulator::Parses(dme::ParseListenAddress))
        ->capture_default_str();
    command
        .add_option("--machine", options->machineFile,
                    "Machine file: limits, speeds, tools; without it the built-in machine is used")
        ->check(CLI::ExistingFile);
    command.add_option("--state", options->stateFile,
                       "File that keeps tool and coordinate systems over a restart");
    command.add_option("--log", options->logFile,
                       "File to which the dialogue is added, with times, and what the machine is told");
    command.add_option("--ini", options->iniFile, "Initialisation file; without it the prompt line is used")
        ->check(CLI::ExistingFile);
    command.callback([options] { dme::Serve(*options); });
}

}  // namespace cmm
