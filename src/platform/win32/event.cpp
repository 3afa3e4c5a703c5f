#include "platform/event.h"

#include <windows.h>

namespace cc::platform {

bool Event::OpenShared(const char *name) {
    Close();
    handle_ = CreateEventA(nullptr, FALSE, FALSE, name);
    return handle_ != nullptr;
}

bool Event::OpenPrivate() {
    return OpenShared(nullptr);
}

void Event::Signal() {
    if (handle_ != nullptr) SetEvent(handle_);
}

bool Event::Wait(uint32_t milliseconds) {
    return handle_ != nullptr && WaitForSingleObject(handle_, milliseconds) == WAIT_OBJECT_0;
}

void Event::Close() {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
}

}  // namespace cc::platform
