// Turning coordinate reports on and off.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Mode 0 ends periodic coordinate reports, any other begins them: streamed by the controller, or asked for by the
/// worker. Waits for nothing.
void ReportCoordinatesPeriodically(ArmContext &context, int16_t mode);

}  // namespace cc
