// Holding the link lock outside of sending itself.
#pragma once

#include "link/link_control.h"
#include "link/link_state.h"

namespace cc {

/// Holds the link lock for as long as it lives; with std::adopt_lock one that is taken already. Who finds the lock taken and
/// wants to send leaves a wish, which is granted here when the lock is given up.
class CC_THREAD_SAFETY(scoped_lockable) LinkGuard {
  public:
    explicit LinkGuard(LinkState &link) CC_THREAD_SAFETY(acquire_capability(link.lock)) : link_(link) {
        link_.lock.lock();
    }
    LinkGuard(LinkState &link, std::adopt_lock_t) CC_REQUIRES(link.lock) : link_(link) {}
    ~LinkGuard() CC_THREAD_SAFETY(release_capability()) {
        link_.lock.unlock();
        if (link_.sendWanted.load()) SendPromptly(link_);
    }
    LinkGuard(const LinkGuard &) = delete;
    LinkGuard &operator=(const LinkGuard &) = delete;

  private:
    LinkState &link_;
};

}  // namespace cc
