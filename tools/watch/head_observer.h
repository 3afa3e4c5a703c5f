// Reads the probe head's angles without waiting for it.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "machine/background_call.h"
#include "watch/readout.h"

namespace cmm {

/// The head is that of arm 2, whose controller is the built-in one: a head that reports an error stops nothing. It is asked
/// S when opened and U afterwards, at longer intervals while it is mute.
class HeadObserver {
  public:
    /// `iniFile`: how long each answer is waited for.
    HeadObserver(std::string port, std::string iniFile);

    /// Asks when it is time to, takes what has been answered, and returns at once.
    void Step();
    const HeadReadout &Readout() const { return readout_; }
    /// Closes the head's port unless a question is under way.
    void Close();

  private:
    using Clock = std::chrono::steady_clock;

    void Take();

    const std::string port_, iniFile_;
    HeadReadout readout_;
    bool asked_ = false;  // a question is under way, or its answer has not been taken
    bool open_ = false;
    Clock::time_point begun_;  // of the question
    Clock::time_point next_;
    BackgroundCall call_;
};

}  // namespace cmm
