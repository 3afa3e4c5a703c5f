// Commands one after the other: through the library, and without it.
#include <algorithm>
#include <deque>

#include "measurements.h"
#include "open_arm.h"
#include "own_process.h"
#include "ping_pong.h"

namespace bench {
namespace {

using emulator::Direction;

constexpr int kBusyProcesses = 4;

// What a measuring process hands back.
enum Row { kTimes, kCounts, kParts };

struct Call {
    int64_t begin;
    int64_t end;
};

// The surroundings of a plan, made before the process has a second thread.
class Surroundings {
  public:
    explicit Surroundings(const CallPlan &plan) {
        if (!plan.besideBusy) return;
        KeepToTwoProcessors();
        BecomeOrdinaryUser();
        for (int i = 0; i < kBusyProcesses; ++i) {
            busy_.emplace_back([] {
                for (volatile unsigned turns = 0;;) turns = turns + 1;
            });
        }
    }

  private:
    std::deque<emulator::OwnProcess> busy_;
};

// Calls until a limit of the plan is reached. call: result whether it succeeded.
template <typename Function>
Calls CallRepeatedly(const CallPlan &plan, std::vector<Call> &calls, Function call) {
    Calls result;
    const int64_t begin = Now();
    int64_t end = begin;
    while (static_cast<int>(calls.size()) < plan.calls && Milliseconds(end - begin) < 1000 * plan.seconds) {
        const int64_t callBegin = Now();
        if (!call()) ++result.failed;
        end = Now();
        calls.push_back({callBegin, end});
        result.times.push_back(Milliseconds(end - callBegin));
    }
    result.seconds = Milliseconds(end - begin) / 1000;
    return result;
}

// Counts what the far end has seen since the first call. letter: of the command that was called.
void CountFrames(const std::vector<LineFrame> &frames, int64_t since, uint8_t letter, Calls &calls) {
    calls.notRun = static_cast<int>(calls.times.size());
    for (const LineFrame &frame : frames) {
        if (frame.first < since || frame.direction != Direction::ToController || !frame.isData) continue;
        if (frame.isRepeated) ++calls.repeated;
        if (!frame.isRepeated && frame.code == letter) --calls.notRun;
    }
}

// Looks up what the far end saw during each call. Calls that left the pattern of command, reply and
// acknowledgement are left out.
CommandParts SplitTimes(const std::vector<LineFrame> &frames, const std::vector<Call> &calls) {
    Samples tick, wire, reception, completion;
    auto frame = frames.begin();
    const auto find = [&](Direction direction, bool isData) {
        while (frame != frames.end() && (frame->direction != direction || frame->isData != isData)) ++frame;
        return frame != frames.end();
    };
    for (const Call &call : calls) {
        while (frame != frames.end() && frame->first < call.begin) ++frame;
        if (!find(Direction::ToController, true)) break;
        const int64_t command = frame->first;
        if (!find(Direction::ToHost, true)) break;
        const int64_t reply = frame->last;
        if (!find(Direction::ToController, false)) break;
        // Both ends look at the acknowledgement; the far end may be the later one.
        const int64_t taken = std::min(frame->first, call.end);
        if (reply > call.end) continue;
        tick.push_back(Milliseconds(command - call.begin));
        wire.push_back(Milliseconds(reply - command));
        reception.push_back(Milliseconds(taken - reply));
        completion.push_back(Milliseconds(call.end - taken));
    }
    return {Mean(tick), Mean(wire), Mean(reception), Mean(completion)};
}

Rows ToRows(const Calls &calls, const CommandParts &parts) {
    return {calls.times,
            {calls.seconds, static_cast<double>(calls.failed), static_cast<double>(calls.repeated),
             static_cast<double>(calls.notRun)},
            {parts.tick, parts.wire, parts.reception, parts.completion}};
}

CommandCalls FromRows(const Rows &rows) {
    CommandCalls calls;
    calls.times = rows.at(kTimes);
    const Samples &counts = rows.at(kCounts);
    calls.seconds = counts[0];
    calls.failed = static_cast<int>(counts[1]);
    calls.repeated = static_cast<int>(counts[2]);
    calls.notRun = static_cast<int>(counts[3]);
    const Samples &parts = rows.at(kParts);
    calls.parts = {parts[0], parts[1], parts[2], parts[3]};
    return calls;
}

// Measures a call of the library.
template <typename Function>
CommandCalls MeasureCalls(const FarEndOptions &options, const Timers &timers, const CallPlan &plan,
                          uint8_t letter, Function call) {
    return FromRows(RunApart([&] {
        const Surroundings surroundings(plan);
        const FarEnd farEnd(options);
        OpenArm(farEnd, timers);
        call();  // takes an acknowledgement that the opening left
        std::vector<Call> calls;
        Calls result = CallRepeatedly(plan, calls, call);
        const std::vector<LineFrame> frames = farEnd.Frames();
        CountFrames(frames, calls.front().begin, letter, result);
        return ToRows(result, SplitTimes(frames, calls));
    }));
}

}  // namespace

CommandCalls MeasureCommands(const FarEndOptions &farEnd, const Timers &timers, const CallPlan &plan) {
    return MeasureCalls(farEnd, timers, plan, kCommand[2], [] {
        return CC_FREEFRAME(1, kCommand, sizeof kCommand, CC_FRAME_AWAITED, kCommandReply) == 1;
    });
}

Calls MeasureFeeds(const FarEndOptions &farEnd, const Timers &timers, const CallPlan &plan) {
    return MeasureCalls(farEnd, timers, plan, 'F', [] { return CC_FEED(1, 100) == 1; });
}

Calls MeasurePingPong(const FarEndOptions &options, const CallPlan &plan) {
    return FromRows(RunApart([&] {
        const Surroundings surroundings(plan);
        const FarEnd farEnd(options);
        PingPong line(farEnd);
        line.Exchange();
        std::vector<Call> calls;
        const Calls result = CallRepeatedly(plan, calls, [&line] {
            line.Exchange();
            return true;
        });
        return ToRows(result, {});
    }));
}

}  // namespace bench
