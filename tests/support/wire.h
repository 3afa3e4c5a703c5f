// The far end of a virtual port as a wire that a test reads and writes byte by byte.
#pragma once

#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"
#include "support/client.h"

namespace cc::test {

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
