// One serial device: opening, settings, time-outs, reading and writing.
#pragma once

#include <cstdint>

namespace cc::platform {

struct LineSettings {
    int32_t baud = 0;
    char parity = 'N';     // 'N', 'E', 'O', 'M' or 'S', either case
    int32_t dataBits = 8;  // 5 to 8
    int32_t stopBits = 1;  // 1 or 2
    int32_t handshake =
        0;  // 1 RTS/CTS, 2 XON/XOFF with DC1 and DC3, any other value none; DTR and RTS are on
    uint8_t eventChar = 0;  // see LineWatcher
};

struct ReadResult {
    uint32_t count;  // bytes read
    bool waited;     // the bytes were not all there when the read began
};

/// The backend's state of a line.
struct Line;

/// A serial device, closed after construction. Read and Write may run on several threads at once and while
/// another thread closes the line, which ends them; everything else belongs to the owner's thread.
class SerialLine {
  public:
    SerialLine();
    ~SerialLine();
    SerialLine(const SerialLine &) = delete;
    SerialLine &operator=(const SerialLine &) = delete;

    /// Opens port number `port` for exclusive use. Result: whether it is open.
    bool Open(int32_t port);
    /// Applies settings to the open line. Result: whether the device took them.
    bool Apply(const LineSettings &settings);
    /// Sets the longest time that one Read and one Write may take, in milliseconds, from their next call on.
    bool SetTimeouts(uint32_t readMs, uint32_t writeMs);
    /// Reads until `count` bytes have come or the read time-out has passed. An unplugged device reads nothing
    /// at once.
    ReadResult Read(uint8_t *buffer, uint32_t count);
    /// Writes as much as the device takes within the write time-out. Result: bytes written.
    uint32_t Write(const uint8_t *bytes, uint32_t count);
    /// Hands the device what it takes at once, without waiting: never blocks a timer's thread. Result: bytes
    /// taken.
    uint32_t Post(const uint8_t *bytes, uint32_t count);
    /// Whether an event character lies in the input, for its reader.
    bool HoldsEventChar();
    /// The same for other threads, which see input also in the watcher's hands: while its report is due or
    /// running. A backend that cannot look into the device's input takes any of it for one.
    bool HasUnreadEvent();
    /// Makes the watcher report an event character that lies in the input once more.
    void ReportAgain();
    /// Whether the open device has gone or failed for good: nothing comes or goes any more.
    bool IsLost();
    /// Closes the device once no Read or Write uses it any more.
    void Close();

    /// For the line watcher of the same backend.
    Line *State() { return line_; }

  private:
    Line *line_;  // from the backend's fixed store
};

}  // namespace cc::platform
