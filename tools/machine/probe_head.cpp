#include "machine/probe_head.h"

#include <atomic>
#include <chrono>

#include "cc_interface.h"
#include "machine/failure.h"
#include "machine/machine_words.h"
#include "machine/port_names.h"

namespace cmm {
namespace {

constexpr int16_t kArm = 2;
constexpr double kOpeningSeconds = 5;
constexpr double kTurningSeconds = 25;
constexpr auto kTurn = std::chrono::milliseconds(20);

std::atomic<int> errorCode{0};

// The built-in controller reports what the head's errors ask for.
void CC_CALL OnEvent(int32_t event, uint32_t info, void *data) {
    if (event == CC_EVENT_EMERGENCY) errorCode = EmergencyCode(info, data);
}

}  // namespace

ProbeHead::ProbeHead(const std::string &port, const std::string &iniFile, const Meanwhile &meanwhile)
    : port_(port) {
    errorCode = 0;
    call_.Begin([port, iniFile] {
        return int{CC_INIT(nullptr, kArm, OnEvent, nullptr, port.c_str(), 1, 1.0, 1.0, CC_SIMULATION,
                           iniFile.c_str())};
    });
    const int result = Await(kOpeningSeconds, meanwhile);
    if (result != CC_OK) throw OpeningFailure(static_cast<uint16_t>(result), port, "head");
}

int ProbeHead::Await(double seconds, const Meanwhile &meanwhile) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!call_.Wait(kTurn)) {
        if (std::chrono::steady_clock::now() > limit)
            throw Failure(kNotReached, "the probe head on " + PortName(port_) + " does not answer",
                          "Is it switched on, its cable in this port, and its line set to 4800 baud?");
        meanwhile();
    }
    return call_.Result();
}

void ProbeHead::BeginTurn(double a, double b) {
    call_.Begin([a, b] { return int{CC_PHSetPosition(kArm, a, b, 1, 0)}; });
}

void ProbeHead::Turn(double a, double b, const Meanwhile &meanwhile) {
    BeginTurn(a, b);
    if (Await(kTurningSeconds, meanwhile) == 0)
        throw Failure(kWorkFailed, "the probe head did not turn",
                      "Is it in manual mode, or does something stand in its way?");
}

bool ProbeHead::IsBusy() const {
    return call_.IsBusy();
}

void ProbeHead::BeginClosing() {
    if (IsBusy()) return;
    call_.Begin([] {
        CC_DONE(kArm, CC_SHUTDOWN_READY);
        return 0;
    });
    closing_ = true;
}

ProbeHead::~ProbeHead() {
    if (closing_) call_.Join();
}

int ProbeHead::ErrorCode() {
    return errorCode;
}

}  // namespace cmm
