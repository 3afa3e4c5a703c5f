// The periodic work on the caller's thread.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// One tick of the worker: a step of each registered arm, arm 1 first. A tick that comes inside another, or in
/// the middle of a call of this thread, dispatched by the client's callback or the operator's box, does nothing.
/// `periodic`: its period has passed; otherwise a prompt line woke it. Result: whether it ran.
bool RunWorker(bool periodic);

/// One step of an arm, 1 or 2; what is done at intervals is left out of a step that is not periodic: one reply, the automatic commands, the move buffer, automatic coordinates, the head.
/// May wait for the commands that it sends.
void WorkerStep(ArmContext &context, int16_t arm, bool periodic = true);

}  // namespace cc
