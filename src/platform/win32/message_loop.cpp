#include "platform/message_loop.h"

#include <windows.h>

#include <mutex>

namespace cc::platform {
namespace {

// The timer that runs. Only its own thread can kill it, so one that another thread stopped goes on until it
// fires again; it is known by not being this one.
class RunningTimer {
  public:
    // The library may be unloaded with an arm open.
    ~RunningTimer() { Stop(); }

    uintptr_t Start(HWND window, uint32_t periodMs, TIMERPROC fired, WindowTimerProcedure due) {
        const std::lock_guard guard(lock_);
        const UINT_PTR id = SetTimer(window, 0, periodMs, fired);
        if (id == 0) return 0;
        thread_ = GetCurrentThreadId();
        window_ = window;
        id_ = window != nullptr ? 0 : id;
        procedure_ = due;
        return id;
    }

    void Stop() {
        const std::lock_guard guard(lock_);
        if (procedure_ == nullptr) return;
        procedure_ = nullptr;
        if (thread_ == GetCurrentThreadId()) {
            KillTimer(window_, id_);
            return;
        }
        // The timer that is left behind calls the library once more, which must be there then: it stays until
        // the process ends.
        HMODULE self = nullptr;
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCSTR>(&StopWindowTimer), &self);
    }

    // The procedure of a timer that fires on this thread; null when it is not the one that runs.
    WindowTimerProcedure Due(HWND window, UINT_PTR id) {
        const std::lock_guard guard(lock_);
        const bool runs = thread_ == GetCurrentThreadId() && window_ == window && id_ == id;
        return runs ? procedure_ : nullptr;
    }

  private:
    std::mutex lock_;  // guards the fields below
    DWORD thread_ = 0;
    HWND window_ = nullptr;
    UINT_PTR id_ = 0;
    WindowTimerProcedure procedure_ = nullptr;  // null: none runs
} timer;

void CALLBACK OnTimer(HWND window, UINT, UINT_PTR id, DWORD) {
    const WindowTimerProcedure due = timer.Due(window, id);
    if (due != nullptr) {
        due();
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
