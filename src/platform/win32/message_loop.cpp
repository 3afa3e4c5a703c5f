#include "platform/message_loop.h"

#include <windows.h>

#include <atomic>
#include <utility>

#include "platform/mutex.h"
#include "platform/win32/held_library.h"

namespace cc::platform {
namespace {

// The timer that runs. It exists as long as an arm is open and holds the library: a program that unloads the
// library with an arm open keeps both until it closes the arm. Closing it in the unloading would not do: only
// the timer's own thread can kill the timer, and no thread of the library can end while the system unloads it.
class RunningTimer {
  public:
    uintptr_t Start(HWND window, uint32_t periodMs, TIMERPROC fired, WindowTimerProcedure due) {
        const Guard guard(lock_);
        const UINT_PTR id = SetTimer(window, 0, periodMs, fired);
        if (id == 0) return 0;
        library_ = HoldLibrary();
        thread_ = GetCurrentThreadId();
        window_ = window;
        id_ = window != nullptr ? 0 : id;
        fired_ = fired;
        woken_ = false;
        procedure_ = due;
        return id;
    }

    // Puts a timer message into the queue of the timer's thread by hand.
    void Wake() {
        const Guard guard(lock_);
        if (procedure_ == nullptr || woken_) return;
        const auto fired = reinterpret_cast<LPARAM>(fired_);
        woken_ = (window_ != nullptr ? PostMessageA(window_, WM_TIMER, id_, fired)
                                     : PostThreadMessageA(thread_, WM_TIMER, id_, fired)) != 0;
    }

    // Whether the timer message that runs is the system's own. A system's one that overtakes the one put by hand
    // changes places with it.
    bool TakePeriodic() {
        const Guard guard(lock_);
        return !std::exchange(woken_, false);
    }

    // A timer that another thread stops goes on until it fires again; it is known by not being the one that
    // runs. The library stays held for it, as for a procedure that stops its own timer and is to return.
    void Stop() {
        const Guard guard(lock_);
        if (procedure_ == nullptr) return;
        procedure_ = nullptr;
        if (thread_ != GetCurrentThreadId()) return;
        KillTimer(window_, id_);
        if (!calling_) FreeLibrary(library_);
    }

    // The procedure of a timer that fires on this thread; null when it is not the one that runs.
    WindowTimerProcedure Due(HWND window, UINT_PTR id) {
        const Guard guard(lock_);
        const bool runs = thread_ == GetCurrentThreadId() && window_ == window && id_ == id;
        return runs ? procedure_ : nullptr;
    }

    void Call(WindowTimerProcedure due) {
        const bool periodic = TakePeriodic();
        const bool inside = calling_.exchange(true);
        due(periodic);
        calling_ = inside;
    }

  private:
    Mutex lock_;
    DWORD thread_ CC_GUARDED_BY(lock_) = 0;
    HWND window_ CC_GUARDED_BY(lock_) = nullptr;
    UINT_PTR id_ CC_GUARDED_BY(lock_) = 0;
    TIMERPROC fired_ CC_GUARDED_BY(lock_) = nullptr;
    bool woken_ CC_GUARDED_BY(lock_) = false;  // a message put by hand has not run
    HMODULE library_ CC_GUARDED_BY(lock_) = nullptr;
    WindowTimerProcedure procedure_ CC_GUARDED_BY(lock_) = nullptr;  // null: none runs
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

void WakeWindowTimer() {
    timer.Wake();
}

}  // namespace cc::platform
