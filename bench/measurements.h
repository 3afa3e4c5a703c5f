// What is measured on lines, each in a process of its own.
#pragma once

#include "far_end.h"
#include "run_apart.h"

namespace bench {

/// Lines of the initialisation file's section "Timers"; all else has its default.
struct Timers {
    int lineMode = 0;
    int loPeriod = 50;  // ms
    int hiPeriod = 50;  // ms
};

/// Calls one after the other, until one of the limits is reached.
struct CallPlan {
    int calls = 100;
    double seconds = 60;
    bool besideBusy = false;  // as an ordinary user, on two processors that four processes keep busy
};

/// Calls of one kind.
struct Calls {
    Samples times;       // of each call
    double seconds = 0;  // of all
    int failed = 0;      // without a reply
    int repeated = 0;    // frames that the host sent again
    int notRun = 0;      // calls less what the controller executed

    double Rate() const { return seconds > 0 ? static_cast<double>(times.size()) / seconds : 0; }
};

/// Where the time of commands went, mean of the calls, ms.
struct CommandParts {
    double tick = 0;        // from the call to its frame's first byte at the far end
    double wire = 0;        // from there to the last byte of the reply at the far end
    double reception = 0;   // from there to the host's acknowledgement at the far end
    double completion = 0;  // from there to the end of the call
};

struct CommandCalls : Calls {
    CommandParts parts;
};

/// The command of ping_pong.h through CC_FREEFRAME, which waits for its reply.
CommandCalls MeasureCommands(const FarEndOptions &farEnd, const Timers &timers, const CallPlan &plan);

/// CC_FEED, which ends with its link acknowledgement.
Calls MeasureFeeds(const FarEndOptions &farEnd, const Timers &timers, const CallPlan &plan);

/// The command of ping_pong.h without the library.
Calls MeasurePingPong(const FarEndOptions &farEnd, const CallPlan &plan);

/// From the last byte of a touch point, about to be written at the far end, to the client's callback. The client
/// runs its loop; touches come at any time of the worker's period.
Samples MeasurePoints(const Timers &timers, int points);

/// Processor time of an open arm with its loop, share of a core, 0 to 1.
double MeasureIdleArm(const Timers &timers, double seconds);

struct Moves {
    Samples idle;     // of the way to the controller, from an acknowledgement to the next move
    double rate = 0;  // moves a second, first to last
};

/// Moves filed as fast as the move buffer takes them, on a line of 9600 baud. The way counts as idle while a move
/// may be sent: one has been acknowledged and fewer than 14 are unanswered.
Moves MeasureMoves(const Timers &timers, int moves);

}  // namespace bench
