#include "machine/background_call.h"

namespace cmm {
namespace {

std::atomic<bool> threadLeft{false};

}  // namespace

BackgroundCall::~BackgroundCall() {
    if (!thread_.joinable()) return;
    if (*ended_) {
        thread_.join();
    } else {
        threadLeft = true;
        thread_.detach();
    }
}

void BackgroundCall::Begin(std::function<int()> call) {
    Join();
    *ended_ = false;
    std::packaged_task<int()> task([ended = ended_, work = std::move(call)] {
        const struct End {
            std::atomic<bool> &ended;
            ~End() { ended = true; }
        } end{*ended};
        return work();
    });
    result_ = task.get_future();
    thread_ = std::thread(std::move(task));
}

bool BackgroundCall::IsBusy() const {
    return !*ended_;
}

bool BackgroundCall::Wait(std::chrono::milliseconds longest) const {
    return result_.wait_for(longest) == std::future_status::ready;
}

int BackgroundCall::Result() {
    return result_.get();
}

void BackgroundCall::Join() {
    if (thread_.joinable()) thread_.join();
}

bool BackgroundCall::HasLeftThread() {
    return threadLeft;
}

}  // namespace cmm
