// Both arms with their heads in real time, for minutes or hours: real threads, faulty lines, devices that are unplugged, a
// process that is stopped and continued. A round is a time with faults and then one without, in which everything must work
// again.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <string>

#include "own_process.h"
#include "timed_calls.h"

namespace soak {
namespace {

using emulator::OwnProcess;

constexpr int64_t kFaultyTime = 45 * kSecond;
constexpr int64_t kLongestStop = 10 * kSecond;
constexpr int64_t kStopEvery = 4 * kSecond;  // on the average
constexpr int64_t kLongestRoundEnd =
    400 * kSecond;                        // two arms that recover as late as they may, and are closed
constexpr useconds_t kTurn = 5000;        // µs
constexpr int64_t kHangs = 20 * kSecond;  // beyond the limit of a call

// The queues, 10.6 megabytes of the library's own, are used slot by slot and stay resident; the thread sanitizer needs as
// much again several times.
#if defined(__SANITIZE_THREAD__)
constexpr int64_t kMoreResidentKb = 96 * 1024;
#else
constexpr int64_t kMoreResidentKb = 16 * 1024;
#endif
constexpr int64_t kMoreHeapKb = 64;

class Supervisor {
  public:
    Supervisor(Shared &shared, const std::string &folder, uint64_t seed) : shared_(shared), random_(seed) {
        shared_.begin = Now();
        const uint64_t far = random_(), near = random_();
        farEnds_.emplace([&shared, folder, far] { RunFarEnds(shared, folder.c_str(), far); });
        while (!shared_.linked && !broken_) Turn();
        measuring_.emplace([&shared, folder, near] { RunMeasuring(shared, folder.c_str(), near); });
    }

    /// Result: whether nothing was broken.
    bool Run(double minutes) {
        const int64_t end = shared_.begin + static_cast<int64_t>(minutes * 60 * kSecond);
        while (!shared_.lastRound) {
            // The time without faults takes ten seconds and more.
            shared_.lastRound = Now() + kFaultyTime + 60 * kSecond > end;
            ++shared_.round;
            shared_.phase = Phase::Faulty;
            BeFaulty();
            shared_.phase = Phase::Clean;
            const int64_t limit = Now() + kLongestRoundEnd;
            while (shared_.roundsDone != shared_.round && !broken_) {
                Turn();
                if (Now() > limit) Tell("the round does not end");
            }
            if (broken_) return false;
        }
        shared_.phase = Phase::Over;
        while (!measuring_->Status() && !broken_) Turn();
        CheckResources();
        return !broken_;
    }

  private:
    void Tell(const char *what) {
        broken_ = true;
        std::fprintf(stderr, "BROKEN after %.3f s, in round %d: %s\n",
                     static_cast<double>(Now() - shared_.begin) / kSecond, shared_.round.load(), what);
    }

    // Stops and continues the measuring process.
    void BeFaulty() {
        const int64_t end = Now() + kFaultyTime;
        std::exponential_distribution<double> pause(1.0 / kStopEvery);
        std::uniform_real_distribution<double> share(0, 1);
        while (Now() < end && !broken_) {
            const int64_t next = std::min(end, Now() + static_cast<int64_t>(pause(random_)));
            while (Now() < next && !broken_) Turn();
            if (Now() >= end || broken_) return;
            // Short stops are as likely as long ones.
            const auto longest = static_cast<double>(kLongestStop), shortest = longest / 1000;
            const int64_t begin = Now();
            measuring_->Signal(SIGSTOP);
            const int64_t until = begin + static_cast<int64_t>(shortest * std::pow(1000, share(random_)));
            while (Now() < until) usleep(1000);
            ++shared_.stops;
            shared_.stopped += Now() - begin;
            measuring_->Signal(SIGCONT);
        }
    }

    void Turn() {
        usleep(kTurn);
        LookAt(*farEnds_, "the far ends");
        if (measuring_) LookAt(*measuring_, "the measuring process");
        const int call = shared_.call;
        const int64_t begin = shared_.callBegin;
        if (call < 0 || broken_) return;
        const int64_t takes = Now() - begin - (shared_.stopped - shared_.callStopped);
        if (takes < WithMargin(kCallInfos[call].limit) + kHangs) return;
        if (shared_.call == call && shared_.callBegin == begin) {
            Tell(kCallInfos[call].name);
            std::fprintf(stderr, "does not return\n");
        }
    }

