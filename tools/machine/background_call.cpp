#include "machine/background_call.h"

#include <atomic>
#include <future>
#include <thread>

namespace cmm {
namespace {

std::atomic<bool> threadLeft{false};

}  // namespace

// Kept by the call too.
struct BackgroundCall::Thread {
    std::future<int> result;
    std::atomic<bool> ended{true};
    std::thread thread;
};

BackgroundCall::BackgroundCall() : thread_(std::make_shared<Thread>()) {}

BackgroundCall::~BackgroundCall() {
    if (!thread_->thread.joinable()) return;
    if (thread_->ended) {
        thread_->thread.join();
    } else {
        threadLeft = true;
        thread_->thread.detach();
    }
}

void BackgroundCall::Begin(std::function<int()> call) {
    Join();
    thread_->ended = false;
    std::packaged_task<int()> task([keep = thread_, work = std::move(call)] {
        const struct End {
            std::atomic<bool> &ended;
            ~End() { ended = true; }
        } end{keep->ended};
        return work();
    });
    thread_->result = task.get_future();
    thread_->thread = std::thread(std::move(task));
}

bool BackgroundCall::IsBusy() const {
    return !thread_->ended;
}

bool BackgroundCall::Wait(std::chrono::milliseconds longest) const {
    return thread_->result.wait_for(longest) == std::future_status::ready;
}

int BackgroundCall::Result() {
    return thread_->result.get();
}

void BackgroundCall::Join() {
    if (thread_->thread.joinable()) thread_->thread.join();
}

bool BackgroundCall::HasLeftThread() {
    return threadLeft;
}

}  // namespace cmm
