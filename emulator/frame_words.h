// Frames of the line in plain words.
#pragma once

#include <string>

#include "dialogue.h"

namespace emulator {

/// The message inside a data frame, without looking at its checksum; empty for control frames.
Bytes MessageInFrame(const Bytes &frame);

/// Whether a data frame has a wrong checksum.
bool IsDamaged(const Bytes &frame);

/// A frame of the line: "data 0: S73, to state 3", "acknowledgement 0", "start-link".
std::string FrameWords(Direction direction, const Bytes &frame);

/// Finds frames that come again in a direction, as they do without an acknowledgement.
class Repetitions {
  public:
    /// Whether a data frame is the same as the one before, with no start-link in between.
    bool IsRepetition(Direction direction, const Bytes &frame);

  private:
    Bytes last_[2];  // by direction
};

/// Tells the frames of a line in their order, with what their messages have to do with each other: "data 1: G05, probing
/// move 4 to X 100 counts", "data 0: reply 4 in state 3: move 4 rejected, nothing was touched".
class FrameTeller {
  public:
    explicit FrameTeller(double mmPerCount) : dialogue_(mmPerCount) {}
    std::string Tell(Direction direction, const Bytes &frame);

  private:
    Dialogue dialogue_;
    Repetitions repetitions_;
};

}  // namespace emulator
