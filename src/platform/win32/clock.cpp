#include "platform/clock.h"

#include <windows.h>

#undef Yield  // a macro that the system header keeps for the sake of old programs

namespace cc::platform {

void Sleep(uint32_t milliseconds) {
    ::Sleep(milliseconds);
}

void Yield() {
    ::Sleep(1);
}

}  // namespace cc::platform
