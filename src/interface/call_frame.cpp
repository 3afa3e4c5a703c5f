#include "interface/call_frame.h"

#include "link/link_control.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "platform/message_box.h"
#include "replies/decoder.h"

namespace cc {
namespace {

constexpr int kSendAttempts = 4;
constexpr uint32_t kDecodeIntervalMs = 10;

int16_t SendAndComplete(ArmContext &context, int16_t arm, const CommandMessage &message, bool &queued) {
    queued = QueueMessage(context, kNormal, message) == 0;
    return queued ? WaitForCompletion(arm) : int16_t{0};
}

}  // namespace

int16_t WaitForAck(ArmContext &context, uint32_t timeoutMs) {
    platform::Event &ackEvent = context.connection.ackEvent;
    if (context.connection.simulationMode != 0 || !ackEvent.IsOpen()) return 1;
    if (ackEvent.Wait(timeoutMs)) return 1;
    platform::ShowMessageBox(" No ACK Received ");
    return 0;
}

bool IsTicking(const ArmContext &context) {
    return context.connection.mmTimerRunning != 0;
}

uint16_t CompletionLimit(const ArmContext &context) {
    const int32_t ticks = context.settings.timeoutTicks;
    return static_cast<uint16_t>(context.connection.workerActive != 0 ? ticks : 2 * ticks);
}

int16_t WaitForCompletion(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    const uint16_t limit = CompletionLimit(context);
    const TickCounter counter(context.counters);
    if (!counter.IsTaken()) return 0;
    while (context.replies.awaitedReply != kNothingAwaited && counter.Ticks() < limit && IsTicking(context)) {
        platform::Sleep(kDecodeIntervalMs);
        DecodeReplies(arm);
    }
    return context.replies.awaitedReply == kNothingAwaited ? 1 : 0;
}

int16_t SendWithRetries(ArmContext &context, int16_t arm, const CommandMessage &message) {
    if (context.connection.simulationMode != 0) return 1;
    bool queued = true;
    for (int attempt = 0; attempt < kSendAttempts; ++attempt) {
        if (SendAndComplete(context, arm, message, queued) != 0) return 1;
        if (!queued) return 0;
    }
    ForceLinkDown(context);
    if (LinkStart(context) != 0) return 0;
    return SendAndComplete(context, arm, message, queued);
}

}  // namespace cc
