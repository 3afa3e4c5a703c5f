// The state of one COM port, shared by its reads, its writes and its watcher.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "platform/line_watcher.h"

namespace cc::platform {

/// An overlapped operation with its manual-reset event.
struct Overlapped {
    Overlapped() { data.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr); }
    ~Overlapped() { CloseHandle(data.hEvent); }
    Overlapped(const Overlapped &) = delete;
    Overlapped &operator=(const Overlapped &) = delete;

    OVERLAPPED data{};
};

struct Line {
    std::atomic<HANDLE> handle{INVALID_HANDLE_VALUE};
    Overlapped reading;
    Overlapped writing;
    Overlapped watching;
    Overlapped pulling;
    LineSettings settings;

    HANDLE thread = nullptr;
    DWORD threadId = 0;
    std::atomic<bool> ending{false};
    HANDLE endEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    LineEventProcedure procedure = nullptr;
    void *user = nullptr;

    // Where the driver does not report the event character, the watcher pulls the input and looks for it
    // itself.
    std::atomic<bool> watchesInput{false};
    std::mutex pullLock;  // guards the fields below
    uint8_t pulled[4096] = {};
    size_t pulledFirst = 0;
    size_t pulledCount = 0;
    bool eventPending = false;
    HANDLE pulledEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);

    ~Line() {
        CloseHandle(endEvent);
        CloseHandle(pulledEvent);
    }

    bool IsOpen() const { return handle.load() != INVALID_HANDLE_VALUE; }

    /// One overlapped read of the device, ended by the read time-out. `waited`: it did not complete at once.
    DWORD ReadDevice(Overlapped &operation, uint8_t *buffer, DWORD count, bool &waited);
    /// Pulls what comes within the read time-out, at least one byte if any, and looks for the event
    /// character.
    void PullInput(Overlapped &operation);
    /// Moves up to `count` pulled bytes into `buffer`.
    DWORD TakePulled(uint8_t *buffer, DWORD count);
};

}  // namespace cc::platform
