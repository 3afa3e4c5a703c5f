// The probe head's serial port.
#pragma once

#include "serial/serial_port.h"

namespace cc {

/// A port whose line-event thread, of highest priority, raises a flag when the event character has come; its
/// user polls the flag and reads.
class CSerialPH9 : public SerialPort {
  public:
    CSerialPH9() : SerialPort(platform::WatcherPriority::Highest) {}
    ~CSerialPH9() { CSerialPH9::Close(); }

    /// Closes the device, which ends the wait of the line-event thread, then waits for that thread.
    void Close() final;

    /// Whether the event character has come since the last read that had to wait for its bytes.
    bool IsLineReady() const { return lineReady.load(std::memory_order_relaxed); }

  private:
    void OnEventChar() final { lineReady.store(true, std::memory_order_relaxed); }
    void AfterRead(bool waited) final;

    // Relaxed: the bytes that it tells of are handed over by the line itself; a flag that is missed or
    // doubled costs one empty poll.
    std::atomic<bool> lineReady{false};
};

}  // namespace cc
