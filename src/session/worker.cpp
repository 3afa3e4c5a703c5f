#include "session/worker.h"

#include <atomic>

#include "arm/arm_context.h"
#include "cc_interface.h"
#include "exchange/decoder.h"
#include "exchange/flush.h"
#include "link/link_control.h"
#include "link/send_path.h"
#include "probehead/head_protocol.h"
#include "replies/worker_hold.h"

namespace cc {
namespace {

// Marks the controller's stored information as written by a host, after zeroing.
void StampStoredInfo(ArmContext &context, int16_t arm) {
    uint8_t *const storedInfo = context.replies.storedInfo;
    CC_GETINFO(arm, storedInfo);
    storedInfo[0] = 1;
    CC_SETINFO(arm, storedInfo);
}

// What the library orders by itself while no call waits for a reply. A client that started with startMode 1
// does it on its own.
void SendAutomaticCommands(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    const bool clientActs = context.session.startMode == 1;
    if (replies.zeroingDone == 1 && context.session.extendedStart != 0) {
        if (!clientActs) StampStoredInfo(context, arm);
        replies.zeroingDone = 0;
    }
    const bool toReset = replies.controllerState == state::kStopped && replies.resetStatusPending == 1;
    if (replies.controllerState == state::kZeroing || toReset) {
        if (!clientActs) CC_SETSTATUS(arm, 0);
        replies.resetStatusPending = replies.extendedInfo == 0 ? 1 : 0;
    }
}

// Asks for coordinates every 2 x coordPollPeriod + 1 ticks, once the last report has come.
void AutoCoordTick(ArmContext &context) {
    SessionState &session = context.session;
    ReplyState &replies = context.replies;
    if (session.coordPollTicks < 2 * session.coordPollPeriod) {
        ++session.coordPollTicks;
        return;
    }
    const bool silent =
        replies.controllerState == state::kEmergency || replies.controllerState == state::kNoCoordinates;
    if (replies.coordAnswered != 1 || session.autoCoordOn != 1 || silent) return;
    if (QueueMessage(context, kNormal, CommandMessage(command::A)) != 0) return;
    replies.coordAnswered = 0;
    session.coordPollTicks = 0;
}

void ServeHead(ArmContext &context, int16_t arm) {
    HeadRecord &head = context.head;
    if (head.headInUse != 1 || head.headBusy != 0) return;
    PollHead(arm);
    if (head.headEvent == kHeadWantsAutomatic) CC_PHAUTOMODE(arm);
    if (head.headEvent == kHeadError) {
        RaiseHeadError(context, arm);
        head.headEvent = kHeadNothing;
    }
}

// One run at a time, also when an exception of the client's callback ends it.
class WorkerRun {
  public:
    WorkerRun() : first_(!running.exchange(true, std::memory_order_acquire)) {}
    ~WorkerRun() {
        if (first_) running.store(false, std::memory_order_release);
    }
    WorkerRun(const WorkerRun &) = delete;
    WorkerRun &operator=(const WorkerRun &) = delete;

    bool IsFirst() const { return first_; }

  private:
    static inline std::atomic<bool> running{false};
    const bool first_;
};

void Tick(ArmContext &context, uint32_t timerId) {
    if (timerId != context.connection.mmTimerId.load(std::memory_order_relaxed)) return;
    AdvanceTickCounters(context.counters);
    LinkTick(context);
}

}  // namespace

void WorkerStep(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    if (context.connection.workerActive != 1) return;
    DecodeReplies(arm);
    if (context.connection.connectionOpen == 0) return;  // the client closed the arm in its callback
    if (context.replies.awaitedReply == kNothingAwaited) SendAutomaticCommands(context, arm);
    if (context.connection.connectionOpen == 0) return;
    FlushMoveRing(arm);
    AutoCoordTick(context);
    ServeHead(context, arm);
}

bool RunWorker() {
    const WorkerRun run;
    if (!run.IsFirst()) return false;
    for (const int16_t arm : {1, 2}) {
        if (IsWorkerHeld(SelectArm(arm).replies)) return false;
    }
    for (const int16_t arm : {1, 2}) {
        if (SelectArm(arm).connection.workerRegistered == 1) WorkerStep(arm);
    }
    return true;
}

}  // namespace cc

using namespace cc;

void CC_CALL L2HI_WORKER(void *, uint32_t, uintptr_t, uint32_t) {
    RunWorker();
}

int16_t CC_CALL L2HI_WORKER_TEMP(void) {
    return 1;
}

void CC_CALL LEV2_MANAGER(uint32_t timerId, uint32_t, uintptr_t, uintptr_t, uintptr_t) {
    if (timerId == 0) return;
    Tick(SelectArm(1), timerId);
    Tick(SelectArm(2), timerId);
}
