// The server between a client's lines and the machine: the session, its state, and what the methods do.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "dme/coordinates.h"
#include "dme/machine.h"
#include "dme/methods.h"
#include "dme/properties.h"
#include "dme/report.h"
#include "dme/toolbox.h"
#include "dme/transactions.h"

namespace cmm::dme {

/// What outlives a session, and a server with a state file.
struct Memory {
    std::string tool;
    Csy selected = Csy::Machine;
    std::array<Transformation, kCsyCount> transformations;
    std::map<std::string, std::vector<Orientation>> qualified;  // by ReQualify, by the tool's name
};

class Server : private TransactionHost, private MachineListener {
  public:
    /// `send`: takes a line without its CR LF. Both outlive the server.
    Server(Machine &machine, const Setup &setup, std::function<void(const std::string &)> send);

    /// A line of the client, without its CR LF. `early`: it came before the answer that the client has to wait for.
    void Receive(std::string_view line, bool early = false);
    /// Lets machine and daemons do what is due. As Machine::Advance.
    void Advance(Time now);
    /// The client is gone: the machine is stopped, the session ended; nothing more is sent.
    void Leave();
    /// Whether the machine has something to do, or to end.
    bool IsBusy() const { return !orders_.empty() || stopping_; }
    /// Whether so much is open that no line may be taken for now: who sends more waits for his acknowledgement.
    bool IsFull() const { return transactions_.Count() >= kMostOpen; }

    /// Where the active tool's tip is, seen from the reference point in machine axes, mm; with the angles that the head
    /// has once all orders are done.
    Eigen::Vector3d TipOffset() const { return ActiveTip().offset; }

    Memory Remember() const;
    /// A tool that is gone is forgotten.
    void Recall(const Memory &memory);

  private:
    static constexpr size_t kMostOpen = 200;

    friend const Method *FindMethod(std::string_view);
    static const Method kMethods[];

    /// How an order ended.
    struct Outcome {
        std::optional<MachineTrouble> trouble;
        Eigen::Vector3d touched = Eigen::Vector3d::Zero();
        MachinePosition position;
    };
    struct Order {
        TransactionPtr transaction;
        std::function<void(const Outcome &)> then;
        bool takesTrouble;
        Outcome outcome{};
        std::function<void(const Eigen::Vector3d &)> scanned{};  // a point of a scan
    };
    struct Daemon {
        std::string tag;
        Report report;
        Time interval;
        double distance;  // mm; 0: only the time counts
        Time lastTime;
        std::optional<Eigen::Vector3d>
            lastTip{};  // in the client's coordinates; none: a report is due in any case
    };
    /// A point measurement, thought out before anything moves.
    struct Probing {
        ProbeOrder order;
        Eigen::Vector3d direction;  // machine axes
        bool clipped = false;       // the search ends at the limits of the machine
    };

    // Transactions
    void Send(const std::string &line) override { send_(line); }
    void Start(const TransactionPtr &) override;
    bool MayRunAhead(const Transaction &) override;
    void OnBlocked(const Fault &) override;
    std::optional<Fault> WhyNot(const Method &method, const Argument &call) const;
    void End(const TransactionPtr &transaction) { transactions_.End(transaction); }
    void Fail(const TransactionPtr &transaction, ErrorNumber number, const std::string &what = {});
    void Data(const TransactionPtr &transaction, const std::string &data) {
        transactions_.Data(transaction, data);
    }
    /// An error that no transaction has caused. A blocking one stops the machine and ends all transactions.
    void Raise(const Fault &fault);

    // Machine
    void OnDone(OrderNumber) override;
    void OnFailed(OrderNumber, const MachineTrouble &) override;
    void OnTouched(OrderNumber, const Eigen::Vector3d &) override;
    void OnScanned(OrderNumber, const Eigen::Vector3d &) override;
    void OnPosition(OrderNumber, const MachinePosition &) override;
    void OnStopped() override;
    void OnManualTouch(const Eigen::Vector3d &) override;
    void OnTrouble(const MachineTrouble &) override;
    /// A number for an order of the transaction. `then` is called when it is done; with `takesTrouble` when it failed too,
    /// else the transaction fails.
    OrderNumber NewOrder(const TransactionPtr &transaction, std::function<void(const Outcome &)> then,
                         bool takesTrouble = false);
    void Finish(OrderNumber, const std::optional<MachineTrouble> &);
    void FailBy(const TransactionPtr &transaction, const MachineTrouble &);
    /// Stops the machine; what is open then ends as aborted, or all before `abort`, which ends as done.
    void StopAndAbort(const TransactionPtr &abort);
    void FinishStop();

