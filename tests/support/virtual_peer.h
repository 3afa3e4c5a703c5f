// Far ends of virtual ports: an emulated peer, or a wire that a test reads and writes byte by byte.
#pragma once

#include "peer.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"
#include "support/client.h"

namespace cc::test {

/// µs of a byte at 9600 baud with parity: 11 bit times.
inline constexpr int64_t kByteTime9600 = 1146;

/// Puts a peer at the far end of a virtual port for as long as it lives.
class VirtualPeer {
  public:
    VirtualPeer(int32_t port, emulator::Peer &peer, int64_t byteTime = kByteTime9600)
        : port_(platform::VirtualPort::Number(port)), peer_(peer) {
        port_.present = true;
        port_.byteTime = byteTime;
        port_.farEnd = [this](uint8_t byte) {
            peer_.AdvanceTo(world_.Now());
            peer_.Receive(byte);
            Serve();
        };
        Serve();
    }
    ~VirtualPeer() {
        world_.Cancel(next_);
        port_.farEnd = nullptr;
    }

    /// Asks something of the peer, at the present time.
    void Ask(const std::function<void()> &question) {
        peer_.AdvanceTo(world_.Now());
        question();
        Serve();
    }

  private:
    /// Passes on what the peer has to say and plans its next time.
    void Serve() {
        peer_.AdvanceTo(world_.Now());
        for (emulator::Bytes bytes = peer_.TakeOutput(); !bytes.empty(); bytes = peer_.TakeOutput())
            port_.Send(bytes);
        if (peer_.IsUnplugged()) port_.present = false;
        world_.Cancel(next_);
        if (peer_.NextDue() != emulator::Agenda::kNever) {
            next_ = world_.At(peer_.NextDue(), [this] { Serve(); });
        }
    }

    platform::World &world_ = platform::World::Instance();
    platform::VirtualPort &port_;
    emulator::Peer &peer_;
    platform::World::Entry next_{};
};

/// A wire in the test's hand.
class Wire {
  public:
    struct Frame {
        int64_t milliseconds;  // when its last byte came, since the wire was made or emptied
        Bytes bytes;
    };

    explicit Wire(int32_t port) : port_(platform::VirtualPort::Number(port)) {
        port_.present = true;
        port_.byteTime = 0;
        port_.farEnd = [this](uint8_t byte) {
            incoming_.push_back(byte);
            if (byte != 8) return;
            timed_.push_back({(world_.Now() - begin_) / platform::kMillisecond, incoming_});
            incoming_.clear();
            if (onFrame) onFrame(timed_.back().bytes);
        };
    }
    ~Wire() {
        port_.farEnd = nullptr;
        port_.writeSpace = UINT32_MAX;
    }

    /// Called with each frame of the host.
    std::function<void(const Bytes &)> onFrame;

    void Send(const std::string &hex) {
        port_.Send(Hex(hex));
        world_.Pass(1);
    }
    /// Frames that came since, and forgets them.
    Messages Take() {
        Messages frames;
        for (const Frame &frame : timed_) frames.push_back(frame.bytes);
        timed_.clear();
        begin_ = world_.Now();
        return frames;
    }
    const std::vector<Frame> &Timed() const { return timed_; }

  private:
    platform::World &world_ = platform::World::Instance();
    platform::VirtualPort &port_;
    Bytes incoming_;
    std::vector<Frame> timed_;
    int64_t begin_ = world_.Now();
};

}  // namespace cc::test
