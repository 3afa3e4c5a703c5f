// A prompt line whose device was unplugged, and may have come back under the name of its port.
#pragma once

#include "arm/arm_context.h"

namespace cc {

/// Tries to take the line up when a second has passed since the last try, for an hour from the loss on; after that the arm
/// has to be opened anew. Called by the worker and by every wait on a prompt line, so that a program that only repeats its
/// calls gets its machine back too.
void ServeLostLine(ArmContext &context);

}  // namespace cc
