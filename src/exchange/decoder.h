// Applies the controller's replies to an arm.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Takes at most one reply of the arm and applies it: state, awaitedReply, results, move history, events to
/// the client. Replies shorter than 3 bytes and unknown codes are ignored. Runs on the thread of the client's
/// calls; `arm` is the number by which the client called, for the trace. Result: whether a reply was taken.
bool DecodeReplies(ArmContext &context, int16_t arm);

}  // namespace cc
