// What the reply decoder keeps for one arm. Used on the caller's thread, but where a field says otherwise.
#pragma once

#include <atomic>
#include <cstdint>

#include "cc_interface.h"
#include "link/message_queues.h"
#include "protocol/vocabulary.h"
#include "replies/awaited_reply.h"

namespace cc {

/// A message as long as a queue slot can hold, so that every reply and every payload fits.
inline constexpr int32_t kReplyBytes = MessageSlot::kBytes;

/// What a coordinate query of the client's waits for.
enum class CoordQuery {
    None,
    OwnReport,  // the answer to its request: the next coordinate report
    AnyReport,  // it sent nothing; a report answers the worker's request or is the controller's own
};

struct ReplyState {
    CC_NOTIFY notifyCallback = nullptr;
    uint8_t replyBuffer[kReplyBytes]{};  // the reply decoded last; bytes behind its end are 0
    uint8_t notifyPayload[kReplyBytes]{};

    int32_t awaitedReply = awaited::kNothing;  // what the current call waits for
    int32_t controllerState =
        state::kUnknown;         // changed by TakeState, as an emergency of another thread reads it
    bool coordAnswered = false;  // no coordinate request of the worker's is outstanding
    CoordQuery coordQuery = CoordQuery::None;
    bool linkFaultNotified = false;    // event 1 reported a link fault, or nothing yet
    uint32_t lossesReported = 0;       // of LinkState::losses
    bool infoSeen = false;             // controller information has come
    bool extendedInfo = false;         // controllerType is 2, 4, 5 or 16
    bool resumeNotifyPending = false;  // the next state reply reports event 19
    bool p10Sent = false;              // P10 was sent and reply 53 has not come
    bool zeroingDone = false;          // the end of zeroing has come and the worker has not acted on it
    bool resetStatusPending = false;   // the worker may send status 0 in state 2

    uint8_t storedInfo[10]{};
    uint16_t ioWords[2]{};
    uint16_t temperatureWords[33]{};  // 32 temperatures and the count word
    ControllerInfo controllerInfo{};
    PointRecord pointRecord{};

    uintptr_t heldBy = 0;  // see WorkerHold; other threads read it by std::atomic_ref
};

/// The controller's state is this from now on. Relaxed here and in whoever reads it on another thread: nothing else hangs
/// on it.
inline void TakeState(ReplyState &replies, int32_t newState) {
    std::atomic_ref(replies.controllerState).store(newState, std::memory_order_relaxed);
}

/// Folds an answer into awaitedReply. The exclusive or leaves "nothing" when the answer is the awaited one. Any other
/// answer leaves a value that only itself can undo, so that the wait goes on to its limit: a state or a parameter
/// set that nobody asked for never completes a command, and a controller that changes its state to and fro
/// leaves the wait as it was.
inline void FoldAnswer(ReplyState &replies, int32_t answer) {
    replies.awaitedReply ^= answer;
}

}  // namespace cc
