#include "platform/clock.h"

#include <cerrno>
#include <ctime>

namespace cc::platform {
namespace {

void SleepNanoseconds(uint64_t nanoseconds) {
    timespec rest{static_cast<time_t>(nanoseconds / 1'000'000'000),
                  static_cast<long>(nanoseconds % 1'000'000'000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

}  // namespace

void Sleep(uint32_t milliseconds) {
    SleepNanoseconds(uint64_t{milliseconds} * 1'000'000);
}

void Yield() {
    SleepNanoseconds(1'000'000);
}

}  // namespace cc::platform
