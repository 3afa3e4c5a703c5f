// Points and coordinates in replies: from controller counts to the client's record.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// `reply` is a whole reply; bytes behind its end are 0.

/// A touch or scan point. Touch points of buffered motion consume the oldest history entry.
void ReportPoint(ArmContext &arm, const uint8_t *reply, uint16_t length);
/// A position that the controller reports by itself.
void ReportPosition(ArmContext &arm, const uint8_t *reply);
/// The answer to a coordinate request, machine or wrist.
void ReportCoordinates(ArmContext &arm, const uint8_t *reply);

}  // namespace cc
