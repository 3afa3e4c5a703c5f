// The controller's port of one arm: a serial port whose frames go to the link.
#pragma once

#include "serial/serial.h"

namespace cc {

struct ArmContext;

class CArmPort final : public CSerial {
  public:
    explicit CArmPort(ArmContext &arm) : arm_(arm) {}
    ~CArmPort() override { Close(); }

  private:
    void OnEventChar() override;

    ArmContext &arm_;
};

}  // namespace cc
