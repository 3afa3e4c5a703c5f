// Modal messages to the operator.
#pragma once

namespace cc::platform {

/// Shows `text` with an OK button and the system's caption, without an owner; returns once it has been
/// confirmed.
void ShowMessageBox(const char *text);

using MessageBoxHandler = void (*)(const char *text, void *user);

/// Replaces the way boxes are shown; null restores the default (not implemented by the Windows backend).
void SetMessageBoxHandler(MessageBoxHandler show, void *user);

}  // namespace cc::platform
