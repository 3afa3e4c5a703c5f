#include "watch/observer.h"

#include <atomic>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <optional>

#include "format.h"
#include "machine/machine_words.h"
#include "machine/worker_loop.h"
#include "watch/closing.h"
#include "watch/head_observer.h"
#include "watch/told_state.h"

namespace cmm {
namespace {

using Clock = Readout::Clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int16_t kArm = 1;
constexpr int16_t kExtendedStart = 1;  // else only a stopped controller can be opened
constexpr auto kStateInterval = seconds(1);
constexpr auto kTemperatureInterval = seconds(5);
constexpr auto kOpenInterval = seconds(1);
constexpr auto kLongestAnswer = seconds(3);
constexpr int kWantsTable = 10;  // state
// A controller in emergency tells no coordinates, and is asked for them less often.
constexpr auto kSilentInterval = seconds(3);
constexpr auto kUnansweredInterval = seconds(30);
constexpr auto kLongestLeaving = milliseconds(1500);
constexpr size_t kMostHappenings = 100;
constexpr int kFirstRotaryAxis = 3;
constexpr int kTemperatures = 32;

// The message N00: count byte, class, letter, digits.
constexpr uint8_t kAskState[] = {4, 1, 'N', '0', '0'};
constexpr int16_t kAnyState = -1;  // what ends its wait

// What is not acknowledged shows by itself.
void OnBox(const char *, void *) {}

bool IsFitted(const ControllerInfo &controller, int axis) {
    return controller.axes[axis].kind != CC_AXIS_NONE;
}

}  // namespace

/// What the thread works with; it may outlive the observer.
class Observer::Thread {
  public:
    explicit Thread(const ObserverOptions &options) : options_(options) {
        if (!options.headPort.empty()) {
            head_ = std::make_unique<HeadObserver>(options.headPort, options.headIniFile);
            known_.head = head_->Readout();
        }
        published_ = known_;
    }

    void Run();

    // The rest is called from other threads.
    void Stop() {
        stop_ = true;
        changed_.notify_all();
    }
    Readout Look() {
        const std::lock_guard guard(lock_);
        if (failure_) throw Failure(*failure_);
        return published_;
    }
    void Await(const Readout &before, milliseconds longest) {
        std::unique_lock guard(lock_);
        changed_.wait_for(guard, longest, [&] {
            const auto last = [](const Readout &readout) {
                return readout.happenings.empty() ? 0 : readout.happenings.back().number;
            };
            return stop_ || failure_ || published_.number != before.number ||
                   last(published_) != last(before);
        });
    }

  private:
    static void CC_CALL OnEvent(int32_t event, uint32_t info, void *data);

    void Turn();
    void Open();
    void Read();
    void LeaveIfItWantsTable();
    void Lose();
    void Fail(const Failure &failure);
    void AskIo();
    void AskState();
    void SetState(const std::string &state);
    void AskPosition();
    void AskRotary();
    void AskParameters();
    void Note(int32_t event, uint32_t info, void *data);
    void TakeCoordinates(const PointRecord &point);
    void Tell(const std::string &words);
    void Count();
    void Publish();
    void Sleep(Clock::time_point until);

    const ObserverOptions options_;
    std::unique_ptr<HeadObserver> head_;
    bool open_ = false;
    bool opening_ = false;
    std::string untouched_;  // why an arm under way was left; empty: it was not
    bool emergency_ = false;
    std::string broken_;                // why the line turned out to be lost in this turn; empty: it is not
    int positions_ = 0, rotaries_ = 0;  // that were told
    Clock::time_point nextState_, nextIo_, nextTemperatures_, nextPosition_, nextRotary_;
    LinkCounts before_;  // of the openings before this one
    Readout known_;
    static Thread *current;  // the library's callback has no argument of the client's

