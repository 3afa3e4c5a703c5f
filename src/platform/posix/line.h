// The state of one serial line, shared by its reads, its writes and its watcher.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/line_watcher.h"
#include "platform/posix/monotonic.h"

namespace cc::platform {

struct Line {
    Monitor monitor;
    bool taken CC_GUARDED_BY(monitor) = false;
    int device CC_GUARDED_BY(monitor) = -1;
    int wake CC_GUARDED_BY(monitor) = -1;   // eventfd, readable while the line is ending: ends every poll
    int nudge CC_GUARDED_BY(monitor) = -1;  // the same while a report is wanted: ends the watcher's poll
    bool ending CC_GUARDED_BY(monitor) = false;  // the line is being closed
    bool lost CC_GUARDED_BY(monitor) = false;    // the device has hung up or failed: no more reads and writes
    int users CC_GUARDED_BY(monitor) = 0;        // reads and writes under way, and the watcher
    uint32_t readTimeoutMs CC_GUARDED_BY(monitor) = 0;
    uint32_t writeTimeoutMs CC_GUARDED_BY(monitor) = 0;
    uint8_t eventChar CC_GUARDED_BY(monitor) = 0;
    bool eventPending CC_GUARDED_BY(monitor) = false;  // the event character was pulled and not reported yet
    bool reporting CC_GUARDED_BY(monitor) = false;     // the watcher's procedure runs

    // Bytes pulled from the device and not read yet.
    uint8_t pulled[4096] CC_GUARDED_BY(monitor) = {};
    size_t pulledFirst CC_GUARDED_BY(monitor) = 0;
    size_t pulledCount CC_GUARDED_BY(monitor) = 0;

    bool watched CC_GUARDED_BY(monitor) = false;  // the watcher's thread exists
    pthread_t watcher CC_GUARDED_BY(monitor) = {};
    LineEventProcedure procedure = nullptr;  // set before the watcher's thread begins
    void *user = nullptr;

    /// Takes all bytes that the device holds. Bytes beyond the space replace the oldest: the event character that ends
    /// what is too long for any frame must be found.
    void Pull() CC_REQUIRES(monitor);
    /// Moves up to `count` pulled bytes into `buffer`. Result: how many.
    size_t TakePulled(uint8_t *buffer, size_t count) CC_REQUIRES(monitor);
    /// Waits until the device is ready for `events`, the line is ending or the deadline (MonotonicNow's time)
    /// has passed. Gives the lock up meanwhile.
    void Poll(short events, int64_t deadline) CC_REQUIRES(monitor);
    /// The watcher's wait: for input, the end of the line or a report that is wanted.
    void PollForWatcher() CC_REQUIRES(monitor);
    /// Whether the event character is among the pulled bytes.
    bool HasPulledEventChar() const CC_REQUIRES(monitor);
    /// Writes what the device takes at once. Result: bytes written, -1 when it failed.
    int64_t WriteSome(const uint8_t *bytes, uint32_t count) CC_REQUIRES(monitor);
    /// Makes every read, write and watch of the line end.
    void End() CC_REQUIRES(monitor);
    /// Gives up one use.
    void Release() CC_REQUIRES(monitor);
};

}  // namespace cc::platform
