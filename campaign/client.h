// The measuring program of a session: it calls the library, keeps account of its moves, and checks what it is told.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "account.h"
#include "cc_interface.h"
#include "far_end.h"

namespace campaign {

/// Of both arms, in mm and in the wrist's unit.
inline constexpr double kLinearScale = 0.0001;
inline constexpr double kWristScale = 0.01;
inline constexpr double kSingleArmWristScale = 1.0;

class Client {
  public:
    Client(const Plan &plan, Account &account, bool tells);
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    const ArmPlan &PlanOf(int arm) const { return plan_.arms[arm - 1]; }
    Account &TheAccount() { return account_; }
    FarEnd &FarEndOf(int arm) { return *arms_[arm - 1].farEnd; }
    bool HasLine(int arm) const { return !PlanOf(arm).simulated; }
    bool IsOpen(int arm) const { return arms_[arm - 1].open; }
    double WristScale(int arm) const { return PlanOf(arm).singleArm ? kSingleArmWristScale : kWristScale; }
    /// µs for which the line to the controller has been open.
    int64_t OpenTime(int arm) const { return arms_[arm - 1].openTime; }
    /// Counts from 1, for arguments that make each message the only one of its bytes.
    int NextNumber() { return ++number_; }
    void Tell(const std::string &text) const;
    /// Something is disturbed from now on.
    void NoteFault() { faultless_ = false; }

    /// Runs a call of an arm and keeps account of it. limitMs: see Limits. On an arm that is not open the call must give
    /// `failure` at once. Result: the call's.
    int Run(int arm, const std::string &text, Promise promise, int limitMs, int failure,
            const std::function<int()> &run);

    /// Calls the function of an arm, or where its program is written for one arm the entry point without a number.
    template <typename Result, typename... Arguments>
    Result Use(int arm, Result (*function)(int16_t, Arguments...), Result (*singleArm)(Arguments...),
               std::type_identity_t<Arguments>... arguments) const {
        return PlanOf(arm).singleArm ? singleArm(arguments...)
                                     : function(static_cast<int16_t>(arm), arguments...);
    }
    int16_t Status(int arm) const { return Use(arm, CC_GETSTATUS, L2_GETSTATUS); }

    void Open(int arm);
    void Close(int arm, int16_t shutdownMode);
    /// Lets the client's loop run.
    void Loop(int milliseconds);
    /// Orders an emergency as another thread would, after that many microseconds, whatever the program does then.
    void OrderEmergencyLater(int arm, int16_t code, int64_t microseconds);
    /// No emergency comes that was ordered for later.
    void ForgetEmergencies() { ++emergenciesForgotten_; }
    int OrderEmergency(int arm, int16_t code) { return Use(arm, CC_EMERGENCY, L2_EMERGENCY, code); }

    /// Files something random, if the client may; see MayFile.
    void File(int arm, Random &random);
    /// Does the next time that an event of this arm comes what may be done in a callback.
    void ActInCallback(int arm, Random random) {
        arms_[arm - 1].inCallback = std::make_unique<Random>(random);
    }
    /// Empties the move buffer. The machine may go on with what was sent.
    void ResetMoves(int arm);
    void Reset(int arm);
    /// Brings an arm to measuring state and its machine to rest, if the faults allow it. Result: whether the client may
    /// file moves.
    bool Prepare(int arm);
    /// Waits until neither machine nor host has anything to do with moves, and settles their account. Result: whether they
    /// came to rest.
    bool Rest(int arm);
    /// Runs a scan to its end, or stops it.
    void Scan(Random &random);

    // Longest times by the rules, in ms.
    int CompletionMs(int arm) const { return (2 * PlanOf(arm).timeoutS + 1) * 1000 + kSlackMs; }
    static constexpr int kSlackMs = 500;
    static constexpr int kAckMs = 3000 + 1000 + kSlackMs;  // with a second for frames that lie unread
    int HeadMs(int arm) const { return 11 * (PlanOf(arm).headTimeoutS * 1000 + kSlackMs); }
    static constexpr int kLinkMs = 12 * 1000 + kSlackMs;
    int RestartMs(int arm) const { return 5 * CompletionMs(arm) + kLinkMs; }
    int WorkerMs() const;

    void OnEvent(int arm, int32_t event, uint32_t info, const void *data);
    void OnBox(const std::string &text);

  private:
    struct Arm {
        std::unique_ptr<FarEnd> farEnd;
        bool open = false;
        bool opening = false;  // inside CC_INIT
        bool mayFile = false;  // nothing of the time before a reset or rejection is under way
        bool scanning = false;
        bool telling = true;   // moves are told as they should be, as far as known
        int64_t opened = 0;    // when, µs
        int64_t openTime = 0;  // of earlier openings
        long traceRead = 0;    // bytes
        size_t firstOpen = 0;  // of the moves
        std::unique_ptr<Random> inCallback;
        std::string iniFile;
    };

    void OrderEmergencyNow(int arm, int16_t code);
    int RunWorker(int milliseconds);
    int Dispatch();
    int LongestPeriodMs() const;
    Arm &Of(int arm) { return arms_[arm - 1]; }
    ArmAccount &AccountOf(int arm) { return account_.arms[arm - 1]; }
    uint16_t Flags(int arm) const;
    int OpeningMs(int arm) const;
    void ReadTrace(int arm, int64_t time, int call);
    void ReadTraces(int64_t time, int call);
    void WatchStates();
    void FileProbing(int arm, Random &random, int own);
    void FileOne(int arm, Random &random, int own);
    FiledMove *OldestMove(int arm);
    void EndOpenMoves(int arm, FiledMove::End end);
    bool MovesAreDoubtful(int arm) const;
    void OnMoveDone(int arm, uint32_t info);
    void OnPoint(int arm, uint32_t info, const PointRecord &point);
    void OnRejection(int arm, uint32_t info);
    void Misreported(int arm, const std::string &what);

    const Plan &plan_;
    Account &account_;
    const bool tells_;
    Arm arms_[2];
    int number_ = 0;
    bool faultless_ = true;
    int emergenciesForgotten_ = 0;  // how often

    // Where the program is at present.
    int call_ = kNoCall;     // index of the call; kNoCall: in its loop
    int64_t callBegin_ = 0;  // µs
};

}  // namespace campaign
