// What the messages of one arm have to do with each other.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "message_words.h"

namespace emulator {

/// Follows the messages of an arm in their order, each once: numbers its moves, puts answers to the commands that they
/// answer, and finds what went wrong.
class Dialogue {
  public:
    explicit Dialogue(double mmPerCount = 0) : mmPerCount_(mmPerCount) {}

    /// What there is to say about a message.
    struct Remark {
        std::string
            words;        // what it says, of a move with its number: "move 3 to X 100.0000 mm", "move 3 done"
        int move = 0;     // number of the buffered message that it is, or is about; 0: none
        int answers = 0;  // a reply: number of the command, from 1, that it answers; 0: it was not asked for
        bool isFault = false;
    };
    Remark Take(Direction direction, const Bytes &message);

    /// Numbers of the commands that were not answered so far, though a reply answers them.
    std::vector<int> Unanswered() const;
    /// Commands taken so far.
    int Commands() const { return commands_; }

  private:
    struct Asked {
        int number;
        Bytes command;
    };
    struct Move {
        int number;   // of the move
        int command;  // of its command
        bool probing;
        bool scan;
        bool touched = false;
    };

    Remark TakeCommand(const Bytes &command);
    Remark TakeReply(const Bytes &reply);
    void TakePoint(const Bytes &reply, Remark &remark);
    void EndMove(const Bytes &reply, Remark &remark);
    void ResetBuffer(Remark &remark);

    const double mmPerCount_;
    int commands_ = 0;
    int moves_ = 0;
    std::deque<Asked> asked_;
    std::deque<Move> pending_;  // buffered and not acknowledged, the oldest first
};

}  // namespace emulator
