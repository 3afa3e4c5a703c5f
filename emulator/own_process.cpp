#include "own_process.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace emulator {
namespace {

[[noreturn]] void WorkAndEnd(const std::function<void()> &work) {
    int status = 0;
    try {
        work();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        status = 1;
    }
    std::fflush(nullptr);
    // An open arm is not closed: that takes seconds, and the end of the process gives everything back.
    _exit(status);
}

pid_t Start(const std::function<void()> &work) {
    std::fflush(nullptr);  // else both processes would write what the program has not written yet
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0) throw std::runtime_error("no further process");
    if (process != 0) return process;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    WorkAndEnd(work);
}

}  // namespace

OwnProcess::OwnProcess(const std::function<void()> &work) : process_(Start(work)) {}

OwnProcess::~OwnProcess() {
    Signal(SIGKILL);
    Wait();
}

void OwnProcess::Signal(int signal) const {
    if (!status_) kill(process_, signal);
}

std::optional<int> OwnProcess::Reap(bool waits) {
    int status = 0;
    if (!status_ && waitpid(process_, &status, waits ? 0 : WNOHANG) == process_) status_ = status;
    return status_;
}

}  // namespace emulator
