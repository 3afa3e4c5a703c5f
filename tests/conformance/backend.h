// What the conformance suite needs of each backend: its time, and the far end of a line.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace cc::test {

using Bytes = std::vector<uint8_t>;

/// Milliseconds of the backend's clock.
int64_t BackendNow();

/// Waits until `reached` gives true, at most 5 s. Result: whether it did.
bool Eventually(const std::function<bool()> &reached);

/// Whether more than one program may open a device: a system that only imitates another may let them.
inline bool devicesAreShared = false;

/// The far end of COM9.
class FarEnd {
  public:
    static constexpr int32_t kPort = 9;
    static std::unique_ptr<FarEnd> Create();
    virtual ~FarEnd() = default;

    /// Bytes to the host, in one piece.
    virtual void Send(const Bytes &bytes) = 0;
    /// What has come from the host so far.
    virtual Bytes Received() = 0;
    virtual void Unplug() = 0;
};

}  // namespace cc::test
