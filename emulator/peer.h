// A byte-stream peer at the far end of a serial line: bytes in, bytes out, time told to it.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "agenda.h"

namespace emulator {

using Bytes = std::vector<uint8_t>;

/// µs of a byte on the wire.
inline constexpr int64_t kByteTimeController = 1146;  // 9600 baud, 11 bits
inline constexpr int64_t kByteTimeHead = 2292;        // 4800 baud, 11 bits

class Peer {
  public:
    virtual ~Peer() = default;

    /// Takes one byte from the host, at the time told last.
    virtual void Receive(uint8_t byte) = 0;

    /// Moves time to `now`, in microseconds.
    void AdvanceTo(int64_t now) { agenda_.AdvanceTo(now); }
    /// When time must be told again at the latest; Agenda::kNever when nothing is due.
    int64_t NextDue() const { return agenda_.NextDue(); }

    /// The next bytes to the host, to be written in one piece; empty when there are none.
    Bytes TakeOutput() {
        if (output_.empty()) return {};
        Bytes first = std::move(output_.front());
        output_.pop_front();
        return first;
    }
    /// Whether the peer has pulled its plug: the line must be hung up.
    bool IsUnplugged() const { return unplugged_; }

  protected:
    void Output(Bytes bytes) {
        if (!unplugged_) output_.push_back(std::move(bytes));
    }
    void Unplug() {
        unplugged_ = true;
        output_.clear();
    }

    Agenda agenda_;

  private:
    std::deque<Bytes> output_;
    bool unplugged_ = false;
};

}  // namespace emulator
