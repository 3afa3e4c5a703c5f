// Keeping the worker out of the calls of its own thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread.h"
#include "replies/reply_state.h"

namespace cc {

/// While one lives, the worker does not run on the calling thread. The client's callback and the operator's box
/// may dispatch messages in the middle of a call; the worker would then overwrite the reply being decoded, and
/// send what the call does not expect. One arm is used by one thread at a time.
class WorkerHold {
  public:
    explicit WorkerHold(ReplyState &replies) : heldBy_(replies.heldBy) {
        before_ = heldBy_.exchange(platform::CurrentThread(), std::memory_order_relaxed);
    }
    ~WorkerHold() { heldBy_.store(before_, std::memory_order_relaxed); }
    WorkerHold(const WorkerHold &) = delete;
    WorkerHold &operator=(const WorkerHold &) = delete;

  private:
    // Relaxed: a thread looks for its own number only.
    std::atomic_ref<uintptr_t> heldBy_;
    uintptr_t before_;
};

/// Whether a hold of the calling thread lives.
inline bool IsWorkerHeld(ReplyState &replies) {
    const std::atomic_ref<uintptr_t> heldBy(replies.heldBy);
    return heldBy.load(std::memory_order_relaxed) == platform::CurrentThread();
}

}  // namespace cc
