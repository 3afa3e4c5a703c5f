// What calls over a line cost, with the classic line and with the prompt one, beside the same bytes without the
// library.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>

#include "command_time_picture.h"
#include "line_host.h"
#include "measurements.h"
#include "ping_pong.h"
#include "report.h"

namespace {

using namespace bench;

struct Options {
    bool quick = false;
    std::vector<std::string> only;
    std::string json;
    std::string markdown;
    std::string picture;

    /// How many, or how long.
    template <typename Number>
    Number Pick(Number full, Number fewer) const {
        return quick ? fewer : full;
    }
};

constexpr int kModes[] = {0, 1};  // "Line mode"

struct Results {
    std::vector<Figure> figures;
    std::vector<CommandBar> bars;
    double bareCommand = 0;  // paced, ms

    /// One figure, taken of each run. runs: without the library if there is one, mode 0, mode 1.
    template <typename Run, typename Function>
    void Add(const std::string &what, const std::string &unit, const std::optional<Run> &bare,
             const std::vector<Run> &runs, Function take) {
        figures.push_back(
            {what, unit, bare ? std::optional(take(*bare)) : std::nullopt, take(runs[0]), take(runs[1])});
    }
};

// Measures both lines; tells what is under way, as it takes minutes in all.
template <typename Function>
auto OfEachMode(const std::string &what, Function measure) {
    std::vector<decltype(measure(0))> runs;
    for (const int mode : kModes) {
        std::cerr << what << ", line mode " << mode << std::endl;
        runs.push_back(measure(mode));
    }
    return runs;
}

void AddTimes(Results &results, const std::string &what, const std::optional<Calls> &bare,
              const std::vector<Calls> &runs) {
    results.Add(what + ": median", "ms", bare, runs, [](const Calls &calls) { return Median(calls.times); });
    results.Add(what + ": 95 %", "ms", bare, runs,
                [](const Calls &calls) { return Quantile(calls.times, 0.95); });
    results.Add(what + ": rate", "1/s", bare, runs, [](const Calls &calls) { return calls.Rate(); });
}

// ---- sections

void CommandsAtLineSpeed(const Options &options, Results &results) {
    const FarEndOptions farEnd = PromptFarEnd(true);
    const CallPlan plan{options.Pick(150, 20)};
    const std::string what = "command with reply, 9600 baud";
    std::cerr << what << ", without the library" << std::endl;
    const std::optional<Calls> bare = MeasurePingPong(farEnd, plan);
    results.bareCommand = Mean(bare->times);
    CommandParts prompt;
    for (const int loPeriod : {1, 10, 50}) {
        const std::string name = "Lo Period " + std::to_string(loPeriod);
        const std::vector<CommandCalls> commands = OfEachMode(what + ", " + name, [&](int mode) {
            return MeasureCommands(farEnd, {mode, loPeriod}, plan);
        });
        const std::vector<Calls> runs(commands.begin(), commands.end());
        AddTimes(results, what + ", " + name, bare, runs);
        results.Add(what + ", " + name + ": share of the bare rate", "%", bare, runs,
                    [&bare](const Calls &calls) { return 100 * calls.Rate() / bare->Rate(); });
        results.bars.push_back({"mode 0, " + name, commands[0].parts});
        prompt = commands[1].parts;
    }
    results.bars.push_back({"mode 1, Lo Period 50", prompt});
}

void CommandsAtOnce(const Options &options, Results &results) {
    const CallPlan plan{options.Pick(3000, 300), options.Pick(6.0, 3.0)};
    for (const int64_t gap : {int64_t{0}, emulator::kPieceGap}) {
        FarEndOptions farEnd = PromptFarEnd(false);
        farEnd.gap = gap;
        const std::string condition =
            gap == 0 ? ", unpaced, Lo Period 1, no gap" : ", unpaced, Lo Period 1, gap of 2 ms";
        const std::string what = "command with reply" + condition;
        std::cerr << what << ", without the library" << std::endl;
        AddTimes(results, what, MeasurePingPong(farEnd, plan), OfEachMode(what, [&](int mode) -> Calls {
                     return MeasureCommands(farEnd, {mode, 1}, plan);
                 }));
        const std::string feed = "command with link acknowledgement" + condition;
        AddTimes(results, feed, std::nullopt, OfEachMode(feed, [&](int mode) {
                     return MeasureFeeds(farEnd, {mode, 1}, plan);
                 }));
    }
}

void TouchPoints(const Options &options, Results &results) {
    const std::string what = "touch point to callback, Lo Period 1, Hi Period 50";
    const auto runs = OfEachMode(what, [&](int mode) {
        return MeasurePoints({mode, 1, 50}, options.Pick(120, 20));
    });
    const std::optional<Samples> none;
    results.Add(what + ": median", "ms", none, runs, Median);
    results.Add(what + ": 99 %", "ms", none, runs, [](const Samples &s) { return Quantile(s, 0.99); });
}

void BusyMachine(const Options &options, Results &results) {
    for (const bool merge : {false, true}) {
        FarEndOptions farEnd = PromptFarEnd(false);
        if (merge) farEnd.faults = {"merge%20"};
        const std::string what = merge ? "commands, busy, merge%20" : "commands, busy";
        // The classic line takes a second for many of them.
        const CallPlan few{20000, options.Pick(15.0, 5.0), true}, many{20000, options.Pick(120.0, 5.0), true};
        std::cerr << what << ", without the library" << std::endl;
        const std::optional<Calls> bare = MeasurePingPong(farEnd, few);
        const auto runs = OfEachMode(what, [&](int mode) -> Calls {
            return MeasureCommands(farEnd, {mode, 1}, mode == 0 ? few : many);
        });
        results.Add(what + ": calls in " + Text(few.seconds) + " s, mode 1 in " + Text(many.seconds) +
                        " s, 20000 at most",
                    "", bare, runs,
                    [](const Calls &calls) { return static_cast<double>(calls.times.size()); });
        results.Add(what + ": median", "ms", bare, runs, [](const Calls &c) { return Median(c.times); });
        results.Add(what + ": longest", "ms", bare, runs, [](const Calls &c) { return Largest(c.times); });
        const std::optional<Calls> none;
        results.Add(what + ": frames repeated by the host", "", none, runs,
                    [](const Calls &calls) { return static_cast<double>(calls.repeated); });
        results.Add(what + ": calls without reply", "", none, runs,
                    [](const Calls &calls) { return static_cast<double>(calls.failed); });
        results.Add(what + ": calls less commands executed", "", none, runs,
                    [](const Calls &calls) { return static_cast<double>(calls.notRun); });
    }
}

void Idle(const Options &options, Results &results) {
    for (const int loPeriod : {50, 1}) {
        const std::string what = "processor time of an idle arm, Lo Period " + std::to_string(loPeriod);
        results.Add(what, "% of a core", std::optional<double>(),
                    OfEachMode(what,
                               [&](int mode) {
                                   return 100 * MeasureIdleArm({mode, loPeriod}, options.Pick(5.0, 1.0));
                               }),
                    [](double percent) { return percent; });
    }
}

void FiledMoves(const Options &options, Results &results) {
    const int moves = options.Pick(100, 30);
    const std::string what = std::to_string(moves) + " moves, 9600 baud, Lo Period 1, Hi Period 50";
    const auto runs = OfEachMode(what, [moves](int mode) { return MeasureMoves({mode, 1}, moves); });
    const std::optional<Moves> none;
    results.Add(what + ": idle wire, median", "ms", none, runs,
                [](const Moves &m) { return Median(m.idle); });
    results.Add(what + ": idle wire, 99 %", "ms", none, runs,
                [](const Moves &m) { return Quantile(m.idle, 0.99); });
    results.Add(what + ": rate", "1/s", none, runs, [](const Moves &m) { return m.rate; });
}

constexpr struct {
    const char *name;
    void (*measure)(const Options &, Results &);
} kSections[] = {{"paced", CommandsAtLineSpeed},
                 {"unpaced", CommandsAtOnce},
                 {"points", TouchPoints},
                 {"busy", BusyMachine},
                 {"idle", Idle},
                 {"moves", FiledMoves}};

void Run(const Options &options) {
    Results results;
    for (const auto &section : kSections) {
        const auto &only = options.only;
        if (only.empty() || std::find(only.begin(), only.end(), section.name) != only.end())
            section.measure(options, results);
    }
    PrintTable(std::cout, results.figures);
    if (!options.markdown.empty()) {
        std::ofstream file(options.markdown);
        PrintMarkdown(file, results.figures);
    }
    if (!options.json.empty()) {
        std::ofstream file(options.json);
        PrintJson(file, results.figures);
    }
    if (!options.picture.empty() && !results.bars.empty())
        DrawCommandTimes(options.picture, results.bars, results.bareCommand);
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Measures calls over a line");
    std::vector<std::string> names;
    for (const auto &section : kSections) names.emplace_back(section.name);
    app.add_flag("--quick", options.quick, "Fewer and shorter runs");
    app.add_option("--only", options.only, "Sections to measure")->check(CLI::IsMember(names));
    app.add_option("--json", options.json, "File for the figures as JSON");
    app.add_option("--markdown", options.markdown, "File for the table as Markdown");
    app.add_option("--picture", options.picture, "File for the picture of a command's time, SVG");
    CLI11_PARSE(app, argc, argv);
    try {
        Run(options);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "line_bench: " << error.what() << "\n";
        return 1;
    }
}
