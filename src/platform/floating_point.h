// The floating-point environment of the library's own arithmetic.
#pragma once

#include <cfenv>
#include <cstdint>

namespace cc::platform {

#if defined(__i386__) || defined(__x86_64__)

/// Both units' control words and flags: helpers of the language's library calculate on the older one.
class FloatingPointState {
  public:
    /// Keeps the caller's environment and sets the default one. The older unit rounds to 64-bit values: with
    /// more digits it would give other results than the newer.
    void Enter() {
        asm volatile("fnstenv %0\n\tfnclex" : "=m"(older_)::"memory");
        asm volatile("stmxcsr %0" : "=m"(newer_)::"memory");
        const uint16_t olderDefault = 0x027F;
        const uint32_t newerDefault = 0x1F80;
        asm volatile("fldcw %0\n\tldmxcsr %1" ::"m"(olderDefault), "m"(newerDefault) : "memory");
    }
    void Leave() { asm volatile("fldenv %0\n\tldmxcsr %1" ::"m"(older_), "m"(newer_) : "memory"); }

  private:
    uint32_t older_[7];
    uint32_t newer_;
};

#else

class FloatingPointState {
  public:
    void Enter() {
        std::fegetenv(&kept_);
        std::fesetenv(FE_DFL_ENV);
    }
    void Leave() { std::fesetenv(&kept_); }

  private:
    std::fenv_t kept_;
};

#endif

/// While it lives, arithmetic runs in the default environment: rounding to nearest, no exceptions. At its end
/// the caller's environment is back as it was, flags included, and what the arithmetic raised is forgotten.
/// The client's own code must not run in it. The compiler knows nothing of environments: what the arithmetic
/// takes and what it gives passes through Confined, or it may be moved out of the scope.
class FloatingPointScope {
  public:
    FloatingPointScope() { state_.Enter(); }
    ~FloatingPointScope() { state_.Leave(); }
    FloatingPointScope(const FloatingPointScope &) = delete;
    FloatingPointScope &operator=(const FloatingPointScope &) = delete;

    /// The value, read when the scope has begun and made before it ends.
    template <typename Value>
    static Value Confined(Value value) {
        asm volatile("" : "+m"(value)::"memory");
        return value;
    }

  private:
    FloatingPointState state_;
};

}  // namespace cc::platform
