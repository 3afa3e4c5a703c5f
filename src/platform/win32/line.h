// The state of one COM port, shared by its reads, its writes and its watcher.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/line_watcher.h"
#include "platform/mutex.h"

namespace cc::platform {

/// Longest time that closing a line takes, its watcher's end included; the device is closed anyway then.
constexpr DWORD kClosingMs = 25000;

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
    std::atomic<int> users{0};  // uses of the device under way; closing waits for them
    Overlapped reading;
    Overlapped writing;
    Overlapped watching;
    Overlapped pulling;
    Overlapped posting;
    uint8_t posted[256] = {};  // the driver may read it until the posted write has ended
    bool postPending = false;  // used by whoever posts, one at a time
    LineSettings settings;

    HANDLE thread = nullptr;
    DWORD threadId = 0;
    std::atomic<bool> watched{false};  // the watcher's thread runs, waited for or not
    std::atomic<DWORD> mask{0};        // of the events waited for: the largest that the driver accepted
    DWORD events = 0;                  // the driver writes into it until its wait for events has ended
    std::atomic<bool> ending{false};
    ULONGLONG closingUntil = 0;          // by GetTickCount64; set when the line begins to end
    std::atomic<bool> reporting{false};  // the watcher's procedure runs
    HANDLE endEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE againEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);  // a report is wanted once more
    LineEventProcedure procedure = nullptr;
    void *user = nullptr;

    // Where the driver does not report the event character, the watcher pulls the input and looks for it
    // itself. Who asks for an event character in the input pulls it as well, as a driver cannot be looked into.
    std::atomic<bool> watchesInput{false};
    Mutex pullLock;
    uint8_t pulled[4096] CC_GUARDED_BY(pullLock) = {};
    size_t pulledFirst CC_GUARDED_BY(pullLock) = 0;
    size_t pulledCount CC_GUARDED_BY(pullLock) = 0;
    bool eventPending CC_GUARDED_BY(pullLock) = false;
    HANDLE pulledEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);

    ~Line() {
        CloseHandle(endEvent);
        CloseHandle(againEvent);
        CloseHandle(pulledEvent);
    }

    /// Tells the watcher, and reads and writes under way, to end.
    void End();
    /// Milliseconds that are left of the line's ending.
    DWORD ClosingTimeLeft() const;

    bool IsOpen() const { return handle.load() != INVALID_HANDLE_VALUE; }

    /// One overlapped read of the device, ended by the read time-out. `waited`: it did not complete at once.
    DWORD ReadDevice(Overlapped &operation, uint8_t *buffer, DWORD count, bool &waited);
    /// Pulls the next byte that comes within the read time-out, with those that have come by then, and looks
    /// for the event character. Bytes beyond the space replace the oldest: the event character that ends what is too
    /// long for any frame must be found. Result: false when the device fails at once.
    bool PullInput(Overlapped &operation);
    /// Whether the event character was pulled since the last call.
    bool TakeEvent();
    /// Whether the event character is among the pulled bytes.
    bool HasPulledEventChar();
    /// Runs the watcher's procedure, on its thread.
    void Report();
    /// Bytes that the driver holds; 0 on a closed line.
    DWORD PendingInput();
    /// Moves up to `count` pulled bytes into `buffer`.
    DWORD TakePulled(uint8_t *buffer, DWORD count);
};

/// One use of a line's device: while it lives, the handle is not closed.
class DeviceUse {
  public:
    explicit DeviceUse(Line &line) : line_(line) {
        ++line_.users;  // before the look at the handle: closing takes the handle away and then counts
        device_ = line_.handle.load();
    }
    ~DeviceUse() { --line_.users; }
    DeviceUse(const DeviceUse &) = delete;
    DeviceUse &operator=(const DeviceUse &) = delete;

    /// The handle, INVALID_HANDLE_VALUE when the line is closed.
    HANDLE Device() const { return device_; }
    /// Whether the line is open and not about to be closed.
    explicit operator bool() const { return device_ != INVALID_HANDLE_VALUE && !line_.ending; }

  private:
    Line &line_;
    HANDLE device_;
};

}  // namespace cc::platform
