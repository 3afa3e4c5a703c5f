// A controller that answers as a recorded one did.
#pragma once

#include <istream>
#include <vector>

#include "link_peer.h"

namespace emulator {

struct ReplayOptions {
    LinkOptions link;
    int64_t replyDelay = 3 * kMillisecond;  // where the recording has no times
};

/// Plays a recording's controller. A command of the host is answered as the first one of the recording that is the same
/// and was not answered yet; where there is none, as the first of that name; where all of that name have been, as the last
/// of them, so that a host may ask more often than the recorded one did. Touch points, the ends of moves and what nobody
/// asked for come in their recorded order, once the host has given the commands before them.
class ReplayController final : public LinkPeer {
  public:
    /// Throws std::invalid_argument for what is no recording.
    ReplayController(const ReplayOptions &options, std::istream &recording);

    /// Called with commands that the recording has no answer to.
    std::function<void(const Bytes &command)> onStranger;
    /// Whether every reply of the recording has been given.
    bool IsThrough() const;

  private:
    static constexpr size_t kNone = SIZE_MAX;

    struct Asked {
        Bytes command;
        std::optional<double> seconds;
        bool given = false;  // by this host
        bool buffered = false;
        std::vector<size_t> answers = {};  // indexes of replies that it is answered by, at once
    };
    struct Reply {
        Bytes message;
        int64_t delay;         // from the command before it
        size_t commands;       // recorded before it
        size_t asked = kNone;  // the buffered command that it belongs to
        bool sent = false;
        bool inOrder = true;  // not an answer given at once
    };

    void Read(std::istream &recording);
    size_t Find(const Bytes &command) const;
    void OnMessage(const Bytes &message) override;
    void OnStateFault(int) override {}
    void Send(Reply &reply);
    void SendInOrder();

    const int64_t replyDelay_;
    std::vector<Asked> asked_;
    std::vector<Reply> replies_;
    size_t progress_ = 0;   // commands up to the furthest that was given
    int64_t lastSend_ = 0;  // when the reply given last goes out
};

}  // namespace emulator
