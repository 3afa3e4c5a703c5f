// The machine behind the library: arm 1 of CC_Interface, driven by the library's events. The one place of the server that
// knows the library.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "cc_interface.h"
#include "dme/head_line.h"
#include "dme/machine.h"
#include "machine/arm.h"

namespace cmm::dme {

struct LibraryMachineOptions {
    ArmOptions arm;                 // with simulation the head is simulated too
    double speedUnit = 1;           // of the controller's speed settings, mm/s
    double tableUnit = 1.0 / 3600;  // of the rotary table's counts, degrees
    bool waitsForHead = false;      // the head is that of arm 1, and its turn is waited for: in virtual time
    std::function<void(const std::string &)> log = [](const std::string &) {
    };  // what is ordered, and what comes of it
};

/// Arm 1 from its opening to its closing; one at a time, on one thread. Opening waits, for seconds. After that the library's
/// loop (CC_LOOP_FD, CC_LOOP_DISPATCH, or CC_LOOP_RUN) has to be run between the calls of Advance whenever MayRunLoop
/// says so; Advance itself waits for no longer than an answer of the controller takes on its line, some 50 ms, or 0.3 s
/// when a scan starts. Only a line that dies unnoticed holds it, for some seconds, once.
class LibraryMachine : public Machine {
  public:
    /// Opens and starts the arm, and the head where it has a port. Failures are thrown as Failure.
    explicit LibraryMachine(LibraryMachineOptions options);
    /// Stops what moves, and closes the arm. Waits.
    ~LibraryMachine() override;
    LibraryMachine(const LibraryMachine &) = delete;
    LibraryMachine &operator=(const LibraryMachine &) = delete;

    /// False while a thread waits for the probe head: the library's loop must stand still then. Advance listens to the
    /// controller meanwhile.
    bool MayRunLoop() const { return !head_ || !head_->IsBusy(); }

    void SetListener(MachineListener &listener) override { listener_ = &listener; }
    void Advance(Time now) override;
    Fittings Fitted() const override { return fitted_; }
    bool IsHomed() const override { return homed_; }
    bool IsUserEnabled() const override { return userEnabled_; }
    MachinePosition Position() const override { return position_; }

    void Home(OrderNumber number) override { Add(number, HomeWork{}); }
    void EnableUser(OrderNumber number, bool enable) override { Add(number, UserWork{enable}); }
    void Move(OrderNumber number, const MoveOrder &order) override { Add(number, order); }
    void Probe(OrderNumber number, const ProbeOrder &order) override { Add(number, order); }
    void Scan(OrderNumber number, const ScanOrder &order) override { Add(number, ScanWork{order}); }
    void TurnHead(OrderNumber number, double a, double b) override { Add(number, HeadWork{a, b}); }
    void TurnTable(OrderNumber number, double angle) override { Add(number, TableWork{angle}); }
    void AskPosition(OrderNumber number) override { Add(number, PositionWork{}); }
    void Await(OrderNumber number) override { Add(number, AwaitWork{}); }
    void Watch(bool on) override { watched_ = on; }
    void Stop() override;
    void Recover(OrderNumber number) override { Add(number, RecoverWork{}); }

  private:
    static constexpr int16_t kArm = 1;
    static constexpr uint32_t kPointIds = 60000;
    static constexpr Time kStateTime = std::chrono::seconds(2);  // for the controller to take up a state

    struct HomeWork {
        bool begun = false;
        Time since{};
    };
    struct UserWork {
        bool enable;
    };
    struct ScanWork {
        ScanOrder order;
        bool begun = false;
        int filed = 0;  // points that a simulated scan has told to be touched
        std::optional<Eigen::Vector3d> last{};
    };
    struct HeadWork {
        double a, b;
        bool begun = false;
        Time since{};
    };
    struct TableWork {
        double angle;
    };
    struct PositionWork {
        uint64_t answer = 0;  // the answer that it waits for; 0: not asked
    };
    struct AwaitWork {};
    struct RecoverWork {
        std::optional<Time> since{};
        bool ordered = false;
    };
    using Work = std::variant<MoveOrder, ProbeOrder, TableWork, HomeWork, UserWork, ScanWork, HeadWork,
                              PositionWork, AwaitWork, RecoverWork>;
    struct Order {
        OrderNumber number;
        Work work;
    };
    enum class Progress {
        Open,
        Done,
        Failed,  // and told
    };
    /// A message in the library's move buffer.
    struct Filed {
        enum class Kind { Setting, Move, Search } kind;
        bool last;                                // of its order
        std::optional<Eigen::Vector3d> target{};  // where it ends, if that is known beforehand
    };
    /// What the library told, kept until Advance.
    struct News {
        int32_t event;
        uint32_t info;
        PointRecord point;
        uint8_t payload;  // the first byte of its data
        std::string words;
    };

