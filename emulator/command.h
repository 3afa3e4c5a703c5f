// Reading command messages.
#pragma once

#include <cstdint>
#include <optional>

#include "peer.h"
#include "protocol/vocabulary.h"

namespace emulator {

/// A command message; fields behind its end read as 0.
struct Command {
    const Bytes &message;

    uint8_t At(size_t index) const { return index < message.size() ? message[index] : 0; }
    cc::CommandName Name() const {
        return {static_cast<char>(At(2)), static_cast<char>(At(3)), static_cast<char>(At(4))};
    }
    int32_t Number() const { return cc::CommandNumber(Name()); }
    uint16_t Word(size_t index) const { return static_cast<uint16_t>(At(index) | At(index + 1) << 8); }
    int32_t Long(size_t index) const {
        return static_cast<int32_t>(Word(index) | uint32_t{Word(index + 2)} << 16);
    }
    Bytes Payload() const { return message.size() > 5 ? Bytes(message.begin() + 5, message.end()) : Bytes{}; }

    /// The value of the field with this letter, if the message has one. Fields are a letter and 32 bits.
    std::optional<int32_t> Field(char letter) const {
        for (size_t i = cc::at::kPayload; i + 4 < message.size(); i += 5) {
            if (static_cast<char>(At(i)) == letter) return Long(i + 1);
        }
        return std::nullopt;
    }
};

}  // namespace emulator
