// The move buffer: messages of buffered motion that wait for the controller, and the history by which its
// acknowledgements and touch points are matched to them.
#pragma once

#include <atomic>
#include <cstdint>

#include "link/message_queues.h"
#include "protocol/command_message.h"

namespace cc {

inline constexpr int32_t kMoveSlots = 64;
inline constexpr int32_t kMoveSlotBytes = 64;
inline constexpr int32_t kHistoryEntries = 128;

/// Most messages in flight, on a controller and in simulation mode.
inline constexpr int32_t kMovesInFlight = 14;
inline constexpr int32_t kSimulatedMovesInFlight = 2;

/// Tags of history entries: from kFirstReportTag on they are report codes, below it point ids.
inline constexpr uint16_t kFirstReportTag = 65504;
inline constexpr uint16_t ReportTag(uint16_t code) {
    return static_cast<uint16_t>(kFirstReportTag + code);
}
inline constexpr uint16_t kScanTag = ReportTag(16);

/// One message. The producer writes the length last (release), the consumer clears it last.
struct MoveSlot {
    std::atomic<uint32_t> length{0};  // 0: the slot is free
    int32_t firstEntry = 0;           // of the history, of those that its command filed
    uint8_t bytes[kMoveSlotBytes]{};

    bool IsBusy() const { return length.load(std::memory_order_acquire) != 0; }
    void Free() { length.store(0, std::memory_order_release); }
};

struct MoveHistoryEntry {
    bool inUse = false;
    uint16_t tag = 0;
    double approach[3]{};  // as the caller gave them
};

/// The image of the linear move message, kept between calls: what a command does not rewrite keeps its last
/// value.
struct MoveTemplate {
    static constexpr int32_t kBytes = 35;
    // Offsets of the values, each behind its letter.
    enum Field { X = 6, Y = 11, Z = 16, M = 21, N = 26, F = 31 };
    // Sizes of the messages that end with Z, M, N and F.
    static constexpr int32_t kThroughZ = 20, kThroughM = 25, kThroughN = 30, kThroughF = 35;

    uint8_t bytes[kBytes]{};

    void Set(Field field, int32_t value) { WriteU32(bytes + field, static_cast<uint32_t>(value)); }
    void Name(CommandName name, uint8_t classByte);
};

inline constexpr int32_t kNotFlushed = -1;

struct MoveBuffer {
    MoveSlot moveRing[kMoveSlots];
    int32_t moveRingWrite = -1;  // slot filled last
    int32_t moveRingRead = 0;    // slot to flush next
    MoveHistoryEntry moveHistory[kHistoryEntries];
    int32_t moveHistoryWrite = -1;  // entry written last
    int32_t moveHistoryRead = 0;    // oldest entry not consumed
    int32_t unclaimedEntry = 0;     // the first that belongs to no message yet
    int32_t movesInFlight = 0;      // messages flushed and not acknowledged, never below 0
    int32_t maxMovesInFlight = 0;
    bool scanActive = false;          // until the scan start is acknowledged
    int32_t flushedTo = kNotFlushed;  // slot of the send queue that holds the slot to flush already
    uint32_t resets = 0;              // so far, wrapping
    MoveTemplate moveTemplate;
};

/// Empties ring and history and forgets what is in flight and an active scan.
void ResetMoveBuffer(MoveBuffer &moves);

/// Lays down the template: "G01" with all fields 0.
void LayDownTemplate(MoveTemplate &moveTemplate);

/// Writes the next history entry. approach: three doubles, or null to leave the entry's values.
void FileHistory(MoveBuffer &moves, uint16_t tag, const double *approach);

/// Puts a message of at most kMoveSlotBytes into the next ring slot, overwriting what is there.
void FileMessage(MoveBuffer &moves, const uint8_t *bytes, int32_t length);

/// The number of a filed message, for MessageSlot::move.
int32_t MoveNumber(const MoveBuffer &moves, const MoveSlot &slot);

/// Rejects the message with that number and all that was filed behind it: their history entries, and the whole ring.
/// What was sent before it is still awaited. Result: false, with nothing done, when the buffer was reset since.
bool RejectFrom(MoveBuffer &moves, int32_t number);

/// The oldest history entry.
inline MoveHistoryEntry &OldestEntry(MoveBuffer &moves) {
    return moves.moveHistory[moves.moveHistoryRead];
}

/// Consumes the oldest history entry.
void ConsumeOldestEntry(MoveBuffer &moves);

/// The slot to flush next.
inline MoveSlot &NextToFlush(MoveBuffer &moves) {
    return moves.moveRing[moves.moveRingRead];
}

/// Frees the slot to flush and goes on to the next one.
void ReleaseFlushedSlot(MoveBuffer &moves);

/// value x factor / scale, in 64-bit floating point whatever the client's environment says, truncated toward
/// zero; a count beyond 32 bits keeps its low 32, what is no finite number is 0.
int32_t Counts(double value, double scale, double factor = 1.0);

}  // namespace cc
