// One session with the machine: open, zero, probe, close. Uses nothing of the library but its public header.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "cc_interface.h"
#include "measure/probing_plan.h"

namespace cmm {

struct SessionOptions {
    std::string iniFile;
    std::string port;             // "COM3"; unused in simulation
    std::string headPort;         // empty: no head
    uint16_t flags = 0;           // of CC_INIT
    double linearScale = 0.0001;  // mm per count
};

/// How a point is approached.
struct ProbingMotion {
    double clearance = 5;   // mm off the surface where the probing move begins and the retract ends
    double overtravel = 0;  // mm behind the touch point where the probing move would end; 0 in simulation,
                            // which touches where it is told to
};

/// Arm 1 between opening and closing. Failures are thrown as std::runtime_error. One session at a time.
class MeasuringSession {
  public:
    /// Opens and starts the arm.
    MeasuringSession(const SessionOptions &options, std::ostream &log);
    /// Closes the arm if Close was not reached.
    ~MeasuringSession();
    MeasuringSession(const MeasuringSession &) = delete;
    MeasuringSession &operator=(const MeasuringSession &) = delete;

    void Zero();
    /// Brings the controller to measuring state with an empty buffer.
    void StartMeasuring();
    /// Orders the head's angles, in degrees.
    void TurnHead(double a, double b);
    /// Probes the points with a progress line. Result: the touch points, in the order of the plan.
    std::vector<Eigen::Vector3d> Probe(const std::vector<ProbingPoint> &points, const ProbingMotion &motion);
    /// Closes the arm, prints the events of the session and returns whether there were just those that the
    /// work explains.
    bool Close();

  private:
    static void CC_CALL OnEvent(int32_t event, uint32_t info, void *data);

    void Note(int32_t event, uint32_t info, const void *data);
    void AwaitStatus(int16_t status, int seconds, const char *what);
    void File(int16_t mode, const Eigen::Vector3d &target, const ProbingPoint &point);

    std::ostream &log_;
    bool simulated_;
    bool open_ = false;
    std::map<uint32_t, Eigen::Vector3d> touched_;         // by point id
    std::map<std::pair<int32_t, uint32_t>, int> events_;  // how often each event with its info came
    int movesFiled_ = 0;
    int probingMovesFiled_ = 0;
    int zeroings_ = 0;
};

}  // namespace cmm
