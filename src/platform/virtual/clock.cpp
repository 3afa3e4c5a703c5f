#include "platform/clock.h"

#include "platform/virtual/world.h"

namespace cc::platform {

void Sleep(uint32_t milliseconds) {
    World::Instance().Pass(milliseconds * kMillisecond);
}

void Yield() {
    World::Instance().Pass(kMillisecond);
}

}  // namespace cc::platform
