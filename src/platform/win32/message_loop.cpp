#include "platform/message_loop.h"

#include <windows.h>

#include <atomic>
#include <mutex>

#include "platform/win32/held_library.h"

namespace cc::platform {
namespace {

// The timer that runs. It exists as long as an arm is open and holds the library: a program that unloads the
// library with an arm open keeps both until it closes the arm. Closing it in the unloading would not do: only
// the timer's own thread can kill the timer, and no thread of the library can end while the system unloads it.
class RunningTimer {
  public:
    uintptr_t Start(HWND window, uint32_t periodMs, TIMERPROC fired, WindowTimerProcedure due) {
        const std::lock_guard guard(lock_);
        const UINT_PTR id = SetTimer(window, 0, periodMs, fired);
        if (id == 0) return 0;
        library_ = HoldLibrary();
        thread_ = GetCurrentThreadId();
        window_ = window;
        id_ = window != nullptr ? 0 : id;
        procedure_ = due;
        return id;
    }

    // A timer that another thread stops goes on until it fires again; it is known by not being the one that
    // runs. The library stays held for it, as for a procedure that stops its own timer and is to return.
    void Stop() {
        const std::lock_guard guard(lock_);
        if (procedure_ == nullptr) return;
        procedure_ = nullptr;
        if (thread_ != GetCurrentThreadId()) return;
        KillTimer(window_, id_);
        if (!calling_) FreeLibrary(library_);
    }

    // The procedure of a timer that fires on this thread; null when it is not the one that runs.
    WindowTimerProcedure Due(HWND window, UINT_PTR id) {
        const std::lock_guard guard(lock_);
        const bool runs = thread_ == GetCurrentThreadId() && window_ == window && id_ == id;
        return runs ? procedure_ : nullptr;
    }

    void Call(WindowTimerProcedure due) {
        const bool inside = calling_.exchange(true);
        due();
        calling_ = inside;
    }

  private:
    std::mutex lock_;  // guards the fields below
    DWORD thread_ = 0;
    HWND window_ = nullptr;
    UINT_PTR id_ = 0;
    HMODULE library_ = nullptr;
    WindowTimerProcedure procedure_ = nullptr;  // null: none runs
    std::atomic<bool> calling_{false};
} timer;

void CALLBACK OnTimer(HWND window, UINT, UINT_PTR id, DWORD) {
    const WindowTimerProcedure due = timer.Due(window, id);
    if (due != nullptr) {
        timer.Call(due);
    } else {
        KillTimer(window, id);
    }
}

}  // namespace

uintptr_t StartWindowTimer(void *window, uint32_t periodMs, WindowTimerProcedure due) {
    return timer.Start(static_cast<HWND>(window), periodMs, OnTimer, due);
}

void StopWindowTimer(void *, uintptr_t) {
    timer.Stop();
}

}  // namespace cc::platform
