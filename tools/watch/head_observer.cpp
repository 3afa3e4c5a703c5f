#include "watch/head_observer.h"

#include "cc_interface.h"
#include "watch/closing.h"

namespace cmm {
namespace {

using std::chrono::seconds;

constexpr int16_t kArm = 2;
constexpr auto kInterval = seconds(2);
constexpr auto kMuteInterval = seconds(10);
// The library repeats a question that is not answered in a second, and does not tell whether it was in the end.
constexpr auto kLongestAnswer = std::chrono::milliseconds(900);
constexpr double kUnknownAngle = -1;

// What a question gave.
enum Outcome : int { kFailed, kAnswered, kLate };

}  // namespace

HeadObserver::HeadObserver(std::string port, std::string iniFile)
    : port_(std::move(port)), iniFile_(std::move(iniFile)) {}

void HeadObserver::Step() {
    if (asked_) {
        if (call_.IsBusy()) {
            if (Clock::now() - begun_ > kLongestAnswer) readout_.condition = HeadReadout::Condition::Mute;
            return;
        }
        Take();
    }
    if (Clock::now() < next_) return;
    asked_ = true;
    begun_ = Clock::now();
    if (open_) {
        call_.Begin([]() -> int {
            const auto begin = std::chrono::steady_clock::now();
            if (CC_PHUpdate(kArm) == 0) return kFailed;
            return std::chrono::steady_clock::now() - begin <= kLongestAnswer ? kAnswered : kLate;
        });
    } else {
        call_.Begin([port = port_, ini = iniFile_]() -> int {
            const uint16_t opened = CC_INIT(nullptr, kArm, nullptr, nullptr, port.c_str(), 1, 1.0, 1.0,
                                            CC_SIMULATION, ini.c_str());
            return opened == CC_OK ? kAnswered : kFailed;
        });
    }
}

void HeadObserver::Take() {
    asked_ = false;
    const int outcome = call_.Result();
    open_ = outcome != kFailed;
    HeadReadout told;
    CC_PHGetPosition(kArm, &told.a, &told.b);
    told.manual = CC_PHCurrentMode(kArm) == CC_HEAD_MANUAL;
    told.isKnown = open_ && told.a != kUnknownAngle;
    if (told.isKnown) readout_ = told;
    const bool answers = told.isKnown && outcome == kAnswered;
    readout_.condition = answers ? HeadReadout::Condition::Answers : HeadReadout::Condition::Mute;
    next_ = Clock::now() + (answers ? kInterval : kMuteInterval);
}

void HeadObserver::Close() {
    if (!call_.IsBusy()) CloseWithoutOrder(kArm);
}

}  // namespace cmm
