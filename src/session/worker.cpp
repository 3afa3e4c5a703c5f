#include "session/worker.h"

#include "cc_interface.h"
#include "commands/head.h"
#include "commands/modes.h"
#include "commands/settings.h"
#include "exchange/decoder.h"
#include "exchange/flush.h"
#include "exchange/lost_line.h"
#include "link/link_control.h"
#include "link/send_path.h"
#include "probehead/head_protocol.h"
#include "replies/worker_hold.h"
#include "session/worker_timer.h"

namespace cc {
namespace {

// Marks the controller's stored information as written by a host, after zeroing.
void StampStoredInfo(ArmContext &context, int16_t arm) {
    ReadStoredInfo(context, arm);
    if (!context.connection.connectionOpen) return;  // the client closed the arm in its callback
    context.replies.storedInfo[0] = 1;
    WriteStoredInfo(context, arm, context.replies.storedInfo);
}

// What the library orders by itself while no call waits for a reply. A client that started with startMode 1
// does it on its own.
void SendAutomaticCommands(ArmContext &context, int16_t arm) {
    ReplyState &replies = context.replies;
    const bool clientActs = context.session.ClientActs();
    if (replies.zeroingDone && context.session.extendedStart) {
        if (!clientActs) StampStoredInfo(context, arm);
        replies.zeroingDone = false;
    }
    const bool toReset = replies.controllerState == state::kStopped && replies.resetStatusPending;
    if (replies.controllerState == state::kZeroing || toReset) {
        if (!clientActs && context.connection.connectionOpen) OrderStatus(context, arm, CC_ORDER_READY);
        replies.resetStatusPending = !replies.extendedInfo;
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
    if (!replies.coordAnswered || !session.autoCoordOn || silent) return;
    if (!QueueMessage(context.link, kNormal, CommandMessage(command::A))) return;
    replies.coordAnswered = false;
    session.coordPollTicks = 0;
}

void ServeHead(ArmContext &context) {
    ProbeHead &head = context.head;
    if (!head.headInUse || head.headBusy) return;
    PollHead(head);
    if (head.headEvent == kHeadWantsAutomatic) SetHeadAutomatic(context);
    if (head.headEvent == kHeadError) {
        RaiseHeadError(context);
        head.headEvent = kHeadNothing;
    }
}

// One run at a time, also when an exception of the client's callback ends it.
class WorkerRun {
  public:
    WorkerRun() : first_(!workerTimer.running.exchange(true, std::memory_order_acquire)) {}
    ~WorkerRun() {
        if (first_) workerTimer.running.store(false, std::memory_order_release);
    }
    WorkerRun(const WorkerRun &) = delete;
    WorkerRun &operator=(const WorkerRun &) = delete;

    bool IsFirst() const { return first_; }

  private:
    const bool first_;
};

}  // namespace

void WorkerStep(ArmContext &context, int16_t arm, bool periodic) {
    if (!context.connection.workerActive) return;
    DecodeReplies(context, arm);
    if (!context.connection.connectionOpen) return;  // the client closed the arm in its callback
    if (context.replies.awaitedReply == awaited::kNothing) SendAutomaticCommands(context, arm);
    if (!context.connection.connectionOpen) return;
    FlushMoveRing(context);
    if (HasReply(context.link)) Tell(context.link);
    if (!periodic) return;
    AutoCoordTick(context);
    ServeHead(context);
    ServeLostLine(context);
}

bool RunWorker(bool periodic) {
    const WorkerRun run;
    if (!run.IsFirst()) return false;
    for (const int16_t arm : {1, 2}) {
        if (IsWorkerHeld(SelectArm(arm).replies)) return false;
    }
    for (const int16_t arm : {1, 2}) {
        ArmContext &context = SelectArm(arm);
        if (context.connection.workerRegistered) WorkerStep(context, arm, periodic);
    }
    return true;
}

}  // namespace cc

using namespace cc;

void CC_CALL L2HI_WORKER(void *, uint32_t, uintptr_t, uint32_t) {
    RunWorker(true);
}

int16_t CC_CALL L2HI_WORKER_TEMP(void) {
    return 1;
}
