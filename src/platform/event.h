// Auto-reset events, shared by name inside the process.
#pragma once

#include <cstdint>

namespace cc::platform {

/// A handle on a named event. Handles opened under one name share one event, which starts not signalled when
/// the first of them is opened. Signal and Wait may run on any threads; OpenShared and Close on the owner's
/// thread only.
class Event {
  public:
    Event() = default;
    ~Event() { Close(); }
    Event(const Event &) = delete;
    Event &operator=(const Event &) = delete;

    /// Opens the event `name` (at most 31 characters), giving up the handle held before. Result: whether it
    /// is open.
    bool OpenShared(const char *name);
    /// The same for an event that nobody shares.
    bool OpenPrivate();
    bool IsOpen() const { return handle_ != nullptr; }
    /// Wakes one wait, the running one or the next. Nothing happens on a closed handle.
    void Signal();
    /// Waits for at most `milliseconds`; true when the event was signalled, which resets it. False on a
    /// closed handle.
    bool Wait(uint32_t milliseconds);
    void Close();

  private:
    void *handle_ = nullptr;  // the backend's event
};

}  // namespace cc::platform
