// Waiting. Every wait and every spin of the library goes through these two, so that virtual time can move.
#pragma once

#include <cstdint>

namespace cc::platform {

/// Suspends the calling thread for at least `milliseconds`.
void Sleep(uint32_t milliseconds);

/// Gives the processor up inside a spin, for about a millisecond: a spin costs next to no processor time.
void Yield();

}  // namespace cc::platform
