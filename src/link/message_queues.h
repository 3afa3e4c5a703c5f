// The fixed rings of messages between the caller's thread and the link.
#pragma once

#include <atomic>
#include <cstdint>

namespace cc {

/// Which message of the move buffer a slot holds: any number that its sender gives, or this. The numbers of what one
/// reset of the move buffer separates differ above kMoveBits. 0, so that the queues need no place in the library's file.
inline constexpr int32_t kNoMove = 0;
inline constexpr int kMoveBits = 8;

/// One message, or in a send queue of a real port its frame. The length is the hand-over between the ring's
/// one producer and its one consumer: the producer writes it last (release), the consumer reads it first
/// (acquire).
struct MessageSlot {
    static constexpr int32_t kBytes = 256;

    std::atomic<uint16_t> length{0};  // valid bytes; 0: the slot is free
    bool dropped = false;             // of a send queue: never sent; under the link lock
    int32_t move = kNoMove;           // of a send queue: which message of the move buffer it is
    uint8_t data[kBytes]{};

    bool IsBusy() const { return length.load(std::memory_order_acquire) != 0; }
    uint16_t Length() const { return length.load(std::memory_order_acquire); }
    void Publish(uint16_t bytes) { length.store(bytes, std::memory_order_release); }
    void Free() { length.store(0, std::memory_order_release); }
};

inline constexpr int32_t kSendSlots = 10000;
inline constexpr int32_t kPrioritySlots = 10;
inline constexpr int32_t kReplySlots = 10000;

/// The queues of one arm. Producer indexes belong to their producer, that of the priority queue to whoever holds
/// LinkState::urgentLock; the consumer indexes of the send queues
/// are moved under the link lock, that of the reply queue on the caller's thread.
struct MessageQueues {
    MessageSlot sendQueue[kSendSlots];
    MessageSlot prioritySendQueue[kPrioritySlots];
    MessageSlot replyQueue[kReplySlots];

    int32_t sendRead = 0;
    int32_t sendWrite = 0;
    int32_t priorityRead = 0;
    int32_t priorityWrite = 0;
    int32_t replyRead = 0;
    int32_t replyWrite = 0;     // of link reception
    int32_t simReplyWrite = 0;  // of the simulator
};

/// The index after `index` in a ring of `size` slots.
constexpr int32_t NextIndex(int32_t index, int32_t size) {
    return (index + 1) % size;
}

template <int32_t size>
void FreeAll(MessageSlot (&slots)[size]) {
    for (MessageSlot &slot : slots) slot.Free();
}

}  // namespace cc
