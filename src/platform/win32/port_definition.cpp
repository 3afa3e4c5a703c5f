#include "platform/port_definition.h"

#include <windows.h>

namespace cc::platform {

bool IsPortDefinition(const char *text) {
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    return text != nullptr && BuildCommDCBA(text, &dcb) != 0;
}

}  // namespace cc::platform
