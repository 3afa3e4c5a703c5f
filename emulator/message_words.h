// Command and reply messages in plain words.
#pragma once

#include <string>

#include "faults.h"
#include "peer.h"

namespace emulator {

/// "S73" of a command message, "reply 0" of a reply message.
std::string MessageName(Direction direction, const Bytes &message);

/// What a message says: "move to X 100.0000 Y 80.0000 mm", "state 3, measuring". Lengths are told in millimetres when the
/// length of a controller count is given, in counts otherwise; axes are the controller's.
std::string MessageWords(Direction direction, const Bytes &message, double mmPerCount = 0);

/// A message in a line with what it says: "S73, to state 3", "reply 0 in state 3: state 3, measuring".
std::string MessageLine(Direction direction, const Bytes &message, const std::string &words);

/// Whether a reply message is of the kind that answers a command message.
bool IsAnswer(const Bytes &command, const Bytes &reply);

/// Whether a command is one that a reply of its own answers. What is buffered is answered by reply 4 when it is done.
bool ExpectsAnswer(const Bytes &command);

/// Whether a command is buffered: executed after those before it, and acknowledged by reply 4.
bool IsBuffered(const Bytes &command);

/// Bytes as "03 04 01".
std::string HexWords(const Bytes &bytes);

}  // namespace emulator
