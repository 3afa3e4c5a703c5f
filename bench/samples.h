// Measured times and what is told of them.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <vector>

namespace bench {

/// Nanoseconds of the monotonic clock, which all processes share.
inline int64_t Now() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

inline double Milliseconds(int64_t nanoseconds) {
    return 1e-6 * static_cast<double>(nanoseconds);
}

/// In milliseconds, in the order in which they were taken.
using Samples = std::vector<double>;

/// The value that this share of the samples, 0 to 1, does not exceed; 0 without samples.
inline double Quantile(Samples samples, double share) {
    if (samples.empty()) return 0;
    const double last = static_cast<double>(samples.size() - 1);
    const auto at = samples.begin() + static_cast<std::ptrdiff_t>(share * last + 0.5);
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

inline double Median(const Samples &samples) {
    return Quantile(samples, 0.5);
}

inline double Largest(const Samples &samples) {
    return Quantile(samples, 1);
}

inline double Mean(const Samples &samples) {
    const double sum = std::accumulate(samples.begin(), samples.end(), 0.0);
    return samples.empty() ? 0 : sum / static_cast<double>(samples.size());
}

}  // namespace bench
