// The record of one arm's link.
#pragma once

#include <atomic>
#include <cstdint>

#include "link/arm_port.h"
#include "link/controller_simulator.h"
#include "link/framing.h"
#include "link/link_history.h"
#include "link/message_queues.h"
#include "link/tick_counters.h"
#include "platform/event.h"
#include "platform/mutex.h"
#include "trace/trace_file.h"

namespace cc {

inline constexpr int32_t kLinkRxSlots = 30;
inline constexpr int32_t kLinkDown = -1;    // of txSequence
inline constexpr int32_t kNotStarted = -1;  // of rxSequence

/// The lock makes each step of reception, of the tick, of the simulator and of the link's start exclusive. It is
/// taken before the port's write lock, and never held while a message box is shown or while sleeping. Reception may
/// hold it for the seconds of a write that the line does not take.
struct LinkState {
    LinkState(MessageQueues &messageQueues, TraceFile &traceFile)
        : queues(messageQueues), trace(traceFile), port(*this) {}

    const uint8_t dataTypeBySeq[2] = {kData0, kData1};
    const uint8_t ackTypeBySeq[2] = {kAck0, kAck1};

    MessageQueues &queues;
    TraceFile &trace;
    TickCounters counters;
    platform::Event ackEvent;  // open: commands wait for link acknowledgements

    // Whatever a wait of the caller's thread on a prompt line may be for: an acknowledgement, a reply, the link's loss
    // or return.
    platform::Event progress;

    // Set while nothing of the arm runs.
    bool promptLine = false;  // sends, receives and wakes at once, not by ticks, and gives nothing twice
    bool simulationMode = false;
    bool mmTimerRunning =
        false;  // the multimedia timer ticks, without which nothing is sent and no wait ends

    // Whoever files a message with priority, which is the one queue that two threads may fill: an emergency comes from
    // any. Nothing blocks under it, and it is taken before the next one. Closing the arm waits for it too.
    platform::Mutex urgentLock;

    platform::Mutex lock;
    int32_t txSequence CC_GUARDED_BY(lock) =
        0;  // of the next data frame to send; kLinkDown: the link is down
    int32_t rxSequence CC_GUARDED_BY(lock) = 0;  // of the next data frame expected; kNotStarted: none yet
    MessageSlot linkRxSlots[kLinkRxSlots] CC_GUARDED_BY(lock);
    int32_t linkRxIndex CC_GUARDED_BY(lock) = 0;
    bool linkRunning CC_GUARDED_BY(lock) = false;       // the tick serves the link, or its simulation
    uint16_t retryTicks CC_GUARDED_BY(lock) = 0;        // ticks until the next transmission
    int32_t retryCount CC_GUARDED_BY(lock) = 0;         // transmissions of the frame in flight
    uint16_t ackTimeoutTicks CC_GUARDED_BY(lock) = 0;   // reload value of retryTicks: about one second
    bool priorityInFlight CC_GUARDED_BY(lock) = false;  // the frame in flight came from the priority queue
    bool rxDelivered CC_GUARDED_BY(lock) = false;  // a data frame has come since the controller's start-link
    bool catchingUp CC_GUARDED_BY(lock) = false;   // reception reads all that lies there, not one an event
    uint16_t postponedTicks CC_GUARDED_BY(lock) = 0;  // since what is due waits for reception; 0: it does not
    const uint8_t *unposted CC_GUARDED_BY(lock) = nullptr;  // rest of a frame that a full line took a part of
    uint16_t unpostedBytes CC_GUARDED_BY(lock) = 0;
    // Prompt line: start-links of the last second without an answer, those of them that belong to a link given up since, and
    // when the last one was sent, in `ticks`.
    uint16_t unansweredStarts CC_GUARDED_BY(lock) = 0;
    uint16_t staleStarts CC_GUARDED_BY(lock) = 0;
    uint32_t startTick CC_GUARDED_BY(lock) = 0;
    SimulatorState simulator CC_GUARDED_BY(lock);
    LinkStatistics statistics CC_GUARDED_BY(lock);
    FrameHistory history CC_GUARDED_BY(lock);

    // All ticks since the library was loaded, wrapping, for the waits of a prompt line. Relaxed: a mere count.
    std::atomic<uint32_t> ticks{0};
    // Ticks that the link has not counted yet; counted before the lock is tried. Relaxed: it is a mere sum.
    std::atomic<uint32_t> ticksDue{0};

    // A prompt line's frame waits to be sent; SendPromptly and the tick look when they give the lock up. Sequentially
    // consistent, so that either the asking thread finds the lock free or one of them finds the wish.
    std::atomic<bool> sendWanted{false};

    // What a prompt line tells the caller's thread. `lostMove` and `lostSlot` are written before the slot is freed.
    std::atomic<uint32_t> losses{0};         // how often the link was given up
    std::atomic<int32_t> lostMove{kNoMove};  // the first message of the move buffer that was dropped
    std::atomic<const MessageSlot *> lostSlot{nullptr};  // the slot that was given up last
    MessageSlot *lastQueued = nullptr;                   // of the caller's thread: the command queued last

    // Read by the caller's thread with each reply it takes; relaxed, as nothing else hangs on them.
    std::atomic<bool> awaitingPeerStart{false};
    std::atomic<bool> awaitingStartAck{false};

    CArmPort port;  // the last, so that its thread ends before what it uses
};

}  // namespace cc
