#include "platform/profile.h"

#include <windows.h>

#include "platform/portable/profile_scanner.h"

namespace cc::platform {

int32_t ReadProfileInt(const char *file, const char *section, const char *key, int32_t defaultValue) {
    if (file == nullptr) return defaultValue;
    return static_cast<int32_t>(GetPrivateProfileIntA(section, key, defaultValue, file));
}

void ReadProfileText(const char *file, const char *section, const char *key, const char *defaultText,
                     char *out, size_t capacity) {
    // Without a file name the system would read a file of its own.
    if (file == nullptr) return CopyText(defaultText, out, capacity);
    GetPrivateProfileStringA(section, key, defaultText, out, static_cast<DWORD>(capacity), file);
}

}  // namespace cc::platform
