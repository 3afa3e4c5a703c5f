// The controller's serial port.
#pragma once

#include "serial/serial_port.h"

namespace cc {

/// A port whose line-event thread, of time-critical priority, calls OnEventChar.
class CSerial : public SerialPort {
  public:
    CSerial() : SerialPort(platform::WatcherPriority::TimeCritical) {}
    virtual ~CSerial() { CSerial::Close(); }

    /// Ends the line-event thread, then closes the device. Must not be called on that thread.
    void Close() final;

  protected:
    void OnEventChar() override {}

  private:
    void AfterRead(bool) final {}
};

}  // namespace cc
