#include <windows.h>

#include "machine/worker_loop.h"

namespace cmm {

void RunLoop(int milliseconds) {
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != 0) DispatchMessageA(&message);
    }
}

void TakeBoxes(void (*)(const char *text, void *user)) {}

}  // namespace cmm
