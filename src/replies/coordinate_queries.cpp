// Where the machine is and in which status its controller: the exported queries.
#include "cc_interface.h"
#include "interface/call_frame.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "replies/decoder.h"

using namespace cc;

namespace {

// The client's numbering of controller states.
constexpr struct {
    int32_t state;
    int16_t status;
} kStatuses[] = {
    {0, 3}, {1, 0}, {2, 2}, {3, 1}, {6, 4}, {7, 2}, {8, 2}, {9, 2}, {10, 4},
};
constexpr int16_t kUnknownStatus = -1;

// Waits for the link acknowledgement and then for a coordinate report. Result: 0 when the wait could not be
// made.
int16_t WaitForCoordinates(ArmContext &context, int16_t arm) {
    const uint16_t limit = CompletionLimit(context);
    const TickCounter counter(context.counters);
    if (!counter.IsTaken() || WaitForAck(context) == 0) return 0;
    WaitForCompletion(arm);
    while (context.replies.coordAnswered == 0 && counter.Ticks() < limit && IsTicking(context)) {
        DecodeReplies(arm);
        if (context.replies.coordAnswered == 0) platform::Yield();
    }
    return 1;
}

int16_t AskForCoordinates(int16_t arm, CommandName request) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    ReplyState &replies = context->replies;
    // The worker's own request, if one is out, stays out.
    const int32_t answeredBefore = replies.coordAnswered;
    const bool silent =
        replies.controllerState == state::kEmergency || replies.controllerState == state::kNoCoordinates;
    if (!silent) QueueMessage(*context, kNormal, CommandMessage(request));
    replies.coordAnswered = 0;
    const int16_t result = WaitForCoordinates(*context, arm);
    replies.coordAnswered = answeredBefore;
    return result;
}

}  // namespace

int16_t CC_CALL CC_GETCOORD(int16_t arm) {
    return AskForCoordinates(arm, command::A);
}

int16_t CC_CALL CC_GETWRISTCOORD(int16_t arm) {
    return AskForCoordinates(arm, command::B);
}

int16_t CC_CALL CC_GETRTCOORD(int16_t arm) {
    return CC_GETWRISTCOORD(arm);
}

int16_t CC_CALL CC_GETSTATUS(int16_t arm) {
    const ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return kUnknownStatus;
    for (const auto &[state, status] : kStatuses) {
        if (state == context->replies.controllerState) return status;
    }
    return kUnknownStatus;
}
