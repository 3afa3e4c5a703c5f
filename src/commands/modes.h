// Mode orders that the library gives by itself.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Orders a status (CC_ORDER_...) and waits until the controller has it; coordinate reports pause meanwhile. `arm` as
/// for DecodeReplies. Result: false for an unknown status, a full queue, or a wait that ended without the status.
bool OrderStatus(ArmContext &context, int16_t arm, int16_t status);

/// Orders an emergency stop with a code; waits for nothing. Result: whether it was queued, or the controller is in
/// that state already.
bool OrderEmergency(ArmContext &context, int16_t code);

}  // namespace cc
