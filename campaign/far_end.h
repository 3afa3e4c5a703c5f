// The far end of an arm: its controller and head on virtual lines, what they saw, and the faults that befall them.
#pragma once

#include <memory>

#include "account.h"
#include "controller.h"
#include "head.h"
#include "virtual_peer.h"

namespace campaign {

class FarEnd {
  public:
    /// tell: called with what goes over the line, in words; null: nobody listens.
    FarEnd(int arm, const ArmPlan &plan, ArmAccount &account, std::function<void(const std::string &)> tell);
    ~FarEnd() { Port().onInput = nullptr; }
    FarEnd(const FarEnd &) = delete;
    FarEnd &operator=(const FarEnd &) = delete;

    static int32_t ControllerPort(int arm) { return 2 * arm + 1; }
    static int32_t HeadPort(int arm) { return 2 * arm + 2; }

    cc::platform::VirtualPort &Port() { return cc::platform::VirtualPort::Number(port_); }
    emulator::Controller &Machine() { return controller_; }

    /// A random fault of this far end, of its line or its device, that begins within the next seconds and is over at last
    /// after a minute. Result: in words.
    std::string Disturb(Random &random);
    /// Ends all faults, also those that have not begun.
    void EndFaults();
    /// Forgets what was counted of the host's frames: its link begins anew.
    void BeginCounts();
    /// Whether the controller was made to change its state by itself, and forgot its moves.
    bool HasJumped() const { return jumped_; }
    /// Whether the controller has nothing to do and nothing to say.
    bool IsAtRest() const { return controller_.IsAtRest() && controller_.HasSentAll(); }

  private:
    void TakeFromHost(uint8_t byte);
    void Count(const Bytes &frame);
    void NoteInput(uint8_t byte);
    void Later(int64_t microseconds, std::function<void()> action);
    std::string DisturbFrames(Random &random);
    std::string DisturbDevice(Random &random);
    std::string DisturbMachine(Random &random);
    std::string DisturbHead(Random &random);

    const int32_t port_;
    ArmAccount &account_;
    const std::function<void(const std::string &)> tell_;
    emulator::Controller controller_;
    emulator::VirtualPeer line_;
    std::unique_ptr<emulator::Head> head_;
    std::unique_ptr<emulator::VirtualPeer> headLine_;
    std::function<void(uint8_t)> toController_;
    Bytes incoming_;              // of the host, of a frame that has not ended
    int64_t begun_ = 0;           // when its first byte came
    int64_t countedFrom_ = 0;     // what comes up to this time was written before the counts began
    Bytes lastData_;              // of the host, since its last start-link
    uint32_t transmissions_ = 0;  // of that frame
    uint8_t nextAck_ = 0;         // type of the acknowledgement that would be of a new frame
    Bytes input_;                 // of the host, of a frame that has not ended
    bool jumped_ = false;
    uint64_t faultsEnded_ = 0;  // how often; actions from before do nothing
};

}  // namespace campaign
