// Calls of the library that may wait for longer than anybody wants to.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

namespace cmm {

/// One call at a time, on a thread of its own.
class BackgroundCall {
  public:
    BackgroundCall() = default;
    /// A call that has not ended is left alone: see HasLeftThread.
    ~BackgroundCall();
    BackgroundCall(const BackgroundCall &) = delete;
    BackgroundCall &operator=(const BackgroundCall &) = delete;

    /// Begins `call`, which owns all that it uses, as it may outlive this object. The one before has ended.
    void Begin(std::function<int()> call);
    /// Whether the call has not ended.
    bool IsBusy() const;
    /// Waits for the end, so long at the most. Result: whether it has come.
    bool Wait(std::chrono::milliseconds longest) const;
    /// What the call gave. It has ended.
    int Result();
    /// Waits for the end, however long.
    void Join();

    /// Whether a thread is left that waits in the library. The program must then end without unloading it.
    static bool HasLeftThread();

  private:
    std::future<int> result_;
    std::shared_ptr<std::atomic<bool>> ended_ = std::make_shared<std::atomic<bool>>(true);  // the call's too
    std::thread thread_;
};

}  // namespace cmm
