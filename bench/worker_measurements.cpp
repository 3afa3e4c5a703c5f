// What the worker does while the client is in its loop: touch points, moves, and nothing.
#include <sys/resource.h>

#include <random>
#include <stdexcept>

#include "cc_interface_posix.h"
#include "line_host.h"
#include "measurements.h"
#include "open_arm.h"

namespace bench {
namespace {

using namespace emulator;

constexpr uint8_t kPointReply = 9;
constexpr uint8_t kMoveReply = 4;
constexpr uint8_t kMoveLetter = 'G';
constexpr size_t kMostUnanswered = 14;
constexpr int kLoopMs = 10;             // of one run of the client's loop
constexpr double kPatienceMs = 60'000;  // for the moves that are waited for

constexpr size_t kMostEvents = 1000;  // of a kind
std::vector<int64_t> pointTimes, doneTimes;

void CC_CALL NoteTime(int32_t event, uint32_t, void *) {
    if (event == CC_EVENT_POINT) pointTimes.push_back(Now());
    if (event == CC_EVENT_MOVE_DONE) doneTimes.push_back(Now());
}

// Opens an arm whose points and moves are noted, and starts measuring.
void OpenForMoves(const FarEnd &farEnd, const Timers &timers) {
    pointTimes.reserve(kMostEvents);
    doneTimes.reserve(kMostEvents);
    OpenArm(farEnd, timers, NoteTime);
    StartMeasuring();
}

// Runs the client's loop until so many moves are done. meanwhile: called between the runs.
template <typename Function>
void RunUntilDone(size_t moves, Function meanwhile) {
    const int64_t begin = Now();
    while (doneTimes.size() < moves) {
        if (Milliseconds(Now() - begin) > kPatienceMs) throw std::runtime_error("moves are not done");
        meanwhile();
        CC_LOOP_RUN(kLoopMs);
    }
}

// Last bytes of the replies of a kind, but for repeated ones.
std::vector<int64_t> ReplyTimes(const std::vector<LineFrame> &frames, uint8_t code) {
    std::vector<int64_t> times;
    for (const LineFrame &frame : frames) {
        const bool isReply = frame.direction == Direction::ToHost && frame.isData && !frame.isRepeated;
        if (isReply && frame.code == code) times.push_back(frame.last);
    }
    return times;
}

double ProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// The way from the host to the controller, frame by frame.
class Way {
  public:
    /// A frame that the host wrote is on the way until its bytes have gone over it.
    void Add(const LineFrame &frame) {
        const int64_t begin = std::max(frame.first, free_);
        if (begin > free_) idle_ += begin - free_;
        free_ = begin + frame.bytes * kByteTimeController * 1000;
    }
    /// From now on idle time counts.
    void Watch(int64_t time) {
        idle_ = 0;
        free_ = std::max(free_, time);
    }
    /// Idle time since then, up to a frame that begins at `time`.
    int64_t Idle(int64_t time) const { return idle_ + std::max<int64_t>(time - free_, 0); }

  private:
    int64_t free_ = 0;
    int64_t idle_ = 0;
};

// Idle times of the way to the controller between moves. The frames stand in the order of their last bytes.
Samples IdleTimes(const std::vector<LineFrame> &frames) {
    Samples idle;
    Way way;
    size_t sent = 0, answered = 0;
    bool acknowledged = false, watching = false;
    for (const LineFrame &frame : frames) {
        if (frame.direction == Direction::ToController) {
            const bool isMove = frame.isData && frame.code == kMoveLetter;
            if (isMove && watching) idle.push_back(Milliseconds(way.Idle(frame.first)));
            if (isMove && !frame.isRepeated) ++sent;
            if (isMove) acknowledged = watching = false;
            way.Add(frame);
            continue;
        }
        if (!frame.isData) acknowledged |= sent > 0;
        if (frame.isData && frame.code == kMoveReply && !frame.isRepeated) ++answered;
        if (watching || !acknowledged || sent - answered >= kMostUnanswered) continue;
        watching = true;
        way.Watch(frame.last);
    }
    return idle;
}

}  // namespace

Samples MeasurePoints(const Timers &timers, int points) {
    const Rows rows = RunApart([&] {
        FarEndOptions options = PromptFarEnd(false);
        options.gap = kPieceGap;  // the classic line takes frames that come together for one
        options.controller.part = std::make_shared<PlanePart>();
        options.controller.speed = options.controller.probingSpeed = 1000;
        const FarEnd farEnd(options);
        OpenForMoves(farEnd, timers);
        std::mt19937 random(1);
        for (int point = 0; point < points; ++point) {
            // Its way down takes up to 64 ms.
            const double above[6] = {0, 0, 1 + static_cast<double>(random() % 64)};
            const double below[6] = {0, 0, -1};
            CC_MOVE(1, CC_MOVE_PLAIN, above, 0, 0, nullptr, nullptr, 0);
            RunUntilDone(doneTimes.size() + 1, [] {});
            CC_MOVE(1, CC_MOVE_PROBING, below, 0, 1, nullptr, nullptr, 0);
            RunUntilDone(doneTimes.size() + 1, [] {});
        }
        const std::vector<int64_t> written = ReplyTimes(farEnd.Frames(), kPointReply);
        if (written.size() != pointTimes.size()) throw std::runtime_error("points are missing");
        Samples delays;
        for (size_t i = 0; i < written.size(); ++i)
            delays.push_back(Milliseconds(pointTimes[i] - written[i]));
        return Rows{delays};
    });
    return rows.at(0);
}

double MeasureIdleArm(const Timers &timers, double seconds) {
    const Rows rows = RunApart([&] {
        const FarEnd farEnd(PromptFarEnd(false));
        OpenArm(farEnd, timers);
        CC_LOOP_RUN(500);  // until the worker has ordered what it orders at first
        const double processor = ProcessorSeconds();
        const int64_t begin = Now();
        CC_LOOP_RUN(static_cast<int>(1000 * seconds));
        return Rows{{1000 * (ProcessorSeconds() - processor) / Milliseconds(Now() - begin)}};
    });
    return rows.at(0).at(0);
}

Moves MeasureMoves(const Timers &timers, int moves) {
    const Rows rows = RunApart([&] {
        FarEndOptions options = PromptFarEnd(true);
        options.controller.speed = 1000;
        const FarEnd farEnd(options);
        OpenForMoves(farEnd, timers);
        const int64_t begin = Now();
        int filed = 0;
        RunUntilDone(static_cast<size_t>(moves), [&filed, moves] {
            for (; filed < moves && CC_CANSEND(1, 1) != 0; ++filed) {
                const double position[6] = {0.001 * filed};
                CC_MOVE(1, CC_MOVE_PLAIN, position, 0, 0, nullptr, nullptr, 0);
            }
        });
        const double seconds = Milliseconds(doneTimes.back() - begin) / 1000;
        return Rows{IdleTimes(farEnd.Frames()), {moves / seconds}};
    });
    return {rows.at(0), rows.at(1).at(0)};
}

}  // namespace bench
