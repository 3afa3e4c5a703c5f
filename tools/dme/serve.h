// The running server: one loop on one thread for clients, the library and the machine.
#pragma once

#include <string>

#include "dme/door.h"

namespace cmm::dme {

struct ServeOptions {
    bool simulate = false, emulate = false;
    std::string part = "sphere";  // on the emulated table: sphere, plane or none
    std::string port, headPort;   // as the operator names them
    std::string listen = "127.0.0.1:1294";
    std::string machineFile, stateFile, logFile, iniFile;  // empty: none
};

/// Serves until the operator or the system wants it to end; then the machine is stopped, and the arm closed. What keeps
/// it from beginning is thrown as Failure.
void Serve(const ServeOptions &options);

}  // namespace cmm::dme