    void LookAt(OwnProcess &process, const char *name) {
        const std::optional<int> ended = process.Status();
        if (!ended || broken_) return;
        const int status = *ended;
        if (status == 0 && shared_.phase == Phase::Over) return;
        char text[100];
        std::snprintf(text, sizeof text, "%s ended with %s %d", name, WIFEXITED(status) ? "status" : "signal",
                      WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status));
        Tell(text);
    }

    void CheckResources() {
        const Resources &first = shared_.first, &last = shared_.last;
        if (last.descriptors != first.descriptors) Tell("the number of descriptors has changed");
        if (last.threads != first.threads) Tell("the number of threads has changed");
        if (last.residentKb > first.residentKb + kMoreResidentKb) Tell("the resident memory has grown");
        if (last.heapKb > first.heapKb + kMoreHeapKb) Tell("the heap has grown");
    }

    Shared &shared_;
    Random random_;
    std::optional<OwnProcess> farEnds_;
    std::optional<OwnProcess> measuring_;
    bool broken_ = false;
};

void PrintTable(const Shared &shared) {
    const auto seconds = [](int64_t us) { return static_cast<double>(us) / kSecond; };
    const auto line = [](const char *what, int64_t value) {
        std::printf("%-40s %12lld\n", what, static_cast<long long>(value));
    };
    std::printf("%-26s %9s %9s %12s %12s\n", "call", "count", "result 0", "longest, s", "limit, s");
    for (int i = 0; i < kCallKinds; ++i) {
        const CallFigures &figures = shared.calls[i];
        std::printf("%-26s %9lld %9lld %12.3f %12.1f\n", kCallInfos[i].name,
                    static_cast<long long>(figures.count), static_cast<long long>(figures.failed),
                    seconds(figures.longest), kCallInfos[i].limit);
    }
    line("rounds", shared.roundsDone);
    line("openings", shared.openings);
    line("moves done", shared.movesDone);
    line("points", shared.points);
    line("moves rejected", shared.rejections);
    line("links lost", shared.losses);
    line("buffers brought together", shared.resyncs);
    line("boxes", shared.boxes);
    line("emergencies of a second thread", shared.buttonEmergencies);
    line("frames repeated by the host", shared.repeated);
    line("frames given up by the host", shared.givenUp);
    line("numbered messages taken", shared.taken);
    line("of them twice, classic line", shared.takenTwiceClassic);
    line("devices unplugged", shared.unplugs);
    line("heads unplugged", shared.headUnplugs);
    line("stops", shared.stops);
    std::printf("%-40s %12.1f\n", "stopped, s", seconds(shared.stopped));
    const Recovery &slowest = shared.slowestRecovery;
    std::printf("%-40s %12.1f  arm %d, line mode %d, round %d\n", "slowest recovery, s",
                seconds(slowest.time), slowest.arm, slowest.lineMode, slowest.round);
    const Resources &first = shared.first, &last = shared.last;
    std::printf("%-40s %12s %12s %12s\n", "both arms closed", "first round", "at the end", "may grow by");
    std::printf("%-40s %12lld %12lld %12lld\n", "resident, kB", static_cast<long long>(first.residentKb),
                static_cast<long long>(last.residentKb), static_cast<long long>(kMoreResidentKb));
    std::printf("%-40s %12lld %12lld %12lld\n", "heap, kB", static_cast<long long>(first.heapKb),
                static_cast<long long>(last.heapKb), static_cast<long long>(kMoreHeapKb));
    std::printf("%-40s %12d %12d %12d\n", "descriptors", first.descriptors, last.descriptors, 0);
    std::printf("%-40s %12d %12d %12d\n", "threads", first.threads, last.threads, 0);
}

int RunSoak(double minutes, uint64_t seed) {
    std::string folder = (std::filesystem::temp_directory_path() / "cc_soak_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for the ports");
    void *const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
    Shared &shared = *new (memory) Shared;
    bool good = false;
    {
        Supervisor supervisor(shared, folder, seed);
        good = supervisor.Run(minutes);
    }
    std::filesystem::remove_all(folder);
    PrintTable(shared);
    std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed),
                good ? "all checks hold" : "BROKEN");
    return good ? 0 : 1;
}

}  // namespace
}  // namespace soak

int main(int argc, char **argv) {
    double minutes = 5;
    uint64_t seed = std::random_device()();
    CLI::App app("Lets both arms work for a long time on lines that misbehave");
    app.add_option("--minutes", minutes, "How long, two at least")
        ->check(CLI::Range(2.0, 100000.0))
        ->capture_default_str();
    app.add_option("--seed", seed, "Seed of all that is random; without it a new one is drawn and printed");
    CLI11_PARSE(app, argc, argv);
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    try {
        return soak::RunSoak(minutes, seed);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
