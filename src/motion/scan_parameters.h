// The parameters of a scan.
#pragma once

#include <cstdint>

namespace cc {

/// In the units of their messages. They keep their values across scans and sessions of the arm.
struct ScanParameters {
    int32_t matrix[9]{};
    int32_t offset[3]{};
    int32_t tipRadius = 0;
    int32_t depth1 = 0;
    int32_t depth2 = 0;
    int32_t targetX = 0;
    int32_t targetY = 0;
    int32_t minStep = 0;
    int32_t maxStep = 0;
    int32_t threshold = 0;
};

}  // namespace cc
