// Work in a process of its own, so that it has its own library, its own processor time and its own user.
#pragma once

#include <sys/types.h>

#include <functional>

#include "samples.h"

namespace bench {

/// A process that runs `work` and nothing else; it is killed when this object goes, and with its parent. The
/// caller has one thread.
class OwnProcess {
  public:
    explicit OwnProcess(const std::function<void()> &work);
    ~OwnProcess();
    OwnProcess(const OwnProcess &) = delete;
    OwnProcess &operator=(const OwnProcess &) = delete;

  private:
    pid_t process_;
};

/// Rows of figures.
using Rows = std::vector<Samples>;

/// Runs `work` in a process of its own and hands back its result. What `work` throws, or its death, is thrown
/// as std::runtime_error.
Rows RunApart(const std::function<Rows()> &work);

/// Makes this process one of an ordinary user, who gets no real-time priorities, if it is root's.
void BecomeOrdinaryUser();

/// Keeps this process, and those that it starts, to the first two processors that it may use.
void KeepToTwoProcessors();

}  // namespace bench
