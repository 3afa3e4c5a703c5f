// The operator's wish to stop: Ctrl-C, or the system's wish to end the program.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "machine/console.h"

namespace cmm {

/// Calls `onSignal` on a thread of its own with each SIGINT, SIGTERM or SIGHUP, or each event of the Windows console,
/// for as long as it lives. Made before any other thread of the program. What nobody reads any more is written into
/// nothing, so that the loss of the program's output does not end it.
class Signals {
  public:
    explicit Signals(std::function<void()> onSignal);
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    struct Running;

  private:
    std::unique_ptr<Running> running_;
};

/// The first signal is a wish, which whoever moves the machine asks for; the second one orders the emergency at once,
/// whatever the other threads wait for; the third one ends the program where it stands. While there is no arm the first
/// one does that. One at a time.
class OperatorStop {
  public:
    enum class Phase {
        NoArm,
        Opening,  // nothing has been ordered yet
        Open,     // there is a machine to be stopped
    };

    explicit OperatorStop(Console &console);

    /// Whether the work shall end.
    bool IsWanted() const { return signals_ > 0; }
    /// Whether the emergency was ordered.
    bool IsEmergency() const { return emergency_; }

    void Enter(Phase phase) { phase_ = phase; }

  private:
    void OnSignal();

    Console &console_;
    std::atomic<int> signals_{0};
    std::atomic<bool> emergency_{false};
    std::atomic<Phase> phase_{Phase::NoArm};
    Signals source_;  // the last, as its thread uses what stands before
};

}  // namespace cmm
