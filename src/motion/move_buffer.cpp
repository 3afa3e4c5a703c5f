#include "motion/move_buffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "link/message_queues.h"
#include "platform/floating_point.h"

namespace cc {
namespace {

// Of the whole number that a count has before its point.
int32_t Low32Bits(double count) {
    constexpr double kBeyond32Bits = 4294967296.0;
    if (!std::isfinite(count)) return 0;
    // fmod is exact and keeps the sign, so the conversion to 64 bits cannot overflow and its low 32 bits are
    // right.
    const double low = std::fmod(std::trunc(count), kBeyond32Bits);
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<int64_t>(low)));
}

}  // namespace

void MoveTemplate::Name(CommandName name, uint8_t classByte) {
    bytes[at::kClass] = classByte;
    bytes[at::kLetter] = static_cast<uint8_t>(name.letter);
    bytes[at::kLetter + 1] = static_cast<uint8_t>(name.digit1);
    bytes[at::kLetter + 2] = static_cast<uint8_t>(name.digit2);
}

void ResetMoveBuffer(MoveBuffer &moves) {
    moves.moveHistoryRead = 0;
    moves.moveRingWrite = -1;
    moves.moveHistoryWrite = -1;
    moves.moveRingRead = 0;
    moves.unclaimedEntry = 0;
    for (MoveSlot &slot : moves.moveRing) slot.Free();
    for (MoveHistoryEntry &entry : moves.moveHistory) entry.inUse = false;
    moves.movesInFlight = 0;
    moves.scanActive = false;
    moves.flushedTo = kNotFlushed;
    ++moves.resets;
}

void LayDownTemplate(MoveTemplate &moveTemplate) {
    CommandMessage message(command::G01);
    for (const char letter : {'X', 'Y', 'Z', 'M', 'N', 'F'}) message.Field(letter, 0);
    std::memcpy(moveTemplate.bytes, message.Data(), MoveTemplate::kBytes);
    moveTemplate.bytes[0] = MoveTemplate::kThroughZ - 1;
}

void FileHistory(MoveBuffer &moves, uint16_t tag, const double *approach) {
    moves.moveHistoryWrite = NextIndex(moves.moveHistoryWrite, kHistoryEntries);
    MoveHistoryEntry &entry = moves.moveHistory[moves.moveHistoryWrite];
    if (approach != nullptr) std::copy_n(approach, 3, entry.approach);
    entry.tag = tag;
    entry.inUse = true;
}

void FileMessage(MoveBuffer &moves, const uint8_t *bytes, int32_t length) {
    moves.moveRingWrite = NextIndex(moves.moveRingWrite, kMoveSlots);
    MoveSlot &slot = moves.moveRing[moves.moveRingWrite];
    std::memcpy(slot.bytes, bytes, static_cast<size_t>(length));
    slot.firstEntry = moves.unclaimedEntry;
    moves.unclaimedEntry = NextIndex(moves.moveHistoryWrite, kHistoryEntries);
    slot.length.store(static_cast<uint32_t>(length), std::memory_order_release);
}

int32_t MoveNumber(const MoveBuffer &moves, const MoveSlot &slot) {
    return static_cast<int32_t>((moves.resets << kMoveBits & INT32_MAX) |
                                static_cast<uint32_t>(slot.firstEntry + 1));
}

bool RejectFrom(MoveBuffer &moves, int32_t number) {
    const MoveSlot lost{.firstEntry = (number & ((1 << kMoveBits) - 1)) - 1};
    if (MoveNumber(moves, lost) != number) return false;
    const int32_t end = moves.unclaimedEntry;
    int32_t entry = lost.firstEntry;
    do {
        MoveHistoryEntry &rejected = moves.moveHistory[entry];
        if (rejected.inUse && rejected.tag == kScanTag) moves.scanActive = false;
        rejected.inUse = false;
        entry = NextIndex(entry, kHistoryEntries);
    } while (entry != end);
    moves.unclaimedEntry = lost.firstEntry;
    moves.moveHistoryWrite = (lost.firstEntry + kHistoryEntries - 1) % kHistoryEntries;
    for (MoveSlot &slot : moves.moveRing) slot.Free();
    moves.moveRingWrite = -1;
    moves.moveRingRead = 0;
    moves.flushedTo = kNotFlushed;
    return true;
}

void ConsumeOldestEntry(MoveBuffer &moves) {
    OldestEntry(moves).inUse = false;
    moves.moveHistoryRead = NextIndex(moves.moveHistoryRead, kHistoryEntries);
}

void ReleaseFlushedSlot(MoveBuffer &moves) {
    NextToFlush(moves).Free();
    moves.moveRingRead = NextIndex(moves.moveRingRead, kMoveSlots);
    moves.flushedTo = kNotFlushed;
}

int32_t Counts(double value, double scale, double factor) {
    const platform::FloatingPointScope scope;
    const double count = scope.Confined(value) * factor / scope.Confined(scale);
    return scope.Confined(Low32Bits(count));
}

}  // namespace cc
