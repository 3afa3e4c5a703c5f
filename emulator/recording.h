// What was written down of a line: the library's trace, and the log of cmm-emulator.
#pragma once

#include <optional>
#include <string>

#include "frame_words.h"

namespace emulator {

/// One line of a recording. The trace ("Log file" of the initialisation file) holds messages without times, the log of
/// cmm-emulator (--log) frames with times.
struct RecordedLine {
    enum class Kind {
        Message,
        Repetition,   // of the message before in this direction: its frame was sent once more
        Control,      // a frame that carries no message, or is damaged; `bytes` is the frame
        EndOfZeroing  // the trace's mark
    };
    Kind kind = Kind::Message;
    Direction direction = Direction::ToController;
    Bytes bytes;
    std::optional<double> seconds;
};

/// Reads a recording line by line.
class RecordingReader {
  public:
    /// Result: nothing for a line that is none of a recording, such as the first ones of a log.
    std::optional<RecordedLine> Read(const std::string &line);

  private:
    std::optional<RecordedLine> ReadLogLine(const std::string &line);

    Repetitions repetitions_;
};

}  // namespace emulator
