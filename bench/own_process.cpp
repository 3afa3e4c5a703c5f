#include "own_process.h"

#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

constexpr uid_t kNobody = 65534;

// Files that the program has not written yet would be written by both processes.
pid_t Fork() {
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0) throw std::runtime_error("no further process");
    if (process != 0) return process;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    return 0;
}

void Put(int descriptor, const void *bytes, size_t count) {
    for (const char *next = static_cast<const char *>(bytes); count > 0;) {
        const ssize_t written = write(descriptor, next, count);
        if (written <= 0) _exit(1);
        next += written;
        count -= static_cast<size_t>(written);
    }
}

bool Take(int descriptor, void *bytes, size_t count) {
    for (char *next = static_cast<char *>(bytes); count > 0;) {
        const ssize_t taken = read(descriptor, next, count);
        if (taken <= 0) return false;
        next += taken;
        count -= static_cast<size_t>(taken);
    }
    return true;
}

[[noreturn]] void WorkFor(int descriptor, const std::function<Rows()> &work) {
    try {
        for (const Samples &row : work()) {
            const size_t count = row.size();
            Put(descriptor, &count, sizeof count);
            Put(descriptor, row.data(), count * sizeof row[0]);
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(1);
    }
    // An open arm is not closed: that takes seconds, and the end of the process gives everything back.
    _exit(0);
}

}  // namespace

OwnProcess::OwnProcess(const std::function<void()> &work) : process_(Fork()) {
    if (process_ != 0) return;
    try {
        work();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(0);
}

OwnProcess::~OwnProcess() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

Rows RunApart(const std::function<Rows()> &work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t process = Fork();
    if (process == 0) {
        close(ends[0]);
        WorkFor(ends[1], work);
    }
    close(ends[1]);
    Rows rows;
    for (size_t count = 0; Take(ends[0], &count, sizeof count);) {
        rows.emplace_back(count);
        if (!Take(ends[0], rows.back().data(), count * sizeof(double))) break;
    }
    close(ends[0]);
    int status = 0;
    waitpid(process, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error("a measurement failed");
    return rows;
}

void BecomeOrdinaryUser() {
    if (geteuid() != 0) return;
    if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)
        throw std::runtime_error("cannot become an ordinary user");
    // The change of user has dropped this.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

void KeepToTwoProcessors() {
    cpu_set_t allowed, two;
    CPU_ZERO(&two);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (int i = 0; i < CPU_SETSIZE && CPU_COUNT(&two) < 2; ++i) {
        if (CPU_ISSET(i, &allowed)) CPU_SET(i, &two);
    }
    sched_setaffinity(0, sizeof two, &two);
}

}  // namespace bench
