// A peer behind a port of the virtual backend: a far end for what runs the library in virtual time.
#pragma once

#include "peer.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"

namespace emulator {

/// Puts a peer at the far end of a virtual port for as long as it lives.
class VirtualPeer {
  public:
    VirtualPeer(int32_t port, Peer &peer, int64_t byteTime = kByteTimeController)
        : port_(cc::platform::VirtualPort::Number(port)), peer_(peer) {
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
        for (Bytes bytes = peer_.TakeOutput(); !bytes.empty(); bytes = peer_.TakeOutput()) port_.Send(bytes);
        if (peer_.IsUnplugged()) port_.present = false;
        world_.Cancel(next_);
        if (peer_.NextDue() != Agenda::kNever) {
            next_ = world_.At(peer_.NextDue(), [this] { Serve(); });
        }
    }

    cc::platform::World &world_ = cc::platform::World::Instance();
    cc::platform::VirtualPort &port_;
    Peer &peer_;
    cc::platform::World::Entry next_{};
};

}  // namespace emulator
