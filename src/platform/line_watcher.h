// Waits for the event character of a serial line and calls back.
#pragma once

#include <cstdint>

#include "platform/serial_line.h"

namespace cc::platform {

enum class WatcherPriority { TimeCritical, Highest };

/// Called on the watcher's thread each time the event character has come. Event characters that come
/// together, or while a call runs, are one call.
using LineEventProcedure = void (*)(void *user);

/// The watching thread of one open line.
class LineWatcher {
  public:
    /// Starts watching an open line. Result: whether the thread runs. The priority is a wish that the system
    /// may refuse.
    bool Start(SerialLine &line, WatcherPriority priority, LineEventProcedure procedure, void *user);

    /// Sets the events waited for anew, for drivers that forget them.
    void Rearm();

    /// Ends the watching, and reads and writes under way on the line, which must be closed next if it is not
    /// already. Waits up to `milliseconds` for the thread; must not be called on it. Result: whether the
    /// thread has ended.
    bool Stop(uint32_t milliseconds);

  private:
    Line *line_ = nullptr;  // watched line; null while stopped
};

}  // namespace cc::platform
