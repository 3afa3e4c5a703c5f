// What the controller's and the head's serial ports have in common: settings, opening, reading, writing,
// purging.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/line_watcher.h"
#include "platform/mutex.h"
#include "platform/serial_line.h"

namespace cc {

/// A COM port with its line-event thread, which exists exactly while the port is open. Read, Write and Purge
/// may run on several threads; Configure, Open, Close and SetTimeouts belong to one thread, which is not the
/// line-event thread.
class SerialPort {
  public:
    SerialPort(const SerialPort &) = delete;
    SerialPort &operator=(const SerialPort &) = delete;

    /// Checks and stores the settings, and applies them if the port is open. 0 for baud, parity, dataBits or
    /// stopBits stands for the stored value. parity is a letter; handshake 1 is RTS/CTS, 2 XON/XOFF, any
    /// other value none. Result: false, with nothing stored, when the settings are not valid or not
    /// accepted.
    bool Configure(int32_t port, int32_t baud, char parity, int32_t dataBits, int32_t stopBits,
                   int32_t handshake, uint8_t eventChar);

    /// Opens the stored port with the stored settings, after closing it if it is open. Result: whether it
    /// is open.
    bool Open(uint8_t eventChar);

    bool IsOpen() const { return open_.load(std::memory_order_acquire); }

    /// Sets the longest time of one read and of one write attempt, in milliseconds.
    void SetTimeouts(uint32_t readTimeout, uint32_t writeTimeout);

    /// Reads until `count` bytes have come or the read time-out has passed. Result: bytes read; 0 on a closed
    /// port.
    uint32_t Read(uint8_t *buffer, uint32_t count);

    /// Writes `count` bytes in at most writeAttemptLimit + 1 attempts. Result: bytes written; 0 on a closed
    /// port.
    uint32_t Write(const uint8_t *bytes, uint32_t count);

    /// Hands the device what it takes at once, for the timer thread, which no line may block. Result: bytes
    /// taken; 0 on a closed port and while another thread writes.
    uint32_t Post(const uint8_t *bytes, uint32_t count);

    /// Whether an event character lies in the input; on the line-event thread.
    bool HoldsEventChar() { return IsOpen() && line_.HoldsEventChar(); }
    /// Whether one lies there, or is in the hands of the line-event thread; on other threads.
    bool HasUnreadEvent() { return IsOpen() && line_.HasUnreadEvent(); }
    /// Whether the open device has gone or failed for good.
    bool IsLost() { return IsOpen() && line_.IsLost(); }
    /// Makes the line-event thread report an event character that lies in the input.
    void ReportAgain() { line_.ReportAgain(); }

    /// Discards the pending input. Result: bytes discarded.
    uint32_t Purge();

  protected:
    explicit SerialPort(platform::WatcherPriority priority) : priority_(priority) {}
    ~SerialPort() = default;

    /// Called on the line-event thread each time the event character has been received.
    virtual void OnEventChar() = 0;
    /// Called after each read, under the read lock; `waited` as in platform::ReadResult.
    virtual void AfterRead(bool waited) = 0;
    virtual void Close() = 0;

    /// Marks the port closed. Result: whether it was open.
    bool MarkClosed() { return open_.exchange(false, std::memory_order_acq_rel); }

    platform::SerialLine line_;
    platform::LineWatcher watcher_;

  private:
    platform::LineSettings Settings(uint8_t eventChar) const;

    uint32_t readTimeout = 25;     // ms
    uint32_t writeTimeout = 1000;  // ms
    char parity = 0;
    int32_t port = 0;
    int32_t baud = 0;
    int32_t dataBits = 0;
    int32_t stopBits = 0;
    int32_t handshake = 0;
    int32_t writeAttemptLimit = 5;

    const platform::WatcherPriority priority_;
    std::atomic<bool> open_{false};  // set last when opening, cleared first when closing
    // One read, one write and one purge at a time; a purge reads. No other lock is held while taking purgeLock.
    platform::Mutex purgeLock CC_THREAD_SAFETY(acquired_before(readLock));
    platform::Mutex readLock;
    platform::Mutex writeLock;
};

/// Longest time that closing a port waits for its line-event thread.
inline constexpr uint32_t kThreadEndTimeoutMs = 25000;

}  // namespace cc
