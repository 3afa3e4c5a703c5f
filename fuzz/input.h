// What the targets share: taking an input apart, and what must hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace cc::fuzz {

/// Ends the run where a property does not hold, so that the fuzzer keeps the input.
inline void Check(bool holds) {
    if (!holds) std::abort();
}

/// The bytes of an input, taken from its beginning; 0 behind its end.
class Input {
  public:
    Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    bool IsEmpty() const { return size_ == 0; }
    const uint8_t *Rest() const { return data_; }
    size_t Size() const { return size_; }
    /// Goes on behind `count` bytes, or as many as are left. Result: how many.
    size_t Skip(size_t count) {
        count = std::min(count, size_);
        data_ += count;
        size_ -= count;
        return count;
    }

    uint8_t Byte() { return Number<uint8_t>(); }
    bool Bit() { return (Byte() & 1) != 0; }
    template <typename Value>
    Value Number() {
        Value value{};
        const uint8_t *const from = data_;
        const size_t count = Skip(sizeof value);
        if (count > 0) std::memcpy(&value, from, count);
        return value;
    }

  private:
    const uint8_t *data_;
    size_t size_;
};

}  // namespace cc::fuzz
