// The serial devices of this computer. None is opened to find them.
#pragma once

#include <string>
#include <vector>

namespace cmm {

struct SerialDevice {
    std::string device;       // "/dev/ttyUSB0"; "COM3" on Windows
    std::string stableName;   // the same after the next plugging in; empty: there is none
    std::string description;  // "FTDI FT232R USB UART A10KXYZ"
    std::string comName;      // what the library calls it, "COM3"; empty: it is called by its path
    std::string usedBy;       // "cmm-emulator (process 4711)"; empty: nobody is known to
    bool mayBeUsed = true;    // by the user who asks
};

/// All of them, in the order of their names. Failures are thrown as std::runtime_error.
std::vector<SerialDevice> ListSerialDevices();

}  // namespace cmm
