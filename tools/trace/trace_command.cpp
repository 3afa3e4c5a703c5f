#include "trace/trace_command.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "argument_checks.h"
#include "machine/failure.h"
#include "machine/operator_stop.h"
#include "trace/explanation.h"

namespace cmm {
namespace {

constexpr std::chrono::milliseconds kLookEvery{100};

struct TraceOptions {
    std::string file;
    double mmPerCount = 0;
    bool json = false;
    bool follow = false;
};

std::ifstream OpenRecording(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        throw Failure(
            kBadArguments, "cannot read " + path,
            "The library writes wtraceArm1.log into its current directory when \"Log file\" is 1 in section "
            "[Timers] of the initialisation file.");
    return file;
}

void Explain(const TraceOptions &options) {
    std::ifstream file = OpenRecording(options.file);
    Explanation explanation(options.mmPerCount);
    for (std::string line; std::getline(file, line);) explanation.Take(line);
    explanation.Finish();
    if (explanation.Entries().empty())
        throw Failure(kBadArguments, options.file + " is no recording of a line",
                      "Give a trace of the library, or what cmm-emulator --log printed.");
    if (options.json) {
        std::cout << ExplanationJson(explanation).dump(2) << "\n";
    } else {
        std::cout << ExplanationText(explanation, options.file);
    }
}

// Whole lines of a file that grows; from its beginning again when it has become shorter, as a new session empties it.
class GrowingFile {
  public:
    explicit GrowingFile(const std::string &path) : path_(path), file_(OpenRecording(path)) {}

    /// Result: the next line, or nothing while there is none.
    std::optional<std::string> Next() {
        std::string piece;
        std::getline(file_, piece);
        rest_ += piece;
        if (!file_.eof()) return std::exchange(rest_, {});
        file_.clear();
        return std::nullopt;
    }
    /// Whether it was emptied since; it is read from its beginning then.
    bool BeginsAnew() {
        std::error_code error;
        const auto size = std::filesystem::file_size(path_, error);
        if (error || static_cast<std::streamoff>(size) >= static_cast<std::streamoff>(file_.tellg()))
            return false;
        file_ = OpenRecording(path_);
        rest_.clear();
        return true;
    }

  private:
    const std::string path_;
    std::ifstream file_;
    std::string rest_;  // of a line whose end has not been written yet
};

void Follow(const TraceOptions &options) {
    std::atomic<bool> stop{false};
    const Signals signals([&stop] { stop = true; });
    GrowingFile file(options.file);
    auto explanation = std::make_unique<Explanation>(options.mmPerCount);
    while (!stop) {
        if (const std::optional<std::string> line = file.Next()) {
            const Entry *const entry = explanation->Take(*line);
            if (entry != nullptr)
                std::cout << (options.json ? EntryJson(*entry).dump() + "\n" : EntryText(*entry));
            continue;
        }
        std::cout.flush();
        std::this_thread::sleep_for(kLookEvery);
        if (file.BeginsAnew()) explanation = std::make_unique<Explanation>(options.mmPerCount);
    }
}

}  // namespace

void AddTraceCommand(CLI::App &app) {
    const auto options = std::make_shared<TraceOptions>();
    CLI::App &command = *app.add_subcommand("trace",
                                            "Explain a trace of the library, or a log of cmm-emulator: what "
                                            "went wrong, then each command with its answers");
    command.add_option("FILE", options->file, "wtraceArm1.log, or what cmm-emulator --log printed")
        ->required()
        ->check(CLI::ExistingFile);
    command
        .add_option("--scale", options->mmPerCount,
                    "Length of one controller count, mm; without it lengths are in counts")
        ->check(emulator::Positive());
    command.add_flag("--json", options->json, "As JSON: one object, with --follow one a line");
    command.add_flag("--follow", options->follow, "Go on with what is written to the file, until Ctrl-C");
    command.callback([options] { options->follow ? Follow(*options) : Explain(*options); });
}

}  // namespace cmm
