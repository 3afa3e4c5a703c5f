// The state of one arm's link.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "link/framing.h"
#include "link/message_queues.h"

namespace cc {

inline constexpr int32_t kLinkRxSlots = 30;
inline constexpr int32_t kLinkDown = -1;    // of txSequence
inline constexpr int32_t kNotStarted = -1;  // of rxSequence

/// What the link did since it was reset.
struct LinkStatistics {
    uint32_t framesSent = 0;
    uint32_t framesRepeated = 0;
    uint32_t framesGivenUp = 0;
    uint32_t framesDelivered = 0;
    uint32_t acknowledgements = 0;
    uint32_t lineErrorsSent = 0;
    uint32_t lineErrorsReceived = 0;
    uint32_t startLinksSent = 0;
    uint32_t startLinksReceived = 0;
};

/// The beginnings of the last frames both ways, for a look after a failure.
struct FrameHistory {
    static constexpr int32_t kFrames = 32;
    static constexpr int32_t kBytes = 14;

    struct Frame {
        bool sent;       // by the host
        uint8_t length;  // of the whole frame
        uint8_t bytes[kBytes];
    };
    Frame frames[kFrames]{};
    int32_t next = 0;  // index of the oldest frame, overwritten next

    void Add(bool sent, const uint8_t *bytes, int32_t length);
};

/// Fields are used under `lock`, but for the atomic ones: the lock makes each step of reception, of the tick,
/// of the simulator and of the link's start exclusive. It is taken before the port's write lock, and never
/// held while a message box is shown or while sleeping.
struct LinkState {
    const uint8_t dataTypeBySeq[2] = {kData0, kData1};
    const uint8_t ackTypeBySeq[2] = {kAck0, kAck1};

    std::mutex lock;
    int32_t txSequence = 0;  // sequence of the next data frame to send; kLinkDown: the link is down
    int32_t rxSequence = 0;  // sequence of the next data frame expected; kNotStarted: none yet
    MessageSlot linkRxSlots[kLinkRxSlots];
    int32_t linkRxIndex = 0;
    uint32_t linkRunning = 0;           // 1: the tick serves the link, or its simulation
    uint16_t retryTicks = 0;            // ticks until the next transmission
    int32_t retryCount = 0;             // transmissions of the frame in flight
    uint16_t ackTimeoutTicks = 0;       // reload value of retryTicks: about one second
    uint32_t priorityInFlight = 0;      // 1: the frame in flight came from the priority queue
    bool catchingUp = false;            // reception reads all frames that lie in the input, not one an event
    uint16_t postponedTicks = 0;        // ticks that what is due has waited for reception
    const uint8_t *unposted = nullptr;  // rest of a frame that a nearly full line took a part of
    uint16_t unpostedBytes = 0;
    LinkStatistics statistics;
    FrameHistory history;

    // Ticks that the link has not counted yet; counted before the lock is tried. Relaxed: it is a mere sum.
    std::atomic<uint32_t> ticksDue{0};

    // Read by the caller's thread with each reply it takes; relaxed, as nothing else hangs on them.
    std::atomic<uint32_t> awaitingPeerStart{0};
    std::atomic<uint32_t> awaitingStartAck{0};
};

}  // namespace cc
