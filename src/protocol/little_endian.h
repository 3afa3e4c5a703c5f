// Little-endian fields of messages.
#pragma once

#include <cstdint>

namespace cc {

inline uint16_t ReadU16(const uint8_t *bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

inline uint32_t ReadU32(const uint8_t *bytes) {
    return ReadU16(bytes) | uint32_t{ReadU16(bytes + 2)} << 16;
}

inline int32_t ReadI32(const uint8_t *bytes) {
    return static_cast<int32_t>(ReadU32(bytes));
}

inline void WriteU16(uint8_t *bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

inline void WriteU32(uint8_t *bytes, uint32_t value) {
    WriteU16(bytes, static_cast<uint16_t>(value));
    WriteU16(bytes + 2, static_cast<uint16_t>(value >> 16));
}

}  // namespace cc
