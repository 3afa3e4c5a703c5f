// The command-line program: its commands, and how their failures end it.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "config/config_command.h"
#include "dme/serve_command.h"
#include "machine/background_call.h"
#include "machine/console.h"
#include "machine/failure.h"
#include "machine/temporaries.h"
#include "measure/measure_command.h"
#include "ports/ports_command.h"
#include "trace/trace_command.h"
#include "watch/watch_command.h"

namespace {

constexpr char kStatuses[] =
    "Exit status: 0 done; 1 the work failed; 2 wrong arguments or files; 3 the machine or its head does not\n"
    "answer, or no longer; 4 stopped by the operator. A cause is printed with what can be done about it.\n"
    "Ctrl-C stops the machine and closes the arm; a second one orders the emergency at once.";

int Run(int argc, char **argv) {
    CLI::App app("Coordinate-measuring machine at the command line", "cmm");
    app.set_version_flag("--version", "cmm " CMM_VERSION, "Print the version");
    app.require_subcommand(1);
    app.footer(kStatuses);
    cmm::AddDemoCommand(app);
    cmm::AddMeasureCommand(app);
    cmm::AddPortsCommand(app);
    cmm::AddWatchCommand(app);
#ifdef CMM_SERVES
    cmm::AddServeCommand(app);
    cmm::AddMachineCommand(app);
#endif
    cmm::AddTraceCommand(app);
    cmm::AddConfigCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return app.exit(success);
    } catch (const CLI::ParseError &error) {
        app.exit(error);
        return cmm::kBadArguments;
    } catch (cmm::Failure &failure) {
        cmm::Console().Complain(failure);
        return failure.status;
    } catch (const std::exception &error) {
        cmm::Failure failure(cmm::kWorkFailed, error.what());
        cmm::Console().Complain(failure);
        return failure.status;
    }
    return cmm::kDone;
}

}  // namespace

int main(int argc, char **argv) {
    const int status = Run(argc, argv);
    std::fflush(nullptr);
    // The library cannot be unloaded under a call that still waits, as for a mute head.
    if (cmm::BackgroundCall::HasLeftThread()) cmm::EndAtOnce(status);
    return status;
}
