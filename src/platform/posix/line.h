// The state of one serial line, shared by its reads, its writes and its watcher.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/line_watcher.h"
#include "platform/posix/monotonic.h"

namespace cc::platform {

struct Line {
    Monitor monitor;  // guards every field below
    bool taken = false;
    int device = -1;
    int wake = -1;        // eventfd, readable while the line is ending: ends every poll
    int nudge = -1;       // eventfd, readable while a report is wanted: ends the watcher's poll
    bool ending = false;  // the line is being closed
    bool lost = false;    // the device has hung up or failed: nothing more is read or written
    int users = 0;        // reads and writes under way, and the watcher
    uint32_t readTimeoutMs = 0;
    uint32_t writeTimeoutMs = 0;
    uint8_t eventChar = 0;
    bool eventPending = false;  // the event character was pulled and not reported yet
    bool reporting = false;     // the watcher's procedure runs

    // Bytes pulled from the device and not read yet.
    uint8_t pulled[4096] = {};
    size_t pulledFirst = 0;
    size_t pulledCount = 0;

    bool watched = false;  // the watcher's thread exists
    pthread_t watcher = {};
    LineEventProcedure procedure = nullptr;
    void *user = nullptr;

    /// Takes all bytes that the device holds, under the lock. Bytes beyond the space are dropped like those
    /// of an overrun receiver, but an event character among them still counts.
    void Pull();
    /// Moves up to `count` pulled bytes into `buffer`, under the lock. Result: how many.
    size_t TakePulled(uint8_t *buffer, size_t count);
    /// Waits until the device is ready for `events`, the line is ending or the deadline (MonotonicNow's time)
    /// has passed. Gives the lock up meanwhile.
    void Poll(short events, int64_t deadline);
    /// The watcher's wait: for input, the end of the line or a report that is wanted.
    void PollForWatcher();
    /// Whether the event character is among the pulled bytes, under the lock.
    bool HasPulledEventChar() const;
    /// Writes what the device takes at once, under the lock. Result: bytes written, -1 when it failed.
    int64_t WriteSome(const uint8_t *bytes, uint32_t count);
    /// Makes every read, write and watch of the line end, under the lock.
    void End();
    /// Gives up one use, under the lock.
    void Release();
};

}  // namespace cc::platform
