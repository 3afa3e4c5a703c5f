#include "run.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "session.h"

namespace campaign {
namespace {

// A session takes a fraction of a second, unless something spins without end.
constexpr unsigned kLongestSeconds = 20;

const char kCrash[] = "no session crashes or hangs";

std::string Report(const Account &account) {
    std::ostringstream text;
    long frames = 0;
    for (const ArmAccount &arm : account.arms) frames += static_cast<long>(arm.sent.size());
    text << "time\t" << account.lineTime << "\ncalls\t" << account.calls.size() << "\nframes\t" << frames
         << "\n";
    for (const Breach &breach : account.breaches)
        text << "breach\t" << breach.invariant << "\t" << breach.what << "\n";
    for (const Weakness &weakness : account.weaknesses)
        text << "weakness\t" << weakness.times << "\t" << weakness.name << "\n";
    return text.str();
}

Outcome Understood(const std::string &report, int status) {
    Outcome outcome;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string kind, first, second;
        std::getline(fields, kind, '\t');
        std::getline(fields, first, '\t');
        std::getline(fields, second);
        if (kind == "time") outcome.lineTime = std::stoll(first);
        if (kind == "calls") outcome.calls = std::stol(first);
        if (kind == "frames") outcome.frames = std::stol(first);
        if (kind == "breach") outcome.breaches.push_back({first, second});
        if (kind == "weakness") outcome.weaknesses.push_back({second, std::stoi(first)});
    }
    if (WIFSIGNALED(status)) outcome.breaches.push_back({kCrash, strsignal(WTERMSIG(status))});
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        outcome.breaches.push_back({kCrash, "it ended with " + std::to_string(WEXITSTATUS(status))});
    return outcome;
}

/// A folder for the files of all sessions, in memory where the system has such.
class Folder {
  public:
    Folder() {
        const bool memory = access("/dev/shm", W_OK) == 0;
        std::string name = std::string(memory ? "/dev/shm" : "/tmp") + "/campaign_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder: " + name);
        path_ = name;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::filesystem::path Of(pid_t process) const { return path_ / std::to_string(process); }

  private:
    std::filesystem::path path_;
};

struct Child {
    Plan plan;
    pid_t process;
    int pipe;
    std::string report = {};
};

[[noreturn]] void RunInChild(const Plan &plan, bool tells, const std::filesystem::path &folder, int pipe) {
    alarm(kLongestSeconds);
    std::filesystem::create_directory(folder);
    std::filesystem::current_path(folder);
    const std::string report = Report(RunSession(plan, tells));
    std::cout.flush();
    size_t written = 0;
    while (written < report.size()) {
        const ssize_t count = write(pipe, report.data() + written, report.size() - written);
        if (count <= 0) _exit(3);
        written += static_cast<size_t>(count);
    }
    _exit(0);
}

Child Start(const Plan &plan, bool tells, const Folder &folder) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    std::cout.flush();
    const pid_t process = fork();
    if (process < 0) throw std::runtime_error("no process");
    if (process == 0) {
        close(ends[0]);
        RunInChild(plan, tells, folder.Of(getpid()), ends[1]);
    }
    close(ends[1]);
    return {plan, process, ends[0]};
}

// Result: whether it has ended.
bool ReadFrom(Child &child) {
    char bytes[4096];
    const ssize_t count = read(child.pipe, bytes, sizeof bytes);
    if (count > 0) child.report.append(bytes, static_cast<size_t>(count));
    return count <= 0;
}

Outcome End(const Child &child, const Folder &folder) {
    int status = 0;
    waitpid(child.process, &status, 0);
    close(child.pipe);
    std::filesystem::remove_all(folder.Of(child.process));
    return Understood(child.report, status);
}

}  // namespace

bool Outcome::Breaks(const std::string &invariant) const {
    return std::any_of(breaches.begin(), breaches.end(),
                       [&](const Breach &breach) { return breach.invariant == invariant; });
}

void RunSessions(int processes, const std::function<bool(Plan &)> &next,
                 const std::function<void(const Plan &, const Outcome &)> &done) {
    const Folder folder;
    std::vector<Child> children;
    bool more = true;
    for (;;) {
        Plan plan;
        while (more && children.size() < static_cast<size_t>(processes) && (more = next(plan)))
            children.push_back(Start(plan, false, folder));
        if (children.empty()) return;
        std::vector<pollfd> waits;
        for (const Child &child : children) waits.push_back({child.pipe, POLLIN, 0});
        poll(waits.data(), waits.size(), -1);
        for (size_t i = children.size(); i-- > 0;) {
            if (waits[i].revents == 0 || !ReadFrom(children[i])) continue;
            const Child ended = std::move(children[i]);
            children.erase(children.begin() + static_cast<std::ptrdiff_t>(i));
            done(ended.plan, End(ended, folder));
        }
    }
}

Outcome RunAlone(const Plan &plan, bool tells) {
    const Folder folder;
    Child child = Start(plan, tells, folder);
    while (!ReadFrom(child)) {
    }
    return End(child, folder);
}

Plan Shorten(Plan plan, const std::string &invariant) {
    for (size_t piece = (plan.steps.size() + 1) / 2; piece > 0; piece = piece > 1 ? (piece + 1) / 2 : 0) {
        for (size_t begin = 0; begin < plan.steps.size();) {
            Plan shorter = plan;
            const size_t end = std::min(begin + piece, plan.steps.size());
            shorter.steps.erase(shorter.steps.begin() + static_cast<std::ptrdiff_t>(begin),
                                shorter.steps.begin() + static_cast<std::ptrdiff_t>(end));
            if (RunAlone(shorter, false).Breaks(invariant)) {
                plan = shorter;
            } else {
                begin = end;
            }
        }
    }
    return plan;
}

}  // namespace campaign
