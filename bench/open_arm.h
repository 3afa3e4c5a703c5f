// The library's side of a measured line.
#pragma once

#include "cc_interface.h"
#include "far_end.h"
#include "measurements.h"

namespace bench {

/// Opens arm 1 on a far end. Failures are thrown as std::runtime_error. It is closed by the end of the process.
void OpenArm(const FarEnd &farEnd, const Timers &timers, CC_NOTIFY notify = nullptr);

/// Waits for status measuring. Failures are thrown as std::runtime_error.
void StartMeasuring();

}  // namespace bench
