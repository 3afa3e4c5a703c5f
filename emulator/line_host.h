// Runs peers on real lines: reads bytes, tells time, writes what the peers put out, both at the line's speed
// if wanted.
#pragma once

#include <atomic>
#include <deque>
#include <functional>

#include "device.h"
#include "faults.h"
#include "peer.h"

namespace emulator {

/// Least time between two pieces to a host, so that their ends do not reach a busy one together.
inline constexpr int64_t kPieceGap = 2 * kMillisecond;

class LineHost {
  public:
    /// Serves a peer on an open device. byteTime: µs that each byte takes, both ways; 0: as
    /// fast as it goes. `unplug` is called when the peer pulls its plug; the descriptor is not used after that.
    void Add(Peer &peer, int descriptor, int64_t byteTime, std::function<void()> unplug,
             int64_t pieceGap = kPieceGap);

    /// Called with bytes of the host when they are read, before they have taken their time on a paced line, and
    /// with bytes to the host right before they are written. Null: nobody looks.
    std::function<void(Direction, const uint8_t *bytes, size_t count)> onBytes;

    /// Serves all peers for one turn: until something happens, at most `longest` µs. Signals end the turn.
    void RunOnce(int64_t longest);
    /// Serves until `stop` is set, looking at it at least every 20 ms.
    void Run(const std::atomic<bool> &stop);

    /// Microseconds since this object was made: the peers' time.
    int64_t Now() const;

  private:
    struct Piece {
        Bytes bytes;
        int64_t ready;  // when the peer put it out
    };
    struct Arrival {
        uint8_t byte;
        int64_t due;
    };
    struct Lane {
        Peer *peer;
        int descriptor;
        int64_t byteTime;
        int64_t pieceGap;
        std::function<void()> unplug;
        std::deque<Piece> pieces = {};  // to write, each at once unless paced
        size_t written = 0;             // of the first piece
        int64_t writeFree = 0;          // when the way to the host is free
        std::deque<Arrival> arrivals = {};
    };

    void ReadFrom(Lane &lane);
    void Deliver(Lane &lane);
    void WriteTo(Lane &lane);
    static int64_t NextWrite(const Lane &lane);
    static int64_t NextTime(const Lane &lane);

    std::deque<Lane> lanes_;
    int64_t begin_ = MonotonicMicroseconds();
};

}  // namespace emulator
