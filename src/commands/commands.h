// Commands that other parts of the library send by themselves; the exported ones are in the public header.
#pragma once

#include "interface/arm_context.h"

namespace cc {

/// Asks for the controller information, unless a zeroing is under way. Waits for link acknowledgement and
/// completion. Result: 1, or 0 without an answer.
int16_t RefreshInfo(ArmContext &context, int16_t arm);

}  // namespace cc
