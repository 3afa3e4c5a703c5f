// What cmm-emulator runs: a controller, invented or recorded, and a head, each at the far end of a line.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "controller.h"
#include "head.h"

namespace emulator {

/// A controller event at a time.
struct TimedEvent {
    uint8_t code;
    int64_t at;  // µs since the start
};

/// Reads "CODE@SECONDS". Throws std::invalid_argument for anything else.
TimedEvent ParseEvent(const std::string &text);

struct EmulationOptions {
    ControllerOptions controller;
    std::string recording;  // of the controller to play; empty: an invented one
    std::string device;     // empty: a pseudo-terminal
    std::string headDevice;
    std::string folder;  // where the pseudo-terminals are linked
    int port = 1;
    bool head = false;
    HeadOptions headOptions;
    bool paced = false;
    bool log = false;
    std::vector<Fault> faults;
    uint64_t seed = 1;
    std::vector<TimedEvent> events;
};

/// Serves until `stop` is set; says where, and at the end how much went over the controller's line. Failures are thrown as
/// std::exception.
void RunEmulation(const EmulationOptions &options, const std::atomic<bool> &stop);

}  // namespace emulator
