// One arm as every command uses it: opened with the reasons of a failure, watched, and always closed by the rules. Uses
// nothing of the library but its public header.
#pragma once

#include <Eigen/Core>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "cc_interface.h"
#include "machine/console.h"
#include "machine/failure.h"
#include "machine/operator_stop.h"
#include "machine/probe_head.h"

namespace cmm {

struct ArmOptions {
    std::string iniFile;
    std::string port;      // for CC_INIT, "COM3"; unused in simulation
    std::string headPort;  // empty: no head
    bool simulation = false;
    double linearScale = 0.0001;  // mm per count
};

/// Arm 1 between opening and closing. Each event of importance is told as it comes. What ends the work - a rejected move,
/// an emergency, a lost link, a machine that no longer moves, the operator - is thrown as Failure by whatever function
/// waits then; Stop is to follow. One at a time, on one thread.
class Arm {
  public:
    /// Opens and starts the arm.
    Arm(const ArmOptions &options, Console &console, OperatorStop &operatorStop);
    /// Stops the machine if neither Close nor Stop was reached.
    ~Arm();
    Arm(const Arm &) = delete;
    Arm &operator=(const Arm &) = delete;

    /// Moves the machine to its reference marks.
    void Zero();
    /// Brings the controller to measuring state with an empty buffer.
    void StartMeasuring();
    bool HasHead() const { return head_ != nullptr; }
    /// Orders the head's angles, in degrees, once the machine is at rest.
    void TurnHead(double a, double b);
    /// Where the machine is, mm.
    Eigen::Vector3d Position();

    /// File a move to `target`, mm, or a probing move with a point id below 65504, and wait until there is room for it.
    void Move(const Eigen::Vector3d &target);
    void Probe(const Eigen::Vector3d &target, const Eigen::Vector3d &approach, uint32_t pointId);
    /// Waits until all that was filed is done.
    void Settle();
    /// The touch points so far, by point id.
    const std::map<uint32_t, Eigen::Vector3d> &Touched() const { return touched_; }
    /// Called over and over while something is waited for.
    std::function<void()> onTurn;

    /// Closes the arm and tells of the session's events. Result: whether there were just those that the work explains.
    bool Close();
    /// Drops what has not run yet, here and in the controller, stops the machine, closes the arm, and tells each step.
    /// `failure`: why; it is told too.
    void Stop(Failure &failure);

  private:
    using Clock = std::chrono::steady_clock;

    /// A message of the move buffer that has not been done.
    struct Filed {
        bool probing;
        uint32_t pointId;
    };

    static void CC_CALL OnEvent(int32_t event, uint32_t info, void *data);

    void Open(const ArmOptions &options);
    void Note(int32_t event, uint32_t info, void *data);
    void NoteFailure(int32_t event, uint32_t info, const void *data);
    void Fail(ExitStatus status, const std::string &cause, const std::string &advice);
    std::string WhatRuns() const;
    void Run();
    void Check();
    void CheckMotion();
    void Listen();
    void File(int16_t mode, const Eigen::Vector3d &target, const Eigen::Vector3d &approach, uint32_t pointId);
    void OrderStop();
    void Release(int16_t shutdownMode);

    Console &console_;
    OperatorStop &operatorStop_;
    const std::string port_;  // as the operator names it
    std::unique_ptr<ProbeHead> head_;
    bool open_ = false;
    bool closing_ = false;
    bool linkLost_ = false;
    bool emergency_ = false;
    bool held_ = false;
    bool measuring_ = false;          // the controller was brought to measuring state and should be in it
    std::optional<Failure> failure_;  // the first thing that ends the work

    std::map<uint32_t, Eigen::Vector3d> touched_;
    std::map<std::pair<int32_t, uint32_t>, int> events_;  // how often each event with its info came
    std::string doing_;                                   // while nothing filed is under way
    std::deque<Filed> filed_;                             // what has not been done, the oldest first
    int moves_ = 0;
    int probingMoves_ = 0;

    Eigen::Vector3d position_ = Eigen::Vector3d::Zero();  // as reported last
    int positions_ = 0;                                   // how often it was reported
    Clock::time_point lastNews_;  // a point or the end of a move came, or the machine moved
    Clock::time_point lastQuestion_;
    Clock::time_point resumed_;
};

}  // namespace cmm
