// What the reply decoder keeps for one arm. Used on the caller's thread only.
#pragma once

#include <cstdint>

#include "cc_interface.h"
#include "link/message_queues.h"
#include "protocol/vocabulary.h"

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

    int32_t awaitedReply = kNothingAwaited;  // what the current call waits for
    int32_t controllerState = state::kUnknown;
    int32_t coordAnswered = 0;  // 1: no coordinate request of the worker's is outstanding
    CoordQuery coordQuery = CoordQuery::None;
    int32_t linkFaultNotified = 0;    // 1: event 1 reported a link fault, or nothing yet
    int32_t infoSeen = 0;             // 1: controller information has come
    int32_t extendedInfo = 0;         // 1: controllerType is 2, 4, 5 or 16
    int32_t resumeNotifyPending = 0;  // 1: the next state reply reports event 19
    int32_t p10Sent = 0;              // 1: P10 was sent and reply 53 has not come
    uint32_t zeroingDone = 0;         // 1: the end of zeroing has come and the worker has not acted on it
    uint32_t resetStatusPending = 0;  // 1: the worker may send status 0 in state 2

    uint8_t storedInfo[10]{};
    uint16_t ioWords[2]{};
    uint16_t temperatureWords[33]{};  // 32 temperatures and the count word
    ControllerInfo controllerInfo{};
    PointRecord pointRecord{};

    uintptr_t heldBy = 0;  // see WorkerHold; the one field that other threads read, by std::atomic_ref
};

/// Value of ControllerInfo::optionCode that brings the P10 exchanges.
inline constexpr uint16_t kOptionP10 = 4;

}  // namespace cc
