// The controller's port of one arm: a serial port whose frames go to the link.
#pragma once

#include "serial/serial.h"

namespace cc {

struct LinkState;

class CArmPort final : public CSerial {
  public:
    /// Takes what has come, on the line-event thread, each time the event character has been received.
    using Receiver = void (*)(LinkState &link);

    explicit CArmPort(LinkState &link) : link_(link) {}
    ~CArmPort() override { Close(); }

    /// Names the receiver, before the port is opened.
    void SetReceiver(Receiver receiver) { receiver_ = receiver; }

  private:
    void OnEventChar() override { receiver_(link_); }

    LinkState &link_;
    Receiver receiver_ = nullptr;
};

}  // namespace cc
