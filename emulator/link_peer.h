// The link from the controller's side: frames, acknowledgements, repetition, start-link in both directions.
#pragma once

#include <deque>
#include <functional>

#include "faults.h"
#include "peer.h"

namespace emulator {

struct LinkOptions {
    int64_t ackTimeout = kSecond;         // until a data frame is repeated, and between start-links
    int64_t frameGap = 2 * kMillisecond;  // least time from one frame to the host to the next
    bool ignoresRepetitions = false;      // drops a frame that it has taken before without acknowledging it
};

/// Sends and receives messages over the link. Frames to the host are put out one by one, never two at a time
/// but by a fault, since a host takes terminators that come together as one.
class LinkPeer : public Peer {
  public:
    explicit LinkPeer(const LinkOptions &options) : options_(options) {}

    void Receive(uint8_t byte) override;

    FaultSwitches &Faults() { return faults_; }
    /// Called with each frame that goes over the line, after faults: time in microseconds, direction, bytes.
    std::function<void(int64_t, Direction, const Bytes &)> onFrame;
    /// Called with each message of the host that is taken, repetitions left out, before it is acted on.
    std::function<void(const Bytes &)> onTaken;

  protected:
    /// Queues a message to the host.
    void SendMessage(Bytes message);
    /// Starts the link from this side, again and again until the host answers.
    void StartLink();

    virtual void OnMessage(const Bytes &message) = 0;
    /// A fault wants the controller in this state.
    virtual void OnStateFault(int state) = 0;

  private:
    static constexpr int kDown = -1;

    void ReceiveFrame(Bytes bytes);
    /// Acts on the frames that are due.
    void TakeLate();
    void ActOnFrame(const Bytes &frame);
    void ReceiveData(const Bytes &frame);
    void ReceiveAck(uint8_t type);
    /// Applies the faults that concern the controller as a whole.
    void ActOnFault(const Fault &fault);

    void Transmit();
    void OnAckTimeout();
    void GiveUp();
    void OnStartAck();
    void Control(uint8_t type);
    void PutFrame(Bytes frame);
    void PutOut();

    const LinkOptions options_;
    FaultSwitches faults_;
    Bytes incoming_;
    std::deque<Bytes> messages_;  // to send, the first in flight
    int txSequence_ = kDown;
    int rxSequence_ = kDown;
    int transmissions_ = 0;  // of the message in flight
    int startLinks_ = 0;     // start-links sent since the link went down
    bool givenUp_ = false;   // the message in flight was given up when the link went down
    Agenda::Entry timer_ = Agenda::kNone;

    struct Late {
        Bytes frame;
        int64_t notBefore;
        int times;
        bool merges;  // comes when the next frame comes, if that is earlier
    };
    std::deque<Late> late_;  // frames of the host that have not come yet

    struct Outgoing {
        Bytes bytes;
        int64_t notBefore;
    };
    std::deque<Outgoing> outgoing_;
    bool putting_ = false;
    Bytes merged_;  // held back to go out with the next frame
    Agenda::Entry mergeTimer_ = Agenda::kNone;
    int64_t silentUntil_ = 0;
};

}  // namespace emulator
