// The message loop of the programs here.
#pragma once

#include <windows.h>

#include <functional>

inline bool dispatching = false;

/// Dispatches messages until `reached`, for 10 s at the most or as long as is said. Result: whether it was reached.
inline bool Loop(const std::function<bool()> &reached, DWORD milliseconds = 10000) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (ULONGLONG now = GetTickCount64(); now < end && !reached(); now = GetTickCount64()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
            dispatching = true;
            DispatchMessageA(&message);
            dispatching = false;
        }
    }
    return reached();
}

inline void LoopFor(DWORD milliseconds) {
    Loop([] { return false; }, milliseconds);
}
