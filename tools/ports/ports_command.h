// cmm ports.
#pragma once

namespace CLI {
class App;
}

namespace cmm {

/// Its work runs while the program's arguments are parsed; failures are thrown as Failure.
void AddPortsCommand(CLI::App &app);

}  // namespace cmm
