// What the processes of a soak run share: the phase of the run, and what each has to tell.
#pragma once

#include <sys/types.h>
#include <time.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <random>

namespace soak {

inline constexpr int kArms = 2;
inline constexpr double kScale = 0.0001;  // mm a count

/// Microseconds, the same for all processes.
inline int64_t Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}
inline constexpr int64_t kSecond = 1000000;
inline constexpr int64_t kMillisecond = 1000;

using Random = std::mt19937_64;
inline int64_t Below(Random &random, int64_t limit) {
    return static_cast<int64_t>(random() % static_cast<uint64_t>(limit));
}
inline bool OneIn(Random &random, int64_t n) {
    return Below(random, n) == 0;
}

/// Unique numbers that moves and output words carry, by which the far end tells what it has had before.
inline constexpr uint32_t kSerials = 1 << 24;
inline constexpr uint32_t kPromptSerial = 1 << 28;  // this bit: sent on a prompt line

enum class Phase { Start, Faulty, Clean, Over };

enum CallKind {
    kInit,
    kStart,
    kDone,
    kSetStatus,
    kOpBuf,
    kNcOnOff,
    kEmergency,
    kFeed,
    kAxes,
    kTp200,
    kStartHold,
    kSetInfo,
    kGetInfo,
    kIoRead,
    kIoWrite,
    kReadParam,
    kReadTemp,
    kAskCoord,
    kGetCoord,
    kInfo,
    kMove,
    kFile,
    kAsk,
    kBuffReset,
    kHeadUpdate,
    kHeadTurn,
    kHeadMode,
    kStatistics,
    kLoopRun,
    kCallKinds
};

struct CallFigures {
    int64_t count = 0;
    int64_t failed = 0;   // result 0
    int64_t longest = 0;  // µs, time stopped left out
};

struct Resources {
    int64_t residentKb = 0;
    int64_t heapKb = 0;  // 0 where a sanitizer has its own heap
    int descriptors = 0;
    int threads = 0;
};

/// From the end of the faults, or of the recovery of the arm before, until an arm works again.
struct Recovery {
    int64_t time = 0;  // µs
    int arm = 0;
    int lineMode = 0;
    int round = 0;
};

struct Shared {
    // Of the supervising process.
    std::atomic<Phase> phase{Phase::Start};
    std::atomic<int> round{0};
    std::atomic<bool> lastRound{false};
    std::atomic<int64_t> stopped{0};  // µs for which the measuring process has been stopped so far
    int64_t begin = 0;
    int64_t stops = 0;

    // Of the far ends.
    std::atomic<bool> linked{false};  // all ports are there
    std::atomic<int> cleanRound{0};   // the round whose faults are over
    std::atomic<int64_t> unplugs{0}, headUnplugs{0};
    std::atomic<int64_t> taken{0}, takenTwiceClassic{0};  // messages with a serial number

    // Of the measuring process.
    std::atomic<bool> prompt[kArms]{};  // the line mode of the arm
    std::atomic<int> roundsDone{0};
    std::atomic<int> call{-1};  // under way
    std::atomic<int64_t> callBegin{0}, callStopped{0};
    CallFigures calls[kCallKinds];
    std::atomic<int64_t> boxes{0};  // shown by whatever thread
    std::atomic<int64_t> buttonEmergencies{0};
    int64_t points = 0, movesDone = 0, rejections = 0, losses = 0, openings = 0, resyncs = 0;
    Recovery slowestRecovery;
    int64_t repeated = 0, givenUp = 0;
    Resources first, last;
};

/// Prints what is broken and when, and ends this process with 1.
[[noreturn]] void Broken(const Shared &shared, const char *format, ...) __attribute__((format(printf, 2, 3)));

/// The far ends: runs until it is killed.
void RunFarEnds(Shared &shared, const char *folder, uint64_t seed);

/// The measuring program: runs until the phase is Over.
void RunMeasuring(Shared &shared, const char *folder, uint64_t seed);

}  // namespace soak
