// The probe head in dialogue: questions, repeated while the head is silent, and what its errors bring.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Asks the head for its status after its port has been opened; a head that does not answer is no failure. Waits up
/// to 12 times "PH9 timeout". Result: false when the port did not take the question.
bool AskHeadStatus(ArmContext &context);

/// Takes the head out of manual mode; waits for its answer. Result: false when the port did not take the order.
bool SetHeadAutomatic(ArmContext &context);

/// Orders the emergency of the head's last error answer.
void RaiseHeadError(ArmContext &context);

}  // namespace cc
