// The library's holds on itself, for what of it the system calls.
#pragma once

#include <windows.h>

namespace cc::platform {

/// The system refuses to unload the library until FreeLibrary is called for the result.
inline HMODULE HoldLibrary() {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&HoldLibrary), &self);
    return self;
}

}  // namespace cc::platform
