// The arm that the targets work on: as new before each run, consistent after it. Only what a run can have changed is
// written anew, as the queues have megabytes.
#pragma once

#include "arm/arm_context.h"

namespace cc::fuzz {

/// Who uses the arm. It is closed when the user changes, as it does where one process replays all targets.
enum class User { Frames, Replies, Stream, Exports };

/// Arm 1 with the records that it has after the library is loaded, but for what an opening keeps: settings, port and timer.
/// `index` is where the queues begin, below all their sizes but counted from their ends when negative.
ArmContext &RenewArm(User user, int32_t index = 0);

/// What holds whenever no call of the arm is under way.
void CheckRecords(ArmContext &arm);

}  // namespace cc::fuzz
