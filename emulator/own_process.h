// Work in a process of its own, so that it has its own library, its own processor time and its own user.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>

namespace emulator {

/// A process that runs `work` and nothing else; it is killed when this object goes, and with its parent. What `work`
/// throws is told on standard error, and the process ends with 1. Nothing that it holds is closed at its end. The caller
/// has one thread. Throws std::runtime_error when there is no further process.
class OwnProcess {
  public:
    explicit OwnProcess(const std::function<void()> &work);
    ~OwnProcess();
    OwnProcess(const OwnProcess &) = delete;
    OwnProcess &operator=(const OwnProcess &) = delete;

    /// Sends it a signal, unless its end has been seen.
    void Signal(int signal) const;
    /// How it ended, as waitpid tells; nothing while it has not. Does not wait.
    std::optional<int> Status() { return Reap(false); }
    /// Waits until it has ended. Result: how, as waitpid tells.
    int Wait() { return *Reap(true); }

  private:
    std::optional<int> Reap(bool waits);

    const pid_t process_;
    std::optional<int> status_;
};

}  // namespace emulator
