// The controller's stored information.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

inline constexpr int32_t kInfoBytes = 10;

/// Reads it into replies.storedInfo, and writes it; each waits for the controller's answer. `arm` as for
/// DecodeReplies. Result: whether it came.
bool ReadStoredInfo(ArmContext &context, int16_t arm);
bool WriteStoredInfo(ArmContext &context, int16_t arm, const void *info);

}  // namespace cc
