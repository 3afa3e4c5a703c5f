// A measuring program that does not close what it opened. Arguments: how it ends, initialisation file. Result: 3.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "cc_interface.h"

namespace {

HMODULE library = nullptr;

template <typename Function>
Function Export(const char *name) {
    return reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
}

void Demand(bool what, const char *text) {
    if (what) return;
    std::printf("not so: %s\n", text);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 1);
}

void OpenArm(const char *iniFile) {
    library = LoadLibraryA("CC_Interface.dll");
    const auto init = Export<decltype(&CC_INIT)>("CC_INIT");
    Demand(init(nullptr, 1, nullptr, "COM3", "COM4", 1, 0.001, 0.5, 0, iniFile) == CC_OK, "the arm is open");
}

void DispatchFor(DWORD milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != 0) DispatchMessageA(&message);
    }
}

// Closes the arm, after which the library can go and nothing calls it any more.
void Close() {
    Export<decltype(&CC_DONE)>("CC_DONE")(1, 2);
    Demand(FreeLibrary(library) != FALSE && GetModuleHandleA("CC_Interface.dll") == nullptr,
           "it is unloaded");
    DispatchFor(300);
}

}  // namespace

int main(int, char **argv) {
    const auto ends = [way = argv[1]](const char *name) { return std::strcmp(way, name) == 0; };
    OpenArm(argv[2]);
    if (ends("exit")) std::exit(3);
    if (ends("ExitProcess")) ExitProcess(3);
    if (ends("Ctrl-C")) {
        FreeConsole();
        Demand(AllocConsole() != FALSE, "there is a console");
        Demand(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE, "Ctrl-C is pressed");
        Sleep(INFINITE);
    }
    if (ends("FreeLibrary")) {
        Demand(FreeLibrary(library) != FALSE, "it is freed");
        DispatchFor(300);  // the arm is open, and so the library is there for its timer
        Demand(GetModuleHandleExA(0, "CC_Interface.dll", &library) != FALSE, "it is loaded");
        Close();
    }
    if (ends("FreeLibrary after CC_DONE elsewhere")) {
        std::thread([] { Export<decltype(&CC_DONE)>("CC_DONE")(1, 2); }).join();
        FreeLibrary(library);
        DispatchFor(300);  // the timer fires once more, and is killed
        MSG message;
        Demand(PeekMessageA(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE) == FALSE, "no timer is left");
    }
    return 3;
}