    // Opening and closing
    static void CC_CALL OnEvent(int32_t event, uint32_t info, void *data);
    void Open();
    void Close();

    // Orders
    static bool IsMotion(const Work &work);
    void Add(OrderNumber number, Work work);
    void CarryOn();
    void FileAhead();
    bool HasRoom() const;
    void File(const Order &order);
    double ForCounts(double counts) const;
    void FileMove(int16_t mode, const Eigen::Vector3d &target, uint32_t pointId, bool last);
    void FileRetract(const ProbeOrder &order);
    void FileSpeed(int16_t kind, double speed);
    Progress EnsureMeasuring();
    Progress Simulate(ScanWork &work);
    Progress Carry(const MoveOrder &) { return Progress::Open; }
    Progress Carry(const ProbeOrder &) { return Progress::Open; }
    Progress Carry(const TableWork &) { return Progress::Open; }
    Progress Carry(HomeWork &);
    Progress Carry(const UserWork &);
    Progress Carry(ScanWork &);
    Progress Carry(HeadWork &);
    Progress Carry(PositionWork &);
    Progress Carry(const AwaitWork &) { return Progress::Done; }
    Progress Carry(RecoverWork &);
    void FinishFirst();
    /// Ends all orders, the first one by this trouble; without orders the listener is told of it.
    Progress FailAll(const MachineTrouble &trouble);
    /// What lets no order begin; nothing when there is no such thing.
    std::optional<MachineTrouble> Hindrance() const;
    void DropMotion();
    void CarryStop();
    void OrderStop();

    // What happens
    void TakeNews();
    void Take(const News &news);
    void TakePoint(const News &news);
    void TakePosition(const News &news);
    void TakeScanPoint(const News &news);
    void TakeLink(const News &news);
    void TakeEndOfMove();
    void TakeEndOfScan();
    void TakeRejection(const News &news);
    void TakeResume(const News &news);
    void Check();
    void Ask();
    void Listen();
    static uint32_t PointId(OrderNumber number) { return static_cast<uint32_t>(number % kPointIds) + 1; }

    const LibraryMachineOptions options_;
    MachineListener *listener_ = nullptr;
    std::unique_ptr<HeadLine> head_;
    Fittings fitted_;
    bool open_ = false;
    Time now_{0};

    std::deque<Order> orders_;                 // the oldest first
    size_t filedOrders_ = 0;                   // so many of them are in the library's buffer
    std::deque<Filed> filed_;                  // what has not been done
    int16_t speed_[2] = {-1, -1};              // as the controller was told; -1: not known
    std::optional<MachineTrouble> returning_;  // the machine goes back to where a failed search began
    bool stopping_ = false;
    bool stopOrdered_ = false;
    Time stopSince_{};
    std::optional<Eigen::Vector3d> stoppedAt_;
    uint64_t stopAnswer_ = 0;
    std::optional<Time> stateOrderedAt_;  // measuring state

    std::deque<News> news_;
    bool homed_ = false;
    bool userEnabled_ = false;
    bool watched_ = false;
    bool linkLost_ = false;
    bool emergency_ = false;
    bool held_ = false;
    bool zeroing_ = false;
    bool scanning_ = false;
    bool leftovers_ = false;  // the controller may have messages that were dropped here
    bool headKnown_ = false;  // the angles in position_ are the head's
    std::string emergencyWords_;
    MachinePosition position_;
    uint64_t asked_ = 0, answered_ = 0;  // questions for the position
    Time askedAt_{};
    Time lastNews_{};  // of what moves
    Time resumed_{-10000};
};

}  // namespace cmm::dme
