// The far end of the line in a process of its own: the emulated controller on a pseudo-terminal, with the time of
// each frame.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "controller.h"
#include "own_process.h"
#include "pseudo_terminal.h"
#include "samples.h"

namespace bench {

struct FarEndOptions {
    emulator::ControllerOptions controller;
    bool paced = false;                    // 9600 baud, else as fast as it goes
    int64_t gap = 0;                       // least time from one frame to the host to the next, µs
    std::vector<std::string> faults = {};  // as of cmm-emulator
};

/// A controller that answers at once and leaves no time between frames.
FarEndOptions PromptFarEnd(bool paced);

/// A frame as the port of the far end saw it. Times of Now().
struct LineFrame {
    int64_t first;  // its first byte: read, or about to be written
    int64_t last;   // its last byte
    emulator::Direction direction;
    uint8_t code;  // of a data frame: letter of the command, code of the reply
    uint16_t bytes;
    bool isData;
    bool isRepeated;  // a data frame that the controller sent, or had, before
};

/// Linked as com1 in a folder of its own. The caller has one thread.
class FarEnd {
  public:
    explicit FarEnd(const FarEndOptions &options);
    ~FarEnd();

    /// Folder for CC_PORT_DIR.
    const std::string &Folder() const { return folder_; }
    /// Frames so far, oldest first.
    std::vector<LineFrame> Frames() const;

  private:
    struct Log;
    class Recorder;

    static void Serve(const FarEndOptions &options, int descriptor, Log &log);

    const std::string folder_;
    emulator::PseudoTerminal terminal_;
    Log *const log_;  // shared with the far end's process, which writes it
    std::optional<emulator::OwnProcess> process_;
};

}  // namespace bench
