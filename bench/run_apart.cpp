#include "run_apart.h"

#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <stdexcept>

#include "own_process.h"

namespace bench {
namespace {

constexpr uid_t kNobody = 65534;

void Put(int descriptor, const void *bytes, size_t count) {
    for (const char *next = static_cast<const char *>(bytes); count > 0;) {
        const ssize_t written = write(descriptor, next, count);
        if (written <= 0) throw std::runtime_error("a measurement cannot be told");
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

}  // namespace

Rows RunApart(const std::function<Rows()> &work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    emulator::OwnProcess process([&] {
        close(ends[0]);
        for (const Samples &row : work()) {
            const size_t count = row.size();
            Put(ends[1], &count, sizeof count);
            Put(ends[1], row.data(), count * sizeof row[0]);
        }
    });
    close(ends[1]);
    Rows rows;
    for (size_t count = 0; Take(ends[0], &count, sizeof count);) {
        rows.emplace_back(count);
        if (!Take(ends[0], rows.back().data(), count * sizeof(double))) break;
    }
    close(ends[0]);
    if (process.Wait() != 0) throw std::runtime_error("a measurement failed");
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
