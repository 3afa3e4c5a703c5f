#include "exchange/flush.h"

#include "exchange/waits.h"
#include "link/send_path.h"

namespace cc {
namespace {

// Puts the next slot into the send queue and waits for its acknowledgement. A message that is there since an
// earlier flush is not queued again: the link repeats its frame by itself, and an incremental move must not
// run twice.
bool SendSlot(ArmContext &context) {
    MoveBuffer &moves = context.motion;
    const MessageQueues &queues = context.link.queues;
    if (moves.flushedTo != kNotFlushed && !queues.sendQueue[moves.flushedTo].IsBusy()) return true;
    if (moves.flushedTo == kNotFlushed) {
        const MoveSlot &slot = NextToFlush(moves);
        const auto length = static_cast<int32_t>(slot.length.load(std::memory_order_acquire));
        const int32_t sendSlot = queues.sendWrite;
        if (!QueueMessage(context.link, kNormal, length, slot.bytes)) return false;
        moves.flushedTo = sendSlot;
    }
    return WaitForAck(context);
}

}  // namespace

void FlushMoveRing(ArmContext &context) {
    MoveBuffer &moves = context.motion;
    if (context.replies.controllerState != state::kMeasuring) return;
    while (NextToFlush(moves).IsBusy() && moves.movesInFlight < moves.maxMovesInFlight) {
        if (!SendSlot(context)) return;
        ++moves.movesInFlight;
        ReleaseFlushedSlot(moves);
    }
}

}  // namespace cc