    std::mutex lock_;  // of what follows
    std::condition_variable changed_;
    Readout published_;
    std::optional<Failure> failure_;
    std::atomic<bool> stop_{false};
};

Observer::Thread *Observer::Thread::current = nullptr;

void Observer::Thread::Run() {
    current = this;
    TakeBoxes(OnBox);
    try {
        while (!stop_) Turn();
    } catch (const std::exception &error) {
        Fail(Failure(kWorkFailed, error.what()));
    }
    if (head_) head_->Close();
    CloseWithoutOrder(kArm);
}

void Observer::Thread::Turn() {
    const auto begin = Clock::now();
    broken_.clear();
    if (!open_) Open();
    if (open_) {
        Read();
        if (!broken_.empty()) Lose();
    }
    if (head_ && known_.line != Readout::Line::Opening) {
        head_->Step();
        known_.head = head_->Readout();
    }
    Publish();
    Sleep(begin + (open_ ? options_.period : milliseconds(kOpenInterval)));
}

// ---- the line

void Observer::Thread::Open() {
    untouched_.clear();
    opening_ = true;
    const uint16_t flags = options_.simulation ? CC_SIMULATION : 0;
    const uint16_t result =
        CC_INIT(nullptr, kArm, OnEvent, options_.port.c_str(), nullptr, kExtendedStart, options_.linearScale,
                options_.rotaryScale, flags, options_.iniFile.c_str());
    opening_ = false;
    if (result != CC_OK) {
        const Failure failure = untouched_.empty() ? OpeningFailure(result, options_.port, "controller")
                                                   : Failure(kNotReached, untouched_,
                                                             "Let its measuring software open it first.");
        if (known_.line != Readout::Line::Lost) return Fail(failure);
        if (known_.trouble != failure.what()) Tell(failure.what());
        known_.trouble = failure.what();
        return;
    }
    broken_.clear();
    open_ = true;
    if (known_.line == Readout::Line::Lost) Tell("the line is back: the arm was opened anew");
    known_.line = Readout::Line::InOrder;
    known_.trouble.clear();
    known_.controller.reset();
    known_.parameters.clear();
    known_.parametersAsked = false;
    nextState_ = nextIo_ = nextTemperatures_ = nextPosition_ = nextRotary_ = Clock::now();
}

// A controller that was switched on may want a table, which the library would send it next: one of zeros, as it has no
// other. So the first event of an opening, which comes before the controller's answer is looked at, waits for that answer.
void Observer::Thread::LeaveIfItWantsTable() {
    if (options_.simulation || !CanTellState()) return;
    const std::optional<int> state = AwaitState(kLongestAnswer);
    if (state && *state != kWantsTable) return;
    untouched_ = state ? "the controller has been switched on and waits for its table; it was left so"
                       : "the controller does not tell its state";
    CloseWithoutOrder(kArm);
}

void Observer::Thread::Lose() {
    Count();
    before_ = known_.counts;
    open_ = false;
    known_.line = Readout::Line::Lost;
    known_.trouble = broken_;
    ++known_.losses;
    Tell("the line is lost: " + broken_);
}

// The counts of a closed arm stay until it is opened again.
void Observer::Thread::Count() {
    if (options_.simulation) return;
    known_.counts = CountLink();
    for (size_t i = 0; i < before_.size(); ++i) known_.counts[i].second += before_[i].second;
}

// ---- questions

void Observer::Thread::Read() {
    const auto now = Clock::now();
    if (now >= nextIo_) AskIo();
    if (broken_.empty() && now >= nextState_) AskState();
    // The temperatures are decoded while the position is waited for, which is asked for behind them.
    if (broken_.empty() && now >= nextTemperatures_ && now >= nextPosition_) {
        CC_READTEMP(kArm);
        nextTemperatures_ = now + kTemperatureInterval;
    }
    if (broken_.empty() && now >= nextPosition_) AskPosition();
    if (broken_.empty() && now >= nextRotary_) AskRotary();
    if (broken_.empty() && !known_.parametersAsked) AskParameters();
    Count();
    if (!broken_.empty()) return;
    known_.time = std::chrono::system_clock::now();
    ++known_.number;
}

// What a call that was not answered still awaits, the next question for the state ends.
void Observer::Thread::AskIo() {
    std::array<uint16_t, 2> words{};
    const bool told = CC_IO(kArm, CC_IO_READ, words.data()) != 0;
    if (told) known_.io = words;
    if (!told) nextState_ = Clock::now();
    nextIo_ = Clock::now() + (told ? kStateInterval : kUnansweredInterval);
}

void Observer::Thread::AskState() {
    const auto ask = [] {
        return CC_FREEFRAME(kArm, kAskState, sizeof kAskState, CC_FRAME_AWAITED, kAnyState) != 0;
    };
    bool told = ask();
    if (!told) told = ask();
    if (!told) {
        if (broken_.empty()) broken_ = "the controller does not answer";
        return;
    }
    known_.heard = Clock::now();
    nextState_ = known_.heard + kStateInterval;
    ControllerInfo controller{};
    // An arm that is not started is not asked anew by this: it copies what was told.
    if (!known_.controller && CC_INFO(kArm, &controller) != 0) known_.controller = controller;
    const int16_t status = CC_GETSTATUS(kArm);
    if (status != CC_STATUS_STOPPED) emergency_ = false;
    SetState(emergency_ ? "emergency" : StatusWord(status));
}

void Observer::Thread::SetState(const std::string &state) {
    if (state == known_.state) return;
    if (known_.number > 0) Tell("the controller is " + state);
    known_.state = state;
}

void Observer::Thread::AskPosition() {
    const int before = positions_;
    if (CC_GETCOORD(kArm) == 0) {
        if (broken_.empty()) broken_ = "the controller acknowledges nothing";
        return;
    }
    if (positions_ == before) {
        nextPosition_ = Clock::now() + kSilentInterval;
        nextState_ = Clock::now();
        return;
    }
    known_.heard = known_.positionTold = Clock::now();
    if (emergency_) nextState_ = Clock::now();
    emergency_ = false;
}

void Observer::Thread::AskRotary() {
    if (!known_.controller || !IsFitted(*known_.controller, kFirstRotaryAxis)) return;
    const int before = rotaries_;
    CC_GETWRISTCOORD(kArm);
    if (rotaries_ == before) nextRotary_ = Clock::now() + kUnansweredInterval;
}

void Observer::Thread::AskParameters() {
    known_.parametersAsked = true;
    for (int16_t set = 1; set <= Readout::kParameterSets; ++set) {
        std::array<double, Readout::kParameterAxes> values;
        values.fill(std::numeric_limits<double>::quiet_NaN());
        // Without an answer to the first one there is none to the others.
        if (stop_ || !broken_.empty() || CC_READ_PARAM(kArm, set, values.data()) == 0) break;
        known_.parameters[set] = values;
    }
    nextState_ = Clock::now();
}

// ---- answers

void Observer::Thread::OnEvent(int32_t event, uint32_t info, void *data) {
    current->Note(event, info, data);
}

void Observer::Thread::Note(int32_t event, uint32_t info, void *data) {
    switch (event) {
        case CC_EVENT_COORDINATES:
            return TakeCoordinates(*static_cast<const PointRecord *>(data));
        case CC_EVENT_TEMPERATURES: {
            const auto *const words = static_cast<const uint16_t *>(data);
            const size_t count = info >= 1 && info <= kTemperatures ? info : kTemperatures;
            known_.temperatures.assign(words, words + count);
            return;
        }
        case CC_EVENT_LINK:
            if (info == CC_LINK_LOST) broken_ = "the link broke";
            if (info == CC_LINK_IN_ORDER && opening_) LeaveIfItWantsTable();
            return;
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            emergency_ = true;
            known_.state = "emergency";
            break;
        default:
            break;
    }
    nextState_ = Clock::now();
    Tell(EventWords(event, info, data));
}

void Observer::Thread::TakeCoordinates(const PointRecord &point) {
    if (point.tag == CC_TAG_MACHINE) {
        ++positions_;
        known_.position = {point.position[0], point.position[1], point.position[2]};
        return;
    }
    ++rotaries_;
    const int a = options_.exchangesAxes ? 1 : 0;
    known_.rotary = {point.position[a]};
    if (known_.controller && IsFitted(*known_.controller, kFirstRotaryAxis + 1))
        known_.rotary.push_back(point.position[1 - a]);
}

void Observer::Thread::Tell(const std::string &words) {
    auto &happenings = known_.happenings;
    const int number = happenings.empty() ? 1 : happenings.back().number + 1;
    happenings.push_back({number, std::chrono::system_clock::now(), words});
    if (happenings.size() > kMostHappenings) happenings.pop_front();
}

void Observer::Thread::Publish() {
    const std::lock_guard guard(lock_);
    published_ = known_;
    changed_.notify_all();
}

void Observer::Thread::Fail(const Failure &failure) {
    const std::lock_guard guard(lock_);
    failure_ = failure;
    stop_ = true;
    changed_.notify_all();
}

void Observer::Thread::Sleep(Clock::time_point until) {
    std::unique_lock guard(lock_);
    changed_.wait_until(guard, until, [this] { return stop_.load(); });
}

// ----

Observer::Observer(const ObserverOptions &options) : thread_(std::make_shared<Thread>(options)) {
    call_.Begin([thread = thread_] {
        thread->Run();
        return 0;
    });
}

Observer::~Observer() {
    thread_->Stop();
    call_.Wait(kLongestLeaving);
}

Readout Observer::Look() const {
    return thread_->Look();
}

void Observer::Await(const Readout &before, milliseconds longest) const {
    thread_->Await(before, longest);
}

}  // namespace cmm
