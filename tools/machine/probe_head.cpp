#include "machine/probe_head.h"

#include <chrono>
#include <future>
#include <thread>

#include "cc_interface.h"
#include "machine/failure.h"
#include "machine/machine_words.h"

namespace cmm {
namespace {

constexpr int16_t kArm = 2;
constexpr double kOpeningSeconds = 5;
constexpr double kTurningSeconds = 25;
constexpr auto kTurn = std::chrono::milliseconds(20);

std::atomic<int> errorCode{0};
std::atomic<bool> threadLeft{false};

// The built-in controller reports what the head's errors ask for.
void CC_CALL OnEvent(int32_t event, uint32_t info, void *data) {
    if (event == CC_EVENT_EMERGENCY) errorCode = EmergencyCode(info, data);
}

}  // namespace

// The call under way. Kept by its thread too, which may outlive the head.
struct ProbeHead::Thread : std::enable_shared_from_this<Thread> {
    std::future<int> result;
    std::atomic<bool> ended{true};
    std::thread thread;

    void Run(std::function<int()> call) {
        if (thread.joinable()) thread.join();
        ended = false;
        std::packaged_task<int()> task(std::move(call));
        result = task.get_future();
        thread = std::thread([keep = shared_from_this(), work = std::move(task)]() mutable {
            work();
            keep->ended = true;
        });
    }
};

ProbeHead::ProbeHead(const std::string &port, const std::string &iniFile, const Meanwhile &meanwhile)
    : port_(port), thread_(std::make_shared<Thread>()) {
    errorCode = 0;
    const auto open = [port, iniFile] {
        return int{CC_INIT(nullptr, kArm, OnEvent, nullptr, port.c_str(), 1, 1.0, 1.0, CC_SIMULATION,
                           iniFile.c_str())};
    };
    try {
        const int result = Await(open, kOpeningSeconds, meanwhile);
        if (result != CC_OK) throw OpeningFailure(static_cast<uint16_t>(result), port, "head");
    } catch (...) {
        LeaveOrJoin();
        throw;
    }
}

int ProbeHead::Await(std::function<int()> call, double seconds, const Meanwhile &meanwhile) {
    thread_->Run(std::move(call));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (thread_->result.wait_for(kTurn) != std::future_status::ready) {
        if (std::chrono::steady_clock::now() > limit)
            throw Failure(kNotReached, "the probe head on " + port_ + " does not answer",
                          "Is it switched on, its cable in this port, and its line set to 4800 baud?");
        meanwhile();
    }
    return thread_->result.get();
}

void ProbeHead::Turn(double a, double b, const Meanwhile &meanwhile) {
    const auto turn = [a, b] { return int{CC_PHSetPosition(kArm, a, b, 1, 0)}; };
    if (Await(turn, kTurningSeconds, meanwhile) == 0)
        throw Failure(kWorkFailed, "the probe head did not turn",
                      "Is it in manual mode, or does something stand in its way?");
}

bool ProbeHead::IsBusy() const {
    return !thread_->ended;
}

void ProbeHead::BeginClosing() {
    if (IsBusy()) return;
    thread_->Run([] {
        CC_DONE(kArm, CC_SHUTDOWN_READY);
        return 0;
    });
    closing_ = true;
}

void ProbeHead::LeaveOrJoin() {
    std::thread &thread = thread_->thread;
    if (!thread.joinable()) return;
    if (thread_->ended || closing_) {
        thread.join();
    } else {
        threadLeft = true;
        thread.detach();
    }
}

ProbeHead::~ProbeHead() {
    LeaveOrJoin();
}

int ProbeHead::ErrorCode() {
    return errorCode;
}

bool ProbeHead::HasLeftThread() {
    return threadLeft;
}

}  // namespace cmm
