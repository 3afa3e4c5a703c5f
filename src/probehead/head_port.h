// The probe head's port of one arm.
#pragma once

#include "serial/serial_ph9.h"

namespace cc {

class CHeadPort final : public CSerialPH9 {
  public:
    ~CHeadPort() { Close(); }
};

}  // namespace cc
