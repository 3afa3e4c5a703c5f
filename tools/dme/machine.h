// The machine as the session drives it: orders go down, what became of them comes back through a listener.
#pragma once

#include <Eigen/Core>
#include <chrono>
#include <cstdint>
#include <string>

namespace cmm::dme {

/// Since the server was started. Whoever owns the clock tells the time; nobody below asks for it.
using Time = std::chrono::milliseconds;

/// Given by the session, counting up from 1; never used twice.
using OrderNumber = uint64_t;

/// Why an order failed, or what befell the machine.
enum class Trouble {
    Stopped,          // Machine::Stop came before the order was done
    AfterFailure,     // an order before it failed
    SurfaceNotFound,  // a probing order reached the end of its search
    Collision,        // the probe touched where nothing was searched for
    Emergency,        // the controller is in emergency
    Held,             // the operator's hold, or a drive that is off: no move is possible
    LinkLost,         // the controller does not answer
    ZeroingFailed,
    Rejected,  // the controller refused the order, or reset its buffer
    Head,      // the probe head did not reach the angles, or does not answer
    Scan,      // the scan ended before its target
    NotFitted  // the machine has no such axis, head or command
};

/// `words`: the controller's own words, or the library's, for the cause of an error line; without quotes.
struct MachineTrouble {
    Trouble kind;
    std::string words;
};

/// Where the probe head's reference point is, mm in the machine's own axes; the head's angles in degrees, both 0 without
/// a head; the rotary table's angle in degrees, 0 without a table.
struct MachinePosition {
    Eigen::Vector3d point = Eigen::Vector3d::Zero();
    double a = 0, b = 0;
    double table = 0;
};

/// mm/s and mm/s², above 0. A machine that can't choose takes what it has.
struct Motion {
    double speed;
    double acceleration;
};

struct MoveOrder {
    Eigen::Vector3d target;
    Motion motion;
};

/// To `approach`; from there towards `searchEnd` until the probe touches; then away from what was touched. All are places of
/// the reference point, mm, on one line.
struct ProbeOrder {
    Eigen::Vector3d approach;
    Eigen::Vector3d nominal;  // where the touch is expected; a simulated machine touches here
    Eigen::Vector3d searchEnd;
    Eigen::Vector3d direction;  // of length 1, away from the surface
    double retract;             // mm from the touched place along `direction`; below 0: back to `approach`
    Motion travel;              // to `approach`, and for the retract
    Motion search;
};

/// A scan from where the machine stands, touching, to a target in a plane.
struct ScanOrder {
    Eigen::Matrix3d
        axes;  // rows: the scan's x, y and z in machine axes. It runs in x and y, and z is away from the surface
    Eigen::Vector3d origin;  // mm, machine axes
    Eigen::Vector2d target;  // mm, the scan's x and y
    double tipRadius;        // mm
    double step;             // largest distance between points, mm
    Motion motion;
};

/// What is fitted. Known once the machine is open; it does not change.
struct Fittings {
    bool head = false;
    bool rotaryTable = false;
    bool scanning = false;
};

/// What it tells. Called from inside Machine::Advance only, never from inside an order call. Each order ends with exactly
/// one OnDone or OnFailed, in the order in which they were given. May give new orders.
class MachineListener {
  public:
    virtual ~MachineListener() = default;
    /// The end of an order.
    virtual void OnDone(OrderNumber) = 0;
    virtual void OnFailed(OrderNumber, const MachineTrouble &) = 0;
    /// Before the end of a probing order: where the reference point was when the probe touched, mm.
    virtual void OnTouched(OrderNumber, const Eigen::Vector3d &) = 0;
    /// Before the end of a scan, once a point: as OnTouched.
    virtual void OnScanned(OrderNumber, const Eigen::Vector3d &) = 0;
    /// Before the end of AskPosition; with order 0 because of Watch.
    virtual void OnPosition(OrderNumber, const MachinePosition &) = 0;
    /// After Stop: nothing moves any more, and every order that was given before it has ended.
    virtual void OnStopped() = 0;
    /// The operator has touched something by hand: where the reference point was, mm.
    virtual void OnManualTouch(const Eigen::Vector3d &) = 0;
    /// What befell the machine while no order was under way, or besides its failure.
    virtual void OnTrouble(const MachineTrouble &) = 0;
};

/// Nothing here waits or throws. Orders are carried out one after another, in the order given; how many may be outstanding
/// is not limited, and moves go to the controller as far ahead as it has room, so that a chain of them runs without
/// standing still. When one fails, those behind it fail with AfterFailure, and the machine takes new ones at once.
/// Limits, tools and coordinate systems are the caller's business: what is ordered here is done.
class Machine {
  public:
    virtual ~Machine() = default;

    /// Who is told; once, before anything else.
    virtual void SetListener(MachineListener &) = 0;
    /// Does what is due at `now`, and tells the listener what happened. Called whenever there may be something to do: at
    /// least every 10 ms while orders are outstanding.
    virtual void Advance(Time now) = 0;

    virtual Fittings Fitted() const = 0;
    /// Whether the machine was zeroed since it was switched on.
    virtual bool IsHomed() const = 0;
    /// Whether the operator may move it by hand.
    virtual bool IsUserEnabled() const = 0;
    /// As told last.
    virtual MachinePosition Position() const = 0;

    /// Zeroing. Fails with ZeroingFailed, Emergency, Held, LinkLost.
    virtual void Home(OrderNumber) = 0;
    /// Lets the operator move the machine by hand, or no longer; every move does the latter by itself. Fails with
    /// Emergency, LinkLost.
    virtual void EnableUser(OrderNumber, bool enable) = 0;
    /// Fail with Collision, Emergency, Held, LinkLost, Rejected; a probing order with SurfaceNotFound too, after the
    /// machine has gone back to the approach point; a scan with Scan and, where it is not fitted, NotFitted.
    virtual void Move(OrderNumber, const MoveOrder &) = 0;
    virtual void Probe(OrderNumber, const ProbeOrder &) = 0;
    virtual void Scan(OrderNumber, const ScanOrder &) = 0;
    /// Turns the head to angles in degrees, once the machine stands. Fails with Head, NotFitted, LinkLost.
    virtual void TurnHead(OrderNumber, double a, double b) = 0;
    /// Turns the table to an angle in degrees. Fails with NotFitted and as Move.
    virtual void TurnTable(OrderNumber, double angle) = 0;
    /// Asks for the position, once the orders before it are done. Fails with LinkLost.
    virtual void AskPosition(OrderNumber) = 0;
    /// Ends once the orders before it are done: nothing is done.
    virtual void Await(OrderNumber) = 0;

    /// Whether positions are told as they come, some ten a second, manual moves too.
    virtual void Watch(bool) = 0;
    /// Stops the machine at once; no order outstanding is carried on, each fails with Stopped. OnStopped ends it. A
    /// second one before that changes nothing.
    virtual void Stop() = 0;
    /// Brings a controller that is in emergency, or stopped, back to where it can move, if it can be; ends as an order, with
    /// OnFailed when the cause is still there.
    virtual void Recover(OrderNumber) = 0;
};

}  // namespace cmm::dme
