// Where the system enters the library when it loads or unloads it and when threads or the process end.
#include "platform/win32/line.h"

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE library, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI LibraryEntry(HINSTANCE library, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_DETACH) {
        // At the end of a process the other threads have been killed wherever they stood, with what they had
        // locked and counted. Nothing is closed here then, neither by the library nor by the language's
        // library in it: the system takes back everything.
        if (reserved != nullptr) return TRUE;
        cc::platform::unloading = true;
    }
    return DllMainCRTStartup(library, reason, reserved);
}
