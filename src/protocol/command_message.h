// Builds command messages: count byte, class byte, letter, digits, little-endian fields.
#pragma once

#include <cstdint>
#include <cstring>

#include "protocol/little_endian.h"
#include "protocol/vocabulary.h"

namespace cc {

/// A command message under construction; the count byte is always right. The longest is a full queue slot.
class CommandMessage {
  public:
    static constexpr int32_t kCapacity = 256;

    explicit CommandMessage(CommandName name, uint8_t classByte = kPlainClass) {
        bytes_[at::kClass] = classByte;
        Byte(static_cast<uint8_t>(name.letter));
        if (name.digit1 == 0) return;
        Byte(static_cast<uint8_t>(name.digit1));
        Byte(static_cast<uint8_t>(name.digit2));
    }

    CommandMessage &Byte(uint8_t value) { return Bytes(&value, 1); }
    CommandMessage &Letter(char value) { return Byte(static_cast<uint8_t>(value)); }
    CommandMessage &Word(uint16_t value) {
        uint8_t field[2];
        WriteU16(field, value);
        return Bytes(field, sizeof field);
    }
    CommandMessage &Long(uint32_t value) {
        uint8_t field[4];
        WriteU32(field, value);
        return Bytes(field, sizeof field);
    }
    /// A field letter and its 32-bit value.
    CommandMessage &Field(char letter, int32_t value) {
        return Letter(letter).Long(static_cast<uint32_t>(value));
    }

    /// Bytes as they stand. The caller keeps within kCapacity.
    CommandMessage &Bytes(const void *bytes, int32_t count) {
        std::memcpy(bytes_ + size_, bytes, static_cast<size_t>(count));
        size_ += count;
        bytes_[0] = static_cast<uint8_t>(size_ - 1);
        return *this;
    }

    const uint8_t *Data() const { return bytes_; }
    /// All bytes, the count byte included.
    int32_t Size() const { return size_; }

  private:
    uint8_t bytes_[kCapacity];
    int32_t size_ = 2;
};

}  // namespace cc
