// The message loop of the program's thread, in which the library's worker runs.
#pragma once

namespace cmm {

/// Runs the loop for that long.
void RunLoop(int milliseconds);

/// Has the library call `onBox`, on any thread, instead of showing its boxes and waiting for the operator. Where the
/// system shows them in a window of its own nothing changes.
void TakeBoxes(void (*onBox)(const char *text, void *user));

}  // namespace cmm
