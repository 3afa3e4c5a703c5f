#include "invariants.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include "frame_words.h"

namespace campaign {
namespace {

using emulator::kMillisecond;
using emulator::kSecond;

// A frame that was written before a call returned may be on the wire or in a merged piece for that long.
constexpr int64_t kOnTheWire = 500 * kMillisecond;

// Behind a pause of the host the next tick may come at once.
constexpr int64_t kLongestTick = 100 * kMillisecond;

constexpr size_t kFrameBytes = 3;  // of a frame, beside its message: type, checksum, terminator
constexpr size_t kNone = SIZE_MAX;

bool IsPrompt(const Account &account) {
    return account.lineMode == 1;
}

std::string Words(const Bytes &message) {
    return emulator::MessageName(emulator::Direction::ToController, message) + " (" +
           emulator::HexWords(message) + ")";
}

std::string At(int64_t time) {
    return " at " + std::to_string(static_cast<double>(time) / 1e6) + " s";
}

// ---- every call returns within its limit

void CheckTimes(Account &account) {
    for (const Call &call : account.calls) {
        if (call.end - call.begin <= call.limit) continue;
        account.Break("calls return in time", call.text + " took " +
                                                  std::to_string((call.end - call.begin) / 1000) + " ms of " +
                                                  std::to_string(call.limit / 1000) + At(call.begin));
    }
}

// ---- no box but the three, and only where the rules show one

void CheckBoxes(Account &account) {
    constexpr const char *kNoAck = " No ACK Received ";
    constexpr const char *kSending[] = {"Error on send Start Link Control Message",
                                        "Error on send Line Error Control Message"};
    for (const Box &box : account.boxes) {
        if (box.text == kNoAck) {
            const std::string who =
                box.call == kNoCall ? "the worker" : account.calls[static_cast<size_t>(box.call)].text;
            if (box.time - box.waitedFrom < 3 * kSecond - kLongestTick)
                account.Break("boxes only where the rules show one",
                              who + " showed" + box.text + "too early" + At(box.time));
            // On a classic line acknowledgements are not told apart, and may lie unread.
            if (IsPrompt(account) && (!box.waits || box.faultless))
                account.Break("boxes only where the rules show one",
                              who + " showed" + box.text +
                                  (box.waits ? "without a fault" : "with nothing to acknowledge") +
                                  At(box.time));
        } else if (std::find(std::begin(kSending), std::end(kSending), box.text) == std::end(kSending)) {
            account.Break("boxes only where the rules show one", "a box with " + box.text);
        } else if (!account.callsFailed && !account.arms[0].lineFailed && !account.arms[1].lineFailed) {
            account.Break("boxes only where the rules show one",
                          box.text + " on a line that takes everything");
        }
    }
}

// ---- what was ordered was executed once

// Whether a message is an answer that the library gives by itself, also in the middle of a call.
bool IsOwnAnswer(const Bytes &message) {
    return message.size() > 4 && message[2] == 'P' && message[3] == '0' &&
           (message[4] == '5' || message[4] == '6');
}

// Whether a message switches the reports of coordinates, which a status order does along with its own.
bool IsAboutReports(const Bytes &message) {
    return message.size() > 2 && (message[2] == 'J' || message[2] == 'K');
}

bool ShowedBox(const Account &account, int call) {
    return std::any_of(account.boxes.begin(), account.boxes.end(),
                       [call](const Box &box) { return box.call == call; });
}

bool WasLost(const ArmAccount &arm, int64_t since) {
    return std::any_of(arm.losses.begin(), arm.losses.end(), [since](int64_t time) { return time >= since; });
}

std::string Key(const Bytes &message) {
    return {message.begin(), message.end()};
}

/// When the host sent each message, by its bytes.
using SendingTimes = std::map<std::string, std::vector<int64_t>>;

SendingTimes TimesOf(const ArmAccount &arm) {
    SendingTimes times;
    for (const Timed &frame : arm.sent)
        times[Key(emulator::MessageInFrame(frame.bytes))].push_back(frame.time);
    return times;
}

bool WasSent(const SendingTimes &times, const Queued &queued, int64_t until) {
    const auto found = times.find(Key(queued.message));
    return found != times.end() && std::any_of(found->second.begin(), found->second.end(), [&](int64_t time) {
               return time >= queued.time && time <= until;
           });
}

/// How likely it is that a message was executed, by what its call says; the likely ones are matched first.
enum class Likely { Now, Yes, Perhaps, No };

/// Which queued message each executed one came from.
struct Matching {
    std::vector<size_t> queuedOf;    // by executed message; kNone: ordered by nobody
    std::vector<size_t> executedOf;  // by queued message; kNone: not executed
    std::vector<Likely> likely;      // by queued message
};

// Whether the call that ordered a message failed, and if so, before the message was ever sent, so that it must not be
// executed.
Likely Likelihood(const Account &account, const SendingTimes &times, const Queued &queued) {
    if (queued.call == kNoCall || IsOwnAnswer(queued.message)) return Likely::Yes;
    const Call &call = account.calls[static_cast<size_t>(queued.call)];
    if (call.promise == Promise::Nothing || call.result == 1) return Likely::Yes;
    return WasSent(times, queued, call.end + kOnTheWire) ? Likely::Perhaps : Likely::No;
}

// Messages of the same bytes are executed in the order in which they were queued, but for those whose calls failed.
Matching Match(const Account &account, const ArmAccount &arm) {
    Matching matching{
        std::vector<size_t>(arm.executed.size(), kNone), std::vector<size_t>(arm.queued.size(), kNone), {}};
    const SendingTimes times = TimesOf(arm);
    std::map<std::string, std::vector<size_t>> waiting;
    for (size_t i = 0; i < arm.queued.size(); ++i) {
        matching.likely.push_back(Likelihood(account, times, arm.queued[i]));
        waiting[Key(arm.queued[i].message)].push_back(i);
    }
    for (size_t i = 0; i < arm.executed.size(); ++i) {
        const auto [time, message] = arm.executed[i];
        std::vector<size_t> &candidates = waiting[Key(message)];
        const auto likelihood = [&](size_t queued) {
            const int call = arm.queued[queued].call;
            const bool inItsCall = call != kNoCall && account.calls[static_cast<size_t>(call)].end >= time;
            return inItsCall ? Likely::Now : matching.likely[queued];
        };
        // What was queued while its frame would still be under way was not that one.
        const int64_t begin =
            time - static_cast<int64_t>(message.size() + kFrameBytes) * emulator::kByteTimeController;
        auto best = candidates.end();
        for (auto each = candidates.begin(); each != candidates.end() && arm.queued[*each].time <= begin;
             ++each)
            if (best == candidates.end() || likelihood(*each) < likelihood(*best)) best = each;
        if (best == candidates.end()) continue;
        matching.queuedOf[i] = *best;
        matching.executedOf[*best] = i;
        candidates.erase(best);
    }
    return matching;
}

void CheckNothingTwice(Account &account, ArmAccount &arm, const Matching &matching) {
    for (size_t i = 0; i < arm.executed.size(); ++i) {
        if (matching.queuedOf[i] != kNone) continue;
        if (IsPrompt(account)) {
            account.Break(
                "nothing is executed twice",
                Words(arm.executed[i].bytes) + " more often than ordered" + At(arm.executed[i].time));
        } else {
            account.Meet("classic line: a frame that was given up was executed twice");
        }
    }
}

void CheckNothingTakenBack(Account &account, ArmAccount &arm, const Matching &matching) {
    for (size_t i = 0; i < arm.queued.size(); ++i) {
        if (matching.executedOf[i] == kNone || matching.likely[i] != Likely::No) continue;
        // What is sent beside an order is not taken back with it.
        if (IsAboutReports(arm.queued[i].message)) continue;
        if (IsPrompt(account)) {
            account.Break("what failed before it was sent is not executed",
                          Words(arm.queued[i].message) + At(arm.queued[i].time));
        } else {
            account.Meet("classic line: a command ran after its call had failed");
        }
    }
}

void CheckSuccesses(Account &account, ArmAccount &arm, const Matching &matching) {
    for (size_t i = 0; i < arm.queued.size(); ++i) {
        const Queued &queued = arm.queued[i];
        if (queued.call == kNoCall || IsOwnAnswer(queued.message) || matching.executedOf[i] != kNone)
            continue;
        const Call &call = account.calls[static_cast<size_t>(queued.call)];
        if (call.promise == Promise::Nothing || call.result != 1 || IsAboutReports(queued.message)) continue;
        if (call.promise == Promise::Sent && ShowedBox(account, queued.call)) continue;
        if (call.promise == Promise::Queued && WasLost(arm, queued.time)) continue;
        if (call.promise == Promise::Answered) {
            account.Meet("both lines: another reply ended a wait whose command was lost with the link");
        } else if (IsPrompt(account)) {
            account.Break("what succeeded was executed",
                          call.text + ": " + Words(queued.message) + At(queued.time));
        } else {
            account.Meet(call.promise == Promise::Queued
                             ? "classic line: an emergency was taken for a repetition of what it overtook"
                             : "classic line: another frame's acknowledgement made a call succeed");
        }
    }
}

// A message of the move buffer that has a target, and so bytes of its own.
bool IsMove(const Bytes &message) {
    constexpr size_t kLongerThanModes = 10;
    return message.size() > kLongerThanModes && message[2] == 'G';
}

// Moves are executed in the order of their filing, and none is left out between two others.
void CheckPaths(Account &account, ArmAccount &arm, const Matching &matching) {
    if (!IsPrompt(account)) return;
    size_t last = kNone;
    for (const size_t queued : matching.queuedOf) {
        if (queued == kNone || !IsMove(arm.queued[queued].message)) continue;
        if (last != kNone && queued < last)
            account.Break("paths have no holes",
                          Words(arm.queued[queued].message) + " ran behind a later one");
        for (size_t between = last == kNone ? queued : last + 1; between < queued; ++between) {
            const Queued &left = arm.queued[between];
            const auto reset = std::find_if(arm.resets.begin(), arm.resets.end(), [&](int64_t time) {
                return time >= left.time && time <= arm.queued[queued].time;
            });
            if (IsMove(left.message) && matching.executedOf[between] == kNone && reset == arm.resets.end())
                account.Break("paths have no holes", Words(left.message) + " was left out" + At(left.time));
        }
        last = queued;
    }
}

// ---- nothing stays behind

void CheckLeftovers(Account &account, int number) {
    const ArmAccount &arm = account.arms[number - 1];
    const std::string name = "arm " + std::to_string(number);
    if (IsPrompt(account)) {
        if (arm.tries > 1) account.Break("an arm works again by itself", name);
        if (!arm.restsAtLast) account.Break("an arm comes to rest", name);
    } else if (arm.tries == kMostTries) {
        if (arm.diedWithItsDevice) {
            account.Meet("classic line: dead until it is opened again, after an unplug");
        } else {
            account.Break("an arm works again by itself", name);
        }
    } else if (arm.tries > 1) {
        account.Meet("classic line: a reply came late or not at all, as reception was behind");
    } else if (arm.hasBacklog || !arm.restsAtLast || arm.left == std::vector<std::string>{"a reply"}) {
        account.Meet("classic line: replies come faster than the worker decodes them");
        return;
    } else if (arm.left == std::vector<std::string>{"a message to send"}) {
        account.Meet("classic line: an acknowledgement lies unread until the next frame comes");
        return;
    }
    for (const std::string &left : arm.left)
        account.Break("everything is given back", name + " kept " + left);
}

}  // namespace

void Judge(Account &account) {
    CheckTimes(account);
    CheckBoxes(account);
    for (const int number : {1, 2}) {
        ArmAccount &arm = account.arms[number - 1];
        CheckLeftovers(account, number);
        if (!arm.hasLine) continue;
        const Matching matching = Match(account, arm);
        CheckNothingTwice(account, arm, matching);
        CheckNothingTakenBack(account, arm, matching);
        CheckSuccesses(account, arm, matching);
        CheckPaths(account, arm, matching);
    }
}

}  // namespace campaign
