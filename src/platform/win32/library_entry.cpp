// Where the system enters the library when it loads or unloads it and when threads or the process end.
#include <windows.h>

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE library, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI LibraryEntry(HINSTANCE library, DWORD reason, LPVOID reserved) {
    // At the end of a process the other threads have been killed wherever they stood, with what they had locked
    // and counted. Nothing is closed here then, neither by the library nor by the language's library in it: the
    // system takes everything back.
    if (reason == DLL_PROCESS_DETACH && reserved != nullptr) return TRUE;
    return DllMainCRTStartup(library, reason, reserved);
}
