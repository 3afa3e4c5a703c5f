// What is known of a session when it has ended: the host's side and the far end's, to be compared.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cc_interface_posix.h"
#include "link_peer.h"
#include "plan.h"

namespace campaign {

using emulator::Bytes;
using emulator::Vector;

/// What a result of 1 says of the message that a call sent.
enum class Promise {
    Nothing,
    Queued,        // it goes out, unless the link is lost with it or the arm is closed before
    Sent,          // the controller has it, unless a box told that its acknowledgement is still to come
    Acknowledged,  // the controller has it
    Answered       // its answer came, or another one that ended the wait
};

/// A call of an export that may take time or send something. Times in µs of virtual time.
struct Call {
    std::string text;
    int arm = 0;
    Promise promise = Promise::Nothing;
    int64_t begin = 0;
    int64_t end = 0;
    int64_t limit = 0;  // longest time that the rules allow, time in which the host stood still included
    int result = 0;
};

inline constexpr int kNoCall = -1;

/// A command message that the library queued, by its own trace.
struct Queued {
    int64_t time;  // of the call, or of the step in which the worker ran, that queued it
    int call;      // index of the call; kNoCall: the worker's
    Bytes message;
};

struct Timed {
    int64_t time;
    Bytes bytes;
};

/// What the client was told of its link.
struct LinkEvent {
    int64_t time;
    uint32_t info;  // CC_LINK_LOST, CC_LINK_IN_ORDER
};

/// A message of the move buffer as its client knows it.
struct FiledMove {
    enum class End { Open, Done, Rejected, Reset };

    uint32_t reportCode = 0;
    bool probing = false;
    uint32_t id = 0;
    Vector direction{};  // from the sphere's centre to where the probe comes from
    End end = End::Open;
    bool pointSeen = false;
};

inline constexpr int kMostTries = 10;

/// One arm.
struct ArmAccount {
    bool hasLine = false;
    std::vector<Queued> queued;
    std::vector<Timed> sent;      // data frames as the host put them on the line, by their first bytes
    std::vector<Timed> executed;  // messages that the controller took
    std::vector<FiledMove> moves;
    std::vector<int64_t> resets;  // when moves were rejected or reset, or the arm was opened anew

    std::vector<int64_t> losses;  // when the client was told of a lost link, or an opening began or ended

    // The present opening of the line.
    uint32_t framesByType[10]{};      // of the host, since the link was reset
    uint32_t repeated = 0;            // data frames of the host that came once more
    uint32_t givenUp = 0;             // data frames that came four times before a start-link
    uint32_t acknowledged = 0;        // frames that the host acknowledged, each once
    std::vector<Timed> lastSent;      // frames of the host, the youngest last
    std::vector<int64_t> startLinks;  // of the host: when each came
    std::vector<Timed> received;      // frames that came into the host's input
    std::vector<LinkEvent> linkEvents;
    size_t firstQueued = 0;        // of `queued`
    size_t firstSent = 0;          // of `sent`
    bool countsDisturbed = false;  // bytes were lost on their way, or writes of the host refused

    int tries = 0;  // of a command, until the arm worked again after the last fault; kMostTries: it did not
    bool restsAtLast = true;
    bool hasBacklog = false;         // of replies, on a classic line
    bool diedWithItsDevice = false;  // classic line, unplugged while open
    bool lineFailed = false;         // the line was unplugged or full at some time
    std::vector<std::string> left;   // what was not given back
};

/// Something that the rules forbid, found while the session ran, or at its end.
struct Breach {
    std::string invariant;
    std::string what;
};

/// A known weakness of the classic line, or of the rules on both lines, as it was met.
struct Weakness {
    std::string name;
    int times = 0;
};

struct Box {
    std::string text;
    int call;            // in which it was shown; kNoCall: in the worker
    int64_t time;        // when
    int64_t waitedFrom;  // begin of the call, or the same box before: no wait for this one began earlier
    bool waits;          // a message of an open arm waits for its acknowledgement
    bool faultless;      // nothing has been disturbed yet
};

struct Account {
    int lineMode = 0;
    ArmAccount arms[2];
    std::vector<Call> calls;
    std::vector<Box> boxes;
    bool callsFailed = false;  // a call of the system's was made to fail
    int64_t lineTime = 0;      // µs, of all lines to controllers that were open
    std::vector<Breach> breaches;
    std::vector<Weakness> weaknesses;

    void Break(const std::string &invariant, const std::string &what) {
        breaches.push_back({invariant, what});
    }
    void Meet(const std::string &weakness, int times = 1);
};

}  // namespace campaign
