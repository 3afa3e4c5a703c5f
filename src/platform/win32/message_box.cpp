#include "platform/message_box.h"

#include <windows.h>

namespace cc::platform {

void ShowMessageBox(const char *text) {
    MessageBoxA(nullptr, text, nullptr, MB_OK);
}

}  // namespace cc::platform
