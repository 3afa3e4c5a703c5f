// The message loop of the program's thread, in which the library's worker runs.
#pragma once

namespace cmm {

/// Runs the loop for that long.
void RunLoop(int milliseconds);

}  // namespace cmm
