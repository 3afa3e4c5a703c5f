#include "machine/console.h"

#include <cmath>
#include <cstdio>

#include "machine/terminal.h"

namespace cmm {
namespace {

void Write(std::FILE *stream, const std::string &text) {
    std::fputs(text.c_str(), stream);
    std::fflush(stream);
}

std::string Minutes(double seconds) {
    char text[32];
    const long whole = std::lround(seconds);
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace

std::string Wrapped(const std::string &text, int columns, int indent) {
    if (columns <= 0) return text;
    const auto width = static_cast<size_t>(columns);
    std::string wrapped, line;
    size_t at = 0;
    while (at < text.size()) {
        // A word with the blanks in front of it, which fall away at the beginning of a line.
        size_t word = at;
        while (word < text.size() && text[word] == ' ') ++word;
        size_t end = word;
        while (end < text.size() && text[end] != ' ' && text[end] != '\n') ++end;
        if (!line.empty() && line.size() + (end - at) > width) {
            wrapped += line + "\n";
            line = std::string(static_cast<size_t>(indent), ' ') + text.substr(word, end - word);
        } else {
            line += text.substr(at, end - at);
        }
        at = end;
        if (at < text.size() && text[at] == '\n') {
            wrapped += line + "\n";
            line.clear();
            ++at;
        }
    }
    return wrapped + line;
}

int Console::Columns() {
    return TerminalColumns(stdout);
}

void Console::EraseLine() {
    if (line_.empty()) return;
    std::string over(line_.size() + 2, ' ');
    over.front() = over.back() = '\r';
    Write(stdout, over);
}

void Console::Say(const std::string &text) {
    const std::lock_guard guard(lock_);
    const size_t first = text.find_first_not_of(' ');
    const int indent = static_cast<int>(first == std::string::npos ? 0 : first) + 2;
    EraseLine();
    Write(stdout, Wrapped(text, Columns(), indent) + "\n");
    if (!line_.empty()) Write(stdout, line_);
}

void Console::Complain(Failure &failure) {
    if (failure.told) return;
    failure.told = true;
    const std::lock_guard guard(lock_);
    EraseLine();
    Write(stderr, Wrapped("cmm: " + std::string(failure.what()), TerminalColumns(stderr), 5) + "\n");
    if (!failure.advice.empty())
        Write(stderr, Wrapped("     " + failure.advice, TerminalColumns(stderr), 5) + "\n");
    if (!line_.empty()) Write(stdout, line_);
}

void Console::Print(const std::string &lines) {
    const std::lock_guard guard(lock_);
    EraseLine();
    Write(stdout, lines + line_);
}

void Console::StartProgress(const std::string &what) {
    if (what_ == what) return;
    what_ = what;
    begin_ = Clock::now();
    tenth_ = 0;
}

void Console::Draw(const std::string &line) {
    // A longer line would not be written over but below.
    const std::string cut = line.substr(0, static_cast<size_t>(Columns() - 1));
    if (cut == line_) return;
    EraseLine();
    line_ = cut;
    Write(stdout, line_);
}

void Console::Progress(const std::string &what, size_t done, size_t total, const std::string &unit) {
    const std::lock_guard guard(lock_);
    StartProgress(what);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin_).count();
    std::string line = what + ": " + std::to_string(done) + " of " + std::to_string(total) + " " + unit;
    if (Columns() > 0) {
        if (done > 0 && done < total)
            line += ", " + Minutes(seconds / static_cast<double>(done) * static_cast<double>(total - done)) +
                    " left";
        Draw(line);
    } else if (const size_t tenth = total == 0 ? 0 : done * 10 / total; tenth != tenth_) {
        tenth_ = tenth;
        Write(stdout, line + "\n");
    }
}

void Console::Waiting(const std::string &what) {
    const std::lock_guard guard(lock_);
    StartProgress(what);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin_).count();
    if (Columns() > 0) Draw(what + ", " + Minutes(seconds));
}

void Console::EndProgress() {
    const std::lock_guard guard(lock_);
    if (!line_.empty()) Write(stdout, "\n");
    line_.clear();
    what_.clear();
}

}  // namespace cmm
