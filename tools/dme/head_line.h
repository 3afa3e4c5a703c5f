// The probe head as the machine turns it: an order that is begun, and its end that is looked for.
#pragma once

#include <string>

#include "machine/probe_head.h"

namespace cmm::dme {

/// One turn at a time.
class HeadLine {
  public:
    virtual ~HeadLine() = default;
    /// Orders the angles, degrees. The turn before has ended.
    virtual void Begin(double a, double b) = 0;
    /// Whether the turn has not ended. The library's loop stands still meanwhile.
    virtual bool IsBusy() const = 0;
    /// Whether the head reported the angles ordered. The turn has ended.
    virtual bool HasTurned() = 0;
    /// Closes the head, once a turn is over; a head that does not answer is left alone.
    virtual void BeginClosing() = 0;
};

/// The head of arm 1, for whom it does not matter that Begin waits: simulated, or in virtual time.
class WaitingHead : public HeadLine {
  public:
    void Begin(double a, double b) override;
    bool IsBusy() const override { return false; }
    bool HasTurned() override { return turned_; }
    void BeginClosing() override {}

  private:
    bool turned_ = false;
};

/// A head on a port of its own, with a thread of its own.
class ThreadedHead : public HeadLine {
  public:
    /// Waits until the head has answered. Failures are thrown as Failure.
    ThreadedHead(const std::string &port, const std::string &iniFile) : head_(port, iniFile, [] {}) {}
    void Begin(double a, double b) override { head_.BeginTurn(a, b); }
    bool IsBusy() const override { return head_.IsBusy(); }
    bool HasTurned() override { return head_.HasTurned(); }
    void BeginClosing() override { head_.BeginClosing(); }

  private:
    ProbeHead head_;
};

}  // namespace cmm::dme
