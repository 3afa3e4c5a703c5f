// Serial ports of the virtual world: what stands behind COM1, COM2, ... and how it behaves.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/serial_line.h"

namespace cc::platform {

/// One port. It exists from its first mention on; the library opens it, the test holds its far end.
class VirtualPort {
  public:
    /// The port with this number.
    static VirtualPort &Number(int32_t port);

    /// Takes each byte when it has arrived at the far end; replaced at will, null: bytes go nowhere.
    std::function<void(uint8_t)> farEnd;
    /// Sees each byte that comes into the input of an open line; null: nobody looks.
    std::function<void(uint8_t)> onInput;

    bool present = true;  // false: opening fails; an open line is unplugged
    bool refuseSettings = false;
    uint32_t writeSpace = UINT32_MAX;  // bytes that the device still takes before its writes time out
    int64_t byteTime = 0;              // µs that one byte is on the wire; 0: none

    /// Pulls the plug: a line that is open is dead from now on, also when the device is back.
    void Unplug() {
        present = false;
        lost_ = open_;
    }

    /// Sends bytes to the host, one after another at the speed of the line.
    void Send(const std::vector<uint8_t> &bytes);
    /// Sends bytes that reach the host in one piece, now: their event characters are one event.
    void SendTogether(const std::vector<uint8_t> &bytes);

    bool IsOpen() const { return open_; }
    /// When the last byte that was written so far reaches the far end.
    int64_t WrittenUntil() const { return toFarEndFree_; }
    /// Settings of the last Apply.
    const LineSettings &Settings() const { return settings_; }
    uint32_t ReadTimeoutMs() const { return readTimeoutMs_; }
    uint32_t WriteTimeoutMs() const { return writeTimeoutMs_; }

  private:
    friend class SerialLine;
    friend class LineWatcher;

    void Arrive(uint8_t byte);
    bool HoldsEventChar() const;
    void ReportEvents();

    bool open_ = false;
    bool lost_ = false;  // unplugged since it was opened
    LineSettings settings_;
    uint32_t readTimeoutMs_ = 0;
    uint32_t writeTimeoutMs_ = 0;
    int64_t toHostFree_ = 0;  // when the wire to the host is free again
    int64_t toFarEndFree_ = 0;
    std::deque<uint8_t> received_;
    bool eventPending_ = false;
    bool reading_ = false;  // a read outside the event procedure is waiting, which would keep the procedure's
                            // own reads out
    bool reporting_ = false;  // the event procedure is running: it does not run inside itself
    void (*procedure_)(void *user) = nullptr;
    void *user_ = nullptr;
};

}  // namespace cc::platform
