#include <windows.h>

#include "machine/operator_stop.h"

namespace cmm {
namespace {

constexpr DWORD kLongestClosingMs = 20000;

std::function<void()> onConsoleEvent;  // a handler has no argument of its own

// Runs on a thread of the system's.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    onConsoleEvent();
    // When the console closes, the system ends the program as soon as this returns.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kLongestClosingMs);
    return TRUE;
}

}  // namespace

struct Signals::Running {};

Signals::Signals(std::function<void()> onSignal) {
    onConsoleEvent = std::move(onSignal);
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

Signals::~Signals() {
    SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
}

}  // namespace cmm
