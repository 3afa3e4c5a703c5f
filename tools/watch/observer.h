// Reads a machine over and over, and changes nothing on it. Uses nothing of the library but its public header.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "machine/background_call.h"
#include "watch/readout.h"

namespace cmm {

struct ObserverOptions {
    std::string iniFile;
    std::string headIniFile;
    std::string port;      // for CC_INIT; unused in simulation
    std::string headPort;  // empty: no head
    bool simulation = false;
    double linearScale = 0.0001;  // mm per count
    double rotaryScale = 1;       // degrees per count of the wrist or the rotary table
    bool exchangesAxes = false;   // KX_AXES_CONVENTION of the initialisation file
    std::chrono::milliseconds period{250};
};

/// Arm 1, opened but not started, and read on a thread of its own, so that nobody waits for a silent line. The controller is
/// asked questions only: N00, A, B, I00, R01 to R07, S48. The library's worker, which gives orders, never runs, and the arm is
/// closed without an order. When the line is lost it is opened anew until it is back.
class Observer {
  public:
    explicit Observer(const ObserverOptions &options);
    /// Waits for the thread a moment; one that waits for a silent line is left: see BackgroundCall.
    ~Observer();
    Observer(const Observer &) = delete;
    Observer &operator=(const Observer &) = delete;

    /// What is known now. Throws Failure when the line could not be opened the first time.
    Readout Look() const;
    /// Waits for a reading or a happening after those of `before`, so long at the most.
    void Await(const Readout &before, std::chrono::milliseconds longest) const;

  private:
    class Thread;

    std::shared_ptr<Thread> thread_;
    BackgroundCall call_;
};

}  // namespace cmm
