// The controller's state before the library acts on it.
#pragma once

#include <chrono>
#include <optional>

namespace cmm {

/// State that arm 1's controller has told last since its link was reset, by what went over the line, decoded or not. Waits for
/// one so long at the most; nothing: it has told none. Callable inside the library's callback.
std::optional<int> AwaitState(std::chrono::milliseconds longest);

/// Whether this system has that look at the line; Windows has not.
bool CanTellState();

}  // namespace cmm
