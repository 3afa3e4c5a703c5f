// The identity of threads.
#pragma once

#include <cstdint>

namespace cc::platform {

/// A number of the calling thread that no other running thread has; never 0.
uintptr_t CurrentThread();

}  // namespace cc::platform
