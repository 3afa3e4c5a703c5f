// What the program says: paragraphs that wrap on a terminal, and one line of progress.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "machine/failure.h"

namespace cmm {

/// A text broken between words into lines of at most `columns` characters; lines after the first begin with `indent`
/// blanks. A word that is longer has a line of its own. 0 columns: as it is.
std::string Wrapped(const std::string &text, int columns, int indent);

/// Standard output and standard error, each text flushed at once. Callable from any thread.
class Console {
  public:
    /// A paragraph. Later lines of it are indented as its first one, and by two blanks more.
    void Say(const std::string &text);
    /// The same on standard error, with the program's name: a cause, and below it what to do.
    void Complain(Failure &failure);
    /// Lines as they are, such as those of a table.
    void Print(const std::string &lines);
    /// Characters in a line of the terminal; 0: standard output is none.
    static int Columns();

    /// Work of `total` steps, of which `done` are done: on a terminal one line that is written anew, with the time left;
    /// elsewhere a line whenever another tenth is done. `unit` names the steps. The line ends when all are done.
    void Progress(const std::string &what, size_t done, size_t total, const std::string &unit);
    /// The same without a known end: on a terminal the seconds so far, elsewhere nothing.
    void Waiting(const std::string &what);
    /// The line stays as it is; what comes next is a new one.
    void EndProgress();

  private:
    using Clock = std::chrono::steady_clock;

    void StartProgress(const std::string &what);
    void Draw(const std::string &line);
    void EraseLine();

    std::mutex lock_;
    std::string what_;  // of the progress under way
    std::string line_;  // as it stands on the terminal; empty: there is none
    Clock::time_point begin_;
    size_t tenth_ = 0;  // the last that was told
};

}  // namespace cmm
