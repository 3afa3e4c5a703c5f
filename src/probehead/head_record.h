// What is known of one arm's probe head.
#pragma once

#include <cstdint>

namespace cc {

/// Classes of the head's answers; an answer's class is the first that fits.
enum HeadAnswer : int32_t {
    kHeadNothing = 0,
    kHeadError = 1,
    kHeadWantsAutomatic = 2,
    kHeadAcknowledge = 3,
    kHeadPosition = 4,
};

/// Longest answer that one poll reads.
inline constexpr int32_t kHeadReplyBytes = 99;

/// Angle of a head that has not reported.
inline constexpr double kHeadAngleUnknown = -1.0;

/// Used on the thread of the client's calls only.
struct HeadRecord {
    double headA = 0;
    double headB = 0;
    bool manualMode = false;
    bool levePresent = false;  // the last position answer held no "H"
    char headReply[kHeadReplyBytes + 1]{};
    HeadAnswer headEvent = kHeadNothing;  // class of the last poll's answer
    int32_t headErrorCode = 0;            // error letter of that answer
    bool headSimulated = false;
    bool headInUse = false;
    bool headBusy = false;  // while a wait runs, so that the worker does not take its answers
};

}  // namespace cc
