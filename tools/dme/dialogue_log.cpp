#include "dme/dialogue_log.h"

#include <chrono>
#include <ctime>

#include "machine/failure.h"

namespace cmm::dme {
namespace {

constexpr size_t kLongestEntry = 1000;

std::string Printable(const std::string &text) {
    std::string printable;
    for (const char c : text.substr(0, kLongestEntry)) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
        printable += c >= ' ' && c <= '~' ? std::string(1, c) : code;
    }
    return text.size() > kLongestEntry ? printable + "... (" + std::to_string(text.size()) + " characters)"
                                       : printable;
}

}  // namespace

DialogueLog::DialogueLog(const std::string &path) {
    if (path.empty()) return;
    file_.reset(std::fopen(path.c_str(), "a"));
    if (!file_) throw Failure(kBadArguments, "cannot write " + path, "--log names a file.");
}

void DialogueLog::Write(char kind, const std::string &text) {
    if (!file_) return;
    const auto now = std::chrono::system_clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", std::localtime(&seconds));
    std::fprintf(file_.get(), "%s.%03d %c %s\n", time, static_cast<int>(milliseconds), kind,
                 Printable(text).c_str());
    std::fflush(file_.get());
}

}  // namespace cmm::dme
