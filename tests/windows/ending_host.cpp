// A measuring program that does not close what it opened. Arguments: how it ends, initialisation file.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "cc_interface.h"
#include "message_loop.h"

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

// Closes the arm, after which the library can go and nothing calls it any more.
void Close() {
    Export<decltype(&CC_DONE)>("CC_DONE")(1, 2);
    Demand(FreeLibrary(library) != FALSE && GetModuleHandleA("CC_Interface.dll") == nullptr,
           "it is unloaded");
    LoopFor(300);
}

}  // namespace

int main(int, char **argv) {
    const auto ends = [way = argv[1]](const char *name) { return std::strcmp(way, name) == 0; };
    OpenArm(argv[2]);
    if (ends("FreeLibrary")) {
        Demand(FreeLibrary(library) != FALSE, "it is freed");
        LoopFor(300);  // the arm is open, and so the library is there for its timer
        Demand(GetModuleHandleExA(0, "CC_Interface.dll", &library) != FALSE, "it is loaded");
        Close();
    }
    if (ends("FreeLibrary after CC_DONE elsewhere")) {
        std::thread([] { Export<decltype(&CC_DONE)>("CC_DONE")(1, 2); }).join();
        FreeLibrary(library);
        LoopFor(300);  // the timer fires once more, and is killed
        MSG message;
        Demand(PeekMessageA(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE) == FALSE, "no timer is left");
    }
    return 0;
}
