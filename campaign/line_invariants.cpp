// What must hold of a line: what the library tells of it agrees with what went over it.
#include <algorithm>
#include <cstring>
#include <set>

#include "frame_words.h"
#include "invariants.h"

namespace campaign {
namespace {

using emulator::kMillisecond;

// A frame of the host may wait behind others for the wire.
constexpr int64_t kOnTheWire = 500 * kMillisecond;

// What is longer is no frame for the library.
constexpr size_t kLongestFrame = 100;

/// Breaks an invariant of an arm.
class Check {
  public:
    Check(Account &account, int number, const char *invariant)
        : account_(account), name_("arm " + std::to_string(number)), invariant_(invariant) {}

    void Break(const std::string &what) const { account_.Break(invariant_, name_ + ": " + what); }
    void Equal(const char *what, uint32_t counted, uint32_t seen) const {
        if (counted != seen) Break(Words(what, counted) + ", the far end " + std::to_string(seen));
    }
    void Between(const char *what, uint32_t least, uint32_t counted, uint32_t most) const {
        if (counted < least || counted > most)
            Break(Words(what, counted) + ", the far end " + std::to_string(least) + " to " +
                  std::to_string(most));
    }

  private:
    static std::string Words(const char *what, uint32_t counted) {
        return "counted " + std::to_string(counted) + " " + what;
    }

