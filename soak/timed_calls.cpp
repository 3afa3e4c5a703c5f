#include "timed_calls.h"

#include <unistd.h>

#include <cstdarg>

namespace soak {
namespace {

// Waits, s; frames that lie unread may add a second to each.
constexpr double kAck = 3 + 1;
constexpr double kCompletion = kTimeout + 1;
constexpr double kBoth = kAck + kCompletion;
// Twelve start-links, each with half a second and half a second more.
constexpr double kLinkStart = 12;
constexpr double kRetries = 4 * kCompletion + kLinkStart + kCompletion;
constexpr double kHead = 11 * kHeadTimeout;
constexpr double kAtOnce = 0;

}  // namespace

const CallInfo kCallInfos[kCallKinds] = {
    // While it is opened the worker does not serve the arm, and completion waits are doubled.
    {"CC_INIT", kLinkStart + 12 * kHeadTimeout + 2 * (2 * kCompletion + 2 * kRetries)},
    {"CC_START", 2 * kBoth},
    {"CC_DONE", kBoth + kTimeout},
    {"CC_SETSTATUS", kBoth},
    {"CC_OPBUF", kBoth},
    {"CC_NCONOFF", kAck},
    {"CC_EMERGENCY", kAtOnce},
    {"CC_FEED", kAck},
    {"CC_ENDIS_AXES", kBoth + kCompletion},
    {"CC_ENDIS_TP200", kBoth},
    {"CC_ENDIS_STARTHOLD_MSG", kCompletion},
    {"CC_SETINFO", kBoth},
    {"CC_GETINFO", kBoth},
    {"CC_IO, read", kCompletion},
    {"CC_IO, write", kAtOnce},
    {"CC_READ_PARAM", kCompletion},
    {"CC_READTEMP", kAtOnce},
    {"CC_ASKCOORD", kAtOnce},
    {"CC_GETCOORD", kBoth},
    {"CC_INFO", kBoth + kRetries},
    {"CC_MOVE", kAtOnce},
    {"other motion", kAtOnce},
    {"status queries", kAtOnce},
    {"CC_BUFFRESET", kAtOnce},
    {"CC_PHUpdate", kHead},
    {"CC_PHSetPosition", 3 * kHead},
    {"CC_PHMANMODE, AUTOMODE", kHead},
    {"CC_LINK_STATISTICS", 6},
    // The worker may wait for what it sends by itself: orders, the head, an acknowledgement for each of 14 moves.
    {"CC_LOOP_RUN", 2 * kBoth + kHead + 14 * kAck},
};

void Broken(const Shared &shared, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr,
                 "BROKEN after %.3f s, in round %d: ", static_cast<double>(Now() - shared.begin) / kSecond,
                 shared.round.load());
    std::vfprintf(stderr, format, arguments);
    std::fprintf(stderr, "\n");
    va_end(arguments);
    std::fflush(stderr);
    _exit(1);
}

}  // namespace soak