    // Places, of the head's reference point in machine axes unless they are the tip's
    Tip ActiveTip() const;
    Reading ReadingOf(const Eigen::Vector3d &reference, const MachinePosition &position) const;
    bool IsWithinLimits(const Eigen::Vector3d &reference) const;
    /// Calls `then` once it is known where the machine is, or will be when all orders are done.
    void WithPlace(const TransactionPtr &transaction, std::function<void(const Eigen::Vector3d &)> then);
    std::optional<Fault> PlanProbing(const Eigen::Vector3d &nominal, const Eigen::Vector3d &direction,
                                     Probing &plan) const;
    void Probe(const TransactionPtr &transaction, const Probing &plan,
               std::function<void(const Reading &)> then);
    void TellDaemon();
    /// The tip is elsewhere for the client, though nothing moved.
    void TellChangedPlace();

    // Methods of the session
    void StartSession(const TransactionPtr &);
    void EndSession(const TransactionPtr &);
    void StopDaemon(const TransactionPtr &);
    void StopAllDaemons(const TransactionPtr &);
    void AbortE(const TransactionPtr &);
    void GetErrorInfo(const TransactionPtr &);
    void ClearAllErrors(const TransactionPtr &);
    void GetErrStatusE(const TransactionPtr &);
    void GetXtdErrStatus(const TransactionPtr &);
    void GetDMEVersion(const TransactionPtr &);
    void GetMachineClass(const TransactionPtr &);
    // of properties and tools
    void GetProp(const TransactionPtr &);
    void SetProp(const TransactionPtr &);
    void EnumProp(const TransactionPtr &);
    void EnumAllProp(const TransactionPtr &);
    void EnumTools(const TransactionPtr &);
    void FindTool(const TransactionPtr &);
    void ChangeTool(const TransactionPtr &);
    void SetTool(const TransactionPtr &);
    void GetChangeToolAction(const TransactionPtr &);
    void AlignTool(const TransactionPtr &);
    void ReQualify(const TransactionPtr &);
    void AlignPart(const TransactionPtr &);
    // of coordinates
    void SetCoordSystem(const TransactionPtr &);
    void GetCoordSystem(const TransactionPtr &);
    void SetCsyTransformation(const TransactionPtr &);
    void GetCsyTransformation(const TransactionPtr &);
    // of the machine
    void Home(const TransactionPtr &);
    void IsHomed(const TransactionPtr &);
    void EnableUser(const TransactionPtr &);
    void DisableUser(const TransactionPtr &);
    void IsUserEnabled(const TransactionPtr &);
    void Get(const TransactionPtr &);
    void GoTo(const TransactionPtr &);
    void PtMeas(const TransactionPtr &);
    void OnPtMeasReport(const TransactionPtr &);
    void OnScanReport(const TransactionPtr &);
    void OnMoveReportE(const TransactionPtr &);
    void Hint(const TransactionPtr &);
    bool MayGoAhead(const Argument &call) const;
    // of scanning
    void ScanOnCircle(const TransactionPtr &);
    void ScanOnLine(const TransactionPtr &);
    void ScanInPlaneEndIsSphere(const TransactionPtr &);
    void ScanInPlaneEndIsPlane(const TransactionPtr &);
    void ScanInPlaneEndIsCyl(const TransactionPtr &);
    void ScanUnknownDensity(const TransactionPtr &);

    struct Scanning;
    struct PathPoint;
    struct Qualification;
    void QualifyNext(const TransactionPtr &, const std::shared_ptr<Qualification> &);
    void FinishQualification(const TransactionPtr &, const std::shared_ptr<Qualification> &);
    void ScanByPoints(const TransactionPtr &, const std::vector<PathPoint> &path);
    void ScanInPlane(const TransactionPtr &, const Scanning &scanning);
    void RunScan(const TransactionPtr &, const Scanning &scanning, const Eigen::Vector3d &start);

    void Enumerate(const TransactionPtr &, bool all);
    void UseTool(const TransactionPtr &, bool change);
    void SwitchUser(const TransactionPtr &, bool enable);
    Properties PropertyTree() { return {tools_, coordinates_, angleA_, angleB_}; }

    Machine &machine_;
    std::function<void(const std::string &)> send_;
    Setup setup_;
    Toolbox tools_;
    Coordinates coordinates_;
    Transactions transactions_{*this};

    bool inSession_ = false;
    std::optional<Fault> blocked_;  // until ClearAllErrors
    bool machineFailed_ = false;    // the machine has to be recovered then
    std::optional<Daemon> daemon_;  // there is one at most
    Report pointReport_ = Report::OfPoint();
    Report scanReport_ = Report::OfScan();
    std::map<std::string, std::vector<Orientation>> qualified_;
    double unknownStep_ = 1;  // mm between points of scans that are told none

    std::map<OrderNumber, Order> orders_;
    OrderNumber lastOrder_ = 0;
    bool failing_ = false;  // the machine tells a failure: it has dropped the orders behind by itself
    bool stopping_ = false;
    TransactionPtr abort_;  // the AbortE that waits for the stop
    std::optional<Eigen::Vector3d>
        place_;  // where the machine is when all orders are done; unknown after manual moves
    double angleA_ = 0, angleB_ = 0;  // of the head, when all orders are done
    Time now_{0};
};

}  // namespace cmm::dme