    Account &account_;
    const std::string name_;
    const char *const invariant_;
};

// ---- statistics

uint32_t ControlFrames(const ArmAccount &arm, uint8_t type) {
    return static_cast<uint32_t>(std::count_if(
        arm.received.begin(), arm.received.end(),
        [type](const Timed &frame) { return frame.bytes.size() == 2 && frame.bytes[0] == type; }));
}

uint32_t DataFrames(const ArmAccount &arm) {
    return static_cast<uint32_t>(
        std::count_if(arm.received.begin(), arm.received.end(),
                      [](const Timed &frame) { return frame.bytes[0] == 3 || frame.bytes[0] == 4; }));
}

uint32_t DifferentMessages(const ArmAccount &arm) {
    std::set<std::string> messages;
    for (size_t i = arm.firstSent; i < arm.sent.size(); ++i) {
        const Bytes message = emulator::MessageInFrame(arm.sent[i].bytes);
        messages.emplace(message.begin(), message.end());
    }
    return static_cast<uint32_t>(messages.size());
}

void CheckStatistics(Account &account, int number) {
    const ArmAccount &arm = account.arms[number - 1];
    const Check check(account, number, "statistics agree with the far end");
    CC_LinkStatistics all{};
    CC_LINK_STATISTICS(static_cast<int16_t>(number), &all);
    check.Equal("data frames", all.framesSent + all.framesRepeated,
                arm.framesByType[3] + arm.framesByType[4]);
    check.Equal("acknowledgements", all.acknowledgementsSent, arm.framesByType[2] + arm.framesByType[5]);
    check.Equal("line errors", all.lineErrorsSent, arm.framesByType[1]);
    check.Equal("start-links", all.startLinksSent, arm.framesByType[9]);
    check.Equal("answers to start-links", all.startAcksSent, arm.framesByType[6]);
    check.Equal("frames received", all.framesReceived, arm.acknowledged);
    // What waits for a classic line's restart is sent again then, and counts as repeated.
    check.Between("new data frames", DifferentMessages(arm), all.framesSent,
                  static_cast<uint32_t>(arm.queued.size() - arm.firstQueued));
    if (account.lineMode == 0) return;
    check.Equal("repetitions", all.framesRepeated, arm.repeated);
    check.Equal("frames given up", all.framesGivenUp, arm.givenUp);
    check.Between("frames received again", all.acknowledgementsSent - arm.acknowledged, all.framesIgnored,
                  DataFrames(arm) - arm.acknowledged);
    check.Equal("line errors received", all.lineErrorsReceived, ControlFrames(arm, 1));
    check.Equal("start-links received", all.startLinksReceived, ControlFrames(arm, 9));
    check.Equal("answers received to start-links", all.startAcksReceived, ControlFrames(arm, 6));
    // Each frame is acknowledged, unless the link was lost with it.
    check.Between("acknowledgements received", all.framesSent - std::min(all.framesSent, all.startLinksSent),
                  all.acknowledgementsReceived,
                  std::min(all.framesSent, ControlFrames(arm, 2) + ControlFrames(arm, 5)));
}

// ---- history

// Whether a frame of the history is the end of one that went over the line, `cut` bytes behind its begin.
bool IsSame(const CC_LinkFrame &kept, const Bytes &frame, size_t cut) {
    const size_t length = frame.size() - cut;
    const size_t bytes = std::min<size_t>(length, CC_LINK_FRAME_BYTES);
    return kept.length == std::min<size_t>(length, 255) &&
           std::memcmp(kept.bytes, frame.data() + cut, bytes) == 0;
}

// The last frames of the history that went one way are the last that the far end saw, in order.
void CheckHistory(Account &account, int number) {
    const ArmAccount &arm = account.arms[number - 1];
    const Check check(account, number, "history agrees with the far end");
    CC_LinkFrame history[CC_LINK_FRAMES]{};
    const int16_t count = CC_LINK_HISTORY(static_cast<int16_t>(number), history, CC_LINK_FRAMES);
    auto sent = arm.lastSent.rbegin();
    auto received = arm.received.rbegin();
    for (int16_t i = count; i-- > 0;) {
        const CC_LinkFrame &kept = history[i];
        if (kept.sent != 0) {
            if (sent == arm.lastSent.rend() || !IsSame(kept, sent->bytes, 0))
                return check.Break("a frame was not sent as it is told");
            ++sent;
            continue;
        }
        const auto matches = [&](const Timed &frame) {
            if (account.lineMode == 1) return IsSame(kept, frame.bytes, 0);
            // A classic line discards what lies unread now and then, a part of a frame too.
            return kept.length <= frame.bytes.size() &&
                   IsSame(kept, frame.bytes, frame.bytes.size() - kept.length);
        };
        while (received != arm.received.rend() && !matches(*received) &&
               (account.lineMode == 0 || received->bytes.size() > kLongestFrame))
            ++received;
        if (received == arm.received.rend() || !matches(*received))
            return check.Break("a frame was not received as it is told");
        ++received;
    }
    if (account.lineMode == 0 || sent == arm.lastSent.rbegin()) return;
    // What came behind the oldest frame that is told to be sent is told too.
    if (std::any_of(received, arm.received.rend(), [oldest = (sent - 1)->time](const Timed &frame) {
            return frame.time > oldest && frame.bytes.size() <= kLongestFrame;
        }))
        check.Break("a frame was received and is not told");
}

// ---- events 1/257 and 1/1

// On both lines the first event tells that the link is in order, and each return follows a loss.
void CheckTurns(const Check &check, const ArmAccount &arm) {
    bool lost = true;
    for (const LinkEvent &event : arm.linkEvents) {
        if (event.info == CC_LINK_IN_ORDER && !lost) check.Break("the link's return was told twice");
        lost = event.info == CC_LINK_LOST;
    }
    if (arm.linkEvents.empty() || arm.linkEvents.front().info != CC_LINK_IN_ORDER)
        check.Break("the link was not told to be in order at first");
    if (lost) check.Break("the link's return was not told");
}

bool CameBetween(const std::vector<int64_t> &times, int64_t first, int64_t last) {
    return std::any_of(times.begin(), times.end(),
                       [&](int64_t time) { return time >= first && time <= last; });
}

// A prompt line is lost for as long as start-links go out. Each time is told once, whenever the client is next told
// anything, and nothing else is told as a loss.
void CheckLosses(const Check &check, const ArmAccount &arm) {
    std::vector<int64_t> answers;
    for (const Timed &frame : arm.received)
        if (frame.bytes == Bytes{6, 8}) answers.push_back(frame.time);
    const std::vector<LinkEvent> &events = arm.linkEvents;
    for (size_t first = 0; first + 1 < events.size();) {
        // From one return that was told to the next.
        size_t next = first + 1;
        while (next + 1 < events.size() && events[next].info == CC_LINK_LOST) ++next;
        if (!CameBetween(arm.startLinks, events[first].time, events[next].time))
            check.Break("a loss was told that was none");
        for (size_t told = first + 2; told < next; ++told) {
            if (!CameBetween(answers, events[first].time, events[told].time))
                check.Break("a loss was told twice");
        }
        first = next;
    }
    // Behind the last return of the link before a start-link something was told, and that is a loss.
    for (const int64_t time : arm.startLinks) {
        const auto isReturn = [time](const LinkEvent &event) {
            return event.info == CC_LINK_IN_ORDER && event.time < time - kOnTheWire;
        };
        if (!events.empty() && isReturn(events.back())) check.Break("a loss was not told");
    }
}

void CheckLinkEvents(Account &account, int number) {
    const ArmAccount &arm = account.arms[number - 1];
    const Check check(account, number, "losses of the link are told, and returns");
    CheckTurns(check, arm);
    if (account.lineMode == 1) CheckLosses(check, arm);
}

}  // namespace

void CheckLine(Account &account, int number) {
    if (account.callsFailed) return;
    CheckLinkEvents(account, number);
    if (account.arms[number - 1].countsDisturbed) return;
    CheckStatistics(account, number);
    CheckHistory(account, number);
}

}  // namespace campaign
