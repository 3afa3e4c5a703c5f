// Runs peers on real lines: reads bytes, tells time, writes what the peers put out, at the line's speed if
// wanted.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <string>

#include "peer.h"

namespace emulator {

/// µs of a byte on the wire.
inline constexpr int64_t kByteTimeController = 1146;  // 9600 baud, 11 bits
inline constexpr int64_t kByteTimeHead = 2292;        // 4800 baud, 11 bits

class LineHost {
  public:
    /// Serves a peer on an open, non-blocking descriptor. byteTime: µs that each byte takes; 0: as fast as it
    /// goes. `unplug` is called when the peer pulls its plug; the descriptor is not used after that.
    void Add(Peer &peer, int descriptor, int64_t byteTime, std::function<void()> unplug);

    /// Serves all peers for one turn: until something happens, at most `longest` µs. Signals end the turn.
    void RunOnce(int64_t longest);
    /// Serves until `stop` is set, looking at it at least every 20 ms.
    void Run(const std::atomic<bool> &stop);

    /// Microseconds since this object was made: the peers' time.
    int64_t Now() const;

  private:
    struct Lane {
        Peer *peer;
        int descriptor;
        int64_t byteTime;
        std::function<void()> unplug;
        std::deque<Bytes> pieces;  // to write, each in one piece unless paced
        size_t written = 0;        // of the first piece
        int64_t nextWrite = 0;
    };

    void ReadFrom(Lane &lane);
    void WriteTo(Lane &lane);
    int64_t NextTime(const Lane &lane) const;

    std::deque<Lane> lanes_;
    int64_t begin_ = MonotonicMicroseconds();

    static int64_t MonotonicMicroseconds();
};

/// Opens a serial device in raw mode. Result: its descriptor; throws std::runtime_error on failure.
int OpenDevice(const std::string &path, int baud, bool evenParity, int stopBits);

}  // namespace emulator
