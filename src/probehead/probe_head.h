// The probe head of one arm: what is known of it, and its line.
#pragma once

#include "probehead/head_record.h"
#include "serial/serial_ph9.h"

namespace cc {

class CHeadPort final : public CSerialPH9 {
  public:
    ~CHeadPort() { Close(); }
};

/// Used on the thread of the client's calls only.
struct ProbeHead : HeadRecord {
    uint32_t pollMs = 0;    // time between two polls of a wait
    int32_t mostPolls = 0;  // of one wait
    CHeadPort port;
};

}  // namespace cc
