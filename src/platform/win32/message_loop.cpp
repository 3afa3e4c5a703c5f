#include "platform/message_loop.h"

#include <windows.h>

namespace cc::platform {
namespace {

WindowTimerProcedure procedure = nullptr;

void CALLBACK OnTimer(HWND, UINT, UINT_PTR, DWORD) {
    if (procedure != nullptr) procedure();
}

}  // namespace

uintptr_t StartWindowTimer(void *window, uint32_t periodMs, WindowTimerProcedure due) {
    procedure = due;
    return SetTimer(static_cast<HWND>(window), 0, periodMs, OnTimer);
}

void StopWindowTimer(void *window, uintptr_t timerId) {
    KillTimer(static_cast<HWND>(window), window != nullptr ? 0 : timerId);
}

}  // namespace cc::platform
