#include "platform/thread.h"

#include <windows.h>

namespace cc::platform {

uintptr_t CurrentThread() {
    return GetCurrentThreadId();
}

}  // namespace cc::platform
