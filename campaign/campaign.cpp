// Runs random measuring sessions in virtual time until enough line-hours have passed or an invariant is broken.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "run.h"

using namespace campaign;

namespace {

struct Options {
    double hours = 0;    // line-hours, in each line mode
    double minutes = 0;  // of real time
    uint64_t seed = 0;
    std::string mode = "both";
    int sessions = 0;
    std::vector<int> steps;
    bool all = false;
    int processes = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
};

constexpr double kMicrosecondsAnHour = 3.6e9;

struct Totals {
    int sessions = 0;
    int64_t lineTime = 0;
    long calls = 0;
    long frames = 0;
    std::map<std::string, int> weaknesses;
    std::map<std::string, int> breaches;

    double Hours() const { return static_cast<double>(lineTime) / kMicrosecondsAnHour; }
};

void Print(const Totals (&totals)[2], double seconds) {
    double hours = 0;
    for (const int mode : {0, 1}) {
        const Totals &of = totals[mode];
        if (of.sessions == 0) continue;
        hours += of.Hours();
        std::cout << "line mode " << mode << ": " << of.sessions << " sessions, " << std::fixed
                  << std::setprecision(1) << of.Hours() << " line-hours, " << of.calls << " calls, "
                  << of.frames << " data frames of the host\n";
        for (const auto &[name, times] : of.weaknesses) std::cout << "  " << times << " x " << name << "\n";
        for (const auto &[name, times] : of.breaches)
            std::cout << "  BROKEN in " << times << " sessions: " << name << "\n";
    }
    std::cout << hours << " line-hours in " << seconds << " s, " << hours / seconds * 60 << " a minute"
              << std::endl;
}

std::string Replay(const Plan &plan) {
    std::string text =
        "--seed " + std::to_string(plan.seed) + " --mode " + std::to_string(plan.lineMode) + " --steps ";
    for (const int step : plan.steps) text += (step == plan.steps.front() ? "" : ",") + std::to_string(step);
    return plan.steps.empty() ? text + "none" : text;
}

// Tells the shortest session that breaks what this one broke.
void Explain(const Plan &plan, const Breach &breach) {
    std::cout << "\nBROKEN with seed " << plan.seed << ", line mode " << plan.lineMode << ": "
              << breach.invariant << ": " << breach.what << "\nshortening " << plan.steps.size() << " steps"
              << std::endl;
    const Plan shortest = Shorten(plan, breach.invariant);
    std::cout << "the shortest session that breaks it has " << shortest.steps.size()
              << " steps: scripts/campaign " << Replay(shortest) << "\n"
              << InWords(shortest) << std::flush;
    for (const Breach &each : RunAlone(shortest, true).breaches)
        std::cout << "BROKEN: " << each.invariant << ": " << each.what << "\n";
}

int ReplaySteps(const Options &options) {
    Plan plan = MakePlan(options.seed, options.mode == "0" ? 0 : 1);
    plan.steps = options.steps;
    std::cout << InWords(plan) << std::flush;
    const Outcome outcome = RunAlone(plan, true);
    for (const Breach &breach : outcome.breaches)
        std::cout << "BROKEN: " << breach.invariant << ": " << breach.what << "\n";
    return outcome.breaches.empty() ? 0 : 1;
}

int RunCampaign(const Options &options) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    Totals totals[2];
    int started = 0;
    bool broken = false;
    std::map<std::string, std::pair<Plan, Breach>> firsts;
    const auto next = [&](Plan &plan) {
        const int mode = options.mode == "both" ? started % 2 : std::stoi(options.mode);
        const bool enough = (options.hours > 0 && totals[mode].Hours() >= options.hours) ||
                            (options.minutes > 0 && seconds() >= 60 * options.minutes) ||
                            (options.sessions > 0 && started >= options.sessions);
        if (enough || (broken && !options.all)) return false;
        plan = MakePlan(options.seed + static_cast<uint64_t>(started++), mode);
        return true;
    };
    RunSessions(options.processes, next, [&](const Plan &plan, const Outcome &outcome) {
        Totals &of = totals[plan.lineMode];
        ++of.sessions;
        of.lineTime += outcome.lineTime;
        of.calls += outcome.calls;
        of.frames += outcome.frames;
        for (const Weakness &weakness : outcome.weaknesses) of.weaknesses[weakness.name] += weakness.times;
        std::map<std::string, int> once;
        for (const Breach &breach : outcome.breaches) {
            if (once[breach.invariant]++ == 0) ++of.breaches[breach.invariant];
            firsts.emplace(breach.invariant, std::pair(plan, breach));
        }
        broken |= !outcome.breaches.empty();
    });
    Print(totals, seconds());
    for (const auto &[invariant, first] : firsts) Explain(first.first, first.second);
    return broken ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    options.seed = std::random_device()();
    CLI::App app("Measuring sessions in virtual time, with random calls and random faults");
    app.add_option("--hours", options.hours, "Line-hours to run in each line mode");
    app.add_option("--minutes", options.minutes, "Minutes of real time to run");
    app.add_option("--sessions", options.sessions, "Sessions to run");
    app.add_option("--seed", options.seed, "Seed of the first session; those after it have the next ones");
    app.add_option("--mode", options.mode, "Line mode")->check(CLI::IsMember({"0", "1", "both"}));
    auto *const steps =
        app.add_option("--steps", options.steps, "Steps of one session to run and tell")->delimiter(',');
    app.add_flag("--all", options.all, "Go on after a broken invariant");
    app.add_option("--processes", options.processes, "Sessions at once")->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    std::cout << "seed " << options.seed << std::endl;
    try {
        if (*steps) return ReplaySteps(options);
        if (options.hours == 0 && options.minutes == 0 && options.sessions == 0) options.minutes = 2;
        return RunCampaign(options);
    } catch (const std::exception &error) {
        std::cerr << "campaign: " << error.what() << "\n";
        return 2;
    }
}
