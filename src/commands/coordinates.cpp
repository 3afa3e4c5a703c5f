// Where the machine is and in which status its controller: the exported queries.
#include "cc_interface.h"
#include "exchange/decoder.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "platform/clock.h"

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
constexpr uint32_t kProgressMs = 10;  // between looks at the limit of a wait

// Waits for the link acknowledgement of a request that was sent, and then for a coordinate report. Result: false
// when the wait could not be made.
bool WaitForCoordinates(ArmContext &context, int16_t arm, bool sent) {
    WaitLimit limit(context);
    if (!limit.IsCounted() || (sent && !WaitForAck(context))) return false;
    WaitForCompletion(context, arm);
    while (context.replies.coordQuery != CoordQuery::None && !limit.IsOver()) {
        if (DecodeReplies(context, arm)) continue;
        if (context.link.promptLine) {
            AwaitProgress(context, kProgressMs);
        } else {
            platform::Yield();
        }
    }
    return true;
}

bool AskForCoordinates(ArmContext *context, int16_t arm, CommandName request) {
    if (context == nullptr) return false;
    ReplyState &replies = context->replies;
    const bool silent =
        replies.controllerState == state::kEmergency || replies.controllerState == state::kNoCoordinates;
    if (!silent) QueueMessage(context->link, kNormal, CommandMessage(request));
    replies.coordQuery = silent ? CoordQuery::AnyReport : CoordQuery::OwnReport;
    const bool asked = WaitForCoordinates(*context, arm, !silent);
    replies.coordQuery = CoordQuery::None;
    return asked;
}

}  // namespace

int16_t CC_CALL CC_GETCOORD(int16_t arm) {
    return AskForCoordinates(OpenArm(arm), arm, command::A);
}

int16_t CC_CALL CC_GETWRISTCOORD(int16_t arm) {
    return AskForCoordinates(OpenArm(arm), arm, command::B);
}

int16_t CC_CALL CC_GETRTCOORD(int16_t arm) {
    return AskForCoordinates(OpenArm(arm), arm, command::B);
}

int16_t CC_CALL CC_GETSTATUS(int16_t arm) {
    const ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return kUnknownStatus;
    for (const auto &[state, status] : kStatuses) {
        if (state == context->replies.controllerState) return status;
    }
    return kUnknownStatus;
}
