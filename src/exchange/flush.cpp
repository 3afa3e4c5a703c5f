#include "exchange/flush.h"

#include "exchange/waits.h"
#include "link/link_control.h"
#include "link/send_path.h"

namespace cc {
namespace {

// Puts the next slot into the send queue and waits for its acknowledgement. A message that is there since an
// earlier flush is not queued again: the link repeats its frame by itself, and an incremental move must not
// run twice.
bool SendSlot(ArmContext &context) {
    MoveBuffer &moves = context.motion;
    LinkState &link = context.link;
    const MessageQueues &queues = link.queues;
    if (moves.flushedTo != kNotFlushed && !queues.sendQueue[moves.flushedTo].IsBusy())
        return link.lostMove.load(std::memory_order_relaxed) == kNoMove;
    if (moves.flushedTo == kNotFlushed) {
        const int32_t sendSlot = queues.sendWrite;
        if (!QueueOldestMove(context)) return false;
        moves.flushedTo = sendSlot;
    }
    return WaitForAckOf(context, queues.sendQueue[moves.flushedTo]);
}

}  // namespace

bool QueueOldestMove(ArmContext &context) {
    const MoveSlot &slot = NextToFlush(context.motion);
    const auto length = static_cast<int32_t>(slot.length.load(std::memory_order_acquire));
    return QueueMove(context.link, length, slot.bytes, MoveNumber(context.motion, slot));
}

void FileMove(ArmContext &context, const uint8_t *bytes, int32_t length) {
    FileMessage(context.motion, bytes, length);
    Tell(context.link);
}

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
