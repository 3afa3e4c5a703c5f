// Locks that the compiler checks: clang's thread-safety analysis refuses a guarded field that is used without its lock.
// Other compilers see plain mutexes.
#pragma once

#include <mutex>

#if defined(__clang__)
#define CC_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define CC_THREAD_SAFETY(attribute)
#endif

/// A class that is a lock.
#define CC_LOCK CC_THREAD_SAFETY(capability("mutex"))
/// A field that is used under that lock only.
#define CC_GUARDED_BY(lock) CC_THREAD_SAFETY(guarded_by(lock))
/// A function that is called under that lock.
#define CC_REQUIRES(lock) CC_THREAD_SAFETY(requires_capability(lock))
/// A function that takes these locks itself, so it must not be called under one of them.
#define CC_EXCLUDES(...) CC_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

namespace cc::platform {

/// std::mutex with annotations.
class CC_LOCK Mutex {
  public:
    void lock() CC_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
    void unlock() CC_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
    bool try_lock() CC_THREAD_SAFETY(try_acquire_capability(true)) { return mutex_.try_lock(); }

  private:
    std::mutex mutex_;
};

/// Holds a lock for as long as it lives; with std::adopt_lock one that is taken already.
template <typename Lock>
class CC_THREAD_SAFETY(scoped_lockable) Guard {
  public:
    explicit Guard(Lock &lock) CC_THREAD_SAFETY(acquire_capability(lock)) : lock_(lock) { lock_.lock(); }
    Guard(Lock &lock, std::adopt_lock_t) CC_REQUIRES(lock) : lock_(lock) {}
    ~Guard() CC_THREAD_SAFETY(release_capability()) { lock_.unlock(); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

  private:
    Lock &lock_;
};

}  // namespace cc::platform
