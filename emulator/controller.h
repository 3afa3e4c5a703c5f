// The emulated controller: a machine behind the link.
#pragma once

#include <array>
#include <map>
#include <memory>

#include "command.h"
#include "link_peer.h"
#include "machine.h"
#include "protocol/vocabulary.h"

namespace emulator {

struct ControllerOptions {
    LinkOptions link;
    uint8_t type = 1;         // controllerType
    uint8_t level = 16;       // controllerLevel
    uint8_t option = 0;       // optionCode
    bool wantsTable = false;  // asks for its table at the first start
    double mmPerCount = 0.0001;
    double speed = 80;        // mm/s, until a speed command of kind 0
    double probingSpeed = 5;  // mm/s, until a speed command of kind 1
    double scanSpeed = 10;    // mm/s
    int64_t zeroingTime = kSecond;
    int64_t emergencyTime = 2 * kSecond;  // from emergency to stopped
    int64_t replyDelay = 3 * kMillisecond;
    std::shared_ptr<const Part> part;  // null: an empty table
};

/// Takes commands, moves its machine over time and reports.
class Controller final : public LinkPeer {
  public:
    explicit Controller(const ControllerOptions &options);

    /// Gives a controller event by itself: replies 30, 31, 32, 48, 50, 52 to 55, or 51 for an emergency.
    void GiveEvent(uint8_t code);

    int32_t State() const { return state_; }
    /// How often each command came, by command number.
    const std::map<int32_t, int> &Commands() const { return commands_; }
    /// The downloaded table: entries by index.
    const std::map<uint8_t, Bytes> &Table() const { return table_; }
    /// Whether no buffered message is under way or waits.
    bool IsAtRest() const { return motion_.empty(); }
    Machine::Target Position() const { return machine_.PositionAt(agenda_.Now()); }

  private:
    struct Rule;

    void OnMessage(const Bytes &message) override;
    void OnStateFault(int state) override;

    // Building and sending replies.
    void Reply(uint8_t code, const Bytes &payload = {});
    void ReplyInState(int state, uint8_t code, const Bytes &payload);
    void ReplyState() { Reply(cc::reply::kState); }
    void AcknowledgeSetting(const Command &command);
    void AcknowledgeAxes(const Command &command);
    Bytes Counts(const Vector &position) const;

    // Commands, by group.
    void GiveInformation(const Command &command);
    void TakeTable(const Command &command);
    void StartUp(const Command &command);
    void ChangeState(const Command &command);
    void StartZeroing(const Command &command);
    void ReadInfo(const Command &command);
    void WriteInfo(const Command &command);
    void ResetBuffer(const Command &command);
    void GiveTemperatures(const Command &command);
    void SwitchMessages(const Command &command);
    void TakeScanParameters(const Command &command);
    void TakeScanAxes(const Command &command);
    void SwitchAxes(const Command &command);
    void StopAtOnce(const Command &command);
    void WaitForOperator(const Command &command);
    void StopScan(const Command &command);
    void ShutDown(const Command &command);
    void ReadWords(const Command &command);
    void WriteWords(const Command &command);
    void Stream(const Command &command);
    void StopStreaming(const Command &command);
    void GiveCoordinates(const Command &command);
    void GiveWristCoordinates(const Command &command);
    void GiveParameters(const Command &command);
    void FileMotion(const Command &command);
    void Nothing(const Command &) {}
    static const Rule *FindRule(const Command &command);

    void ReportCoordinates();
    void StreamStep();

    // Buffered motion, in controller_motion.cpp.
    void RunMotion();
    void StartMovement(const Command &command);
    void EndMovement(bool probing, bool touched);
    void EndCommand(uint8_t reason = 0);
    void Collide();
    void SetSpeed(const Command &command);
    void ForgetMotion();
    void ScanStep();
    void ReportPoint();
    uint8_t CurrentClass() const { return motion_.front()[cc::at::kClass]; }
    Machine::Target TargetOf(const Command &command) const;

    void EnterState(int state);

    const ControllerOptions options_;
    Machine machine_;
    int32_t state_ = cc::state::kStopped;
    std::map<int32_t, int> commands_;
    std::map<uint8_t, Bytes> table_;
    Bytes storedInfo_ = Bytes(10);
    uint16_t words_[2] = {};
    double speed_;
    double probingSpeed_;
    std::deque<Bytes> motion_;  // messages to execute, the first under way
    bool moving_ = false;
    Agenda::Entry motionEnd_ = Agenda::kNone;
    Agenda::Entry stateEnd_ = Agenda::kNone;
    Agenda::Entry streaming_ = Agenda::kNone;
    int64_t streamPeriod_ = 0;
    std::array<Vector, 3> scanAxes_{
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};  // in the machine's, as the host told them
    Vector scanOrigin_{};
    Vector scanTarget_{};  // along the scan's axes
    double scanStep_ = 1;
};

}  // namespace emulator
