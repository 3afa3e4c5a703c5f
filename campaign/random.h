// Random numbers that are the same on every system for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace campaign {

/// A splitmix64 sequence: each seed, however close to another, begins a sequence of its own.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed) {}

    uint64_t Next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    /// 0 to limit - 1.
    int Below(int limit) { return static_cast<int>(Next() % static_cast<uint64_t>(limit)); }
    /// first to last, both included.
    int Between(int first, int last) { return first + Below(last - first + 1); }
    /// Between first and last with all orders of magnitude alike; first above 0.
    int Scaled(int first, int last) {
        int limit = first;
        while (limit < last && Below(3) != 0) limit *= 2;
        return limit > last ? last : Between(first, limit);
    }
    bool Chance(double probability) { return Real(0, 1) < probability; }
    double Real(double first, double last) {
        return first + (last - first) * static_cast<double>(Next() >> 11) * 0x1p-53;
    }
    template <typename Value, size_t count>
    Value Pick(const Value (&values)[count]) {
        return values[Below(static_cast<int>(count))];
    }

  private:
    uint64_t state_;
};

}  // namespace campaign
