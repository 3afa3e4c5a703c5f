// Frames and messages in plain words.
#pragma once

#include <string>

#include "faults.h"
#include "peer.h"

namespace emulator {

/// A frame of the line: "data 0: S73, to state 3", "acknowledgement 0", "start-link".
std::string FrameWords(Direction direction, const Bytes &frame);

/// A command or reply message: "S73, to state 3" or "reply 0 in state 3: state".
std::string MessageWords(Direction direction, const Bytes &message);

/// Bytes as "03 04 01".
std::string HexWords(const Bytes &bytes);

/// The message inside a data frame, without looking at its checksum; empty for control frames.
Bytes MessageInFrame(const Bytes &frame);

}  // namespace emulator
