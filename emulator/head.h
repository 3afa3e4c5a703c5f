// The emulated probe head: two angles behind a line of texts.
#pragma once

#include <string>

#include "peer.h"

namespace emulator {

struct HeadOptions {
    double speed = 90;                        // degrees a second
    int64_t answerDelay = 20 * kMillisecond;  // from a command to its answer, turning not counted
    bool hasManualMode = true;
    bool silent = false;     // answers nothing
    bool twoAtOnce = false;  // holds each answer back until the next one, and sends both in one piece
    bool overLong = false;   // fills each answer up to 130 characters
};

/// Answers S, U, M, N, A and B. An angle is acknowledged when the head has turned there.
class Head final : public Peer {
  public:
    explicit Head(const HeadOptions &start) : options(start) {}

    void Receive(uint8_t byte) override;

    /// Somebody switches the mode at the head itself; it reports its position.
    void SwitchByHand(bool manual);
    /// The head asks to be taken out of manual mode.
    void AskForAutomatic() { Answer("T"); }
    /// The head reports an error, one of E C I J X O F D.
    void GiveError(char letter) { Answer(std::string(1, letter)); }
    /// The next answer is this error instead.
    void FailNext(char letter) { failNext_ = letter; }
    void Unplug() { Peer::Unplug(); }

    /// Commands received so far, without their carriage returns.
    const std::vector<std::string> &Commands() const { return commands_; }

    HeadOptions options;  // may be changed at any time

  private:
    void Act(const std::string &command);
    void Turn(int axis, double angle);
    void AnswerLater(int64_t delay, const std::string &text);
    void Answer(std::string text);
    std::string Position() const;

    double angles_[2] = {0, 0};
    bool manual_ = false;
    char failNext_ = 0;
    std::string incoming_;
    std::string heldBack_;
    std::vector<std::string> commands_;
};

}  // namespace emulator
