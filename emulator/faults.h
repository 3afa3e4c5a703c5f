// Faults of the line and of the controller, by switch: at the n-th frame of a direction, or with a
// probability.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace emulator {

enum class Direction { ToController, ToHost };

enum class FaultKind {
    Drop,       // the frame is lost
    Corrupt,    // one bit of the frame is inverted
    Repeat,     // the frame comes twice
    Delay,      // the frame comes later, and so do those behind it
    Split,      // the frame comes in two pieces; to the host only
    Merge,      // the frame comes in one piece with the next, if one comes in time: as through a USB adapter
    LineError,  // a line error goes to the host
    Restart,    // the controller starts the link anew
    Silence,    // the controller sends nothing for a while
    State,      // the controller jumps to a state
    Unplug,     // the line is hung up
};

struct Fault {
    FaultKind kind = FaultKind::Drop;
    Direction direction = Direction::ToHost;  // of the frames that it looks at
    int frame = 0;                            // n: at the n-th frame, from 1; 0: by probability
    double probability = 0;
    int64_t value = 0;  // Delay, Silence: microseconds; State: the state
};

/// Reads a fault as written on the command line: "[to-host:|to-controller:]KIND[=VALUE]@N" or "...%PERCENT",
/// with KIND one of drop, corrupt, repeat, delay, split, merge, line-error, restart, silence, state, unplug;
/// VALUE is milliseconds for delay and silence, the state for state. Throws std::invalid_argument for
/// anything else.
Fault ParseFault(const std::string &text);

/// Decides which faults strike. The same seed and frames give the same faults.
class FaultSwitches {
  public:
    void Add(const Fault &fault) { faults_.push_back(fault); }
    void Seed(uint64_t seed) { random_.seed(seed); }
    /// Removes all faults; frames go on being counted.
    void Clear() { faults_.clear(); }
    /// Frames seen in a direction.
    int Frames(Direction direction) const { return frames_[static_cast<int>(direction)]; }

    /// Faults that strike the next frame of a direction.
    std::vector<Fault> Strike(Direction direction);
    /// A number below `limit`, for where to corrupt a frame.
    uint32_t Pick(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

  private:
    std::vector<Fault> faults_;
    std::mt19937_64 random_;
    int frames_[2] = {0, 0};
};

}  // namespace emulator
