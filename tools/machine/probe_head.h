// The probe head, without letting anybody wait for it who must act.
#pragma once

#include <functional>
#include <string>

#include "machine/background_call.h"

namespace cmm {

/// The library's calls wait for a head, which may be mute, for minutes. So the head is that of arm 2, whose controller is
/// the built-in one, and its calls run on a thread of their own. The library allows that while its worker does not run:
/// whoever waits for the head does not run the loop, but may use arm 1.
class ProbeHead {
  public:
    /// What the caller does while it waits; it may throw.
    using Meanwhile = std::function<void()>;

    /// Opens the head's port, once arm 1 is open. Failures are thrown as Failure, so are those of the other functions.
    ProbeHead(const std::string &port, const std::string &iniFile, const Meanwhile &meanwhile);
    /// A head that does not answer is left alone: see BackgroundCall.
    ~ProbeHead();
    ProbeHead(const ProbeHead &) = delete;
    ProbeHead &operator=(const ProbeHead &) = delete;

    /// Orders the angles, in degrees with one decimal.
    void Turn(double a, double b, const Meanwhile &meanwhile);
    /// The same without waiting: the end is known when the head is no longer busy.
    void BeginTurn(double a, double b);
    /// Whether the head reported the angles that BeginTurn ordered. It is not busy; once a turn.
    bool HasTurned() { return call_.Result() != 0; }
    /// Whether it has not answered yet.
    bool IsBusy() const;
    /// Begins to close the head, which takes as long as closing an arm does; the end is waited for by the destructor.
    void BeginClosing();

    /// Code of the emergency that an error of the head asks for; 0: there was none. Known once the worker has run.
    static int ErrorCode();

  private:
    int Await(double seconds, const Meanwhile &meanwhile);

    std::string port_;
    BackgroundCall call_;
    bool closing_ = false;
};

}  // namespace cmm
