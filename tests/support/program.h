// cmm as a process.
#pragma once

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace cc::test {

inline constexpr uid_t kNobody = 65534;

/// cmm with its output in a pipe, or on a terminal. A test has one thread when it forks.
class Program {
  public:
    explicit Program(const std::vector<std::string> &arguments, bool asNobody = false,
                     const std::string &inputPath = "/dev/null") {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        Start(arguments, ends, inputPath, asNobody);
    }
    /// With a terminal of its own, which the caller has the other end of: two descriptors of it.
    Program(const std::vector<std::string> &arguments, int master, const std::string &terminal) {
        int ends[2] = {dup(master), open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
        Start(arguments, ends, terminal, false);
    }
    ~Program() { close(output_); }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    void Signal(int number) const { kill(process_, number); }
    /// Takes what has been said, or waits so long for it. Result: whether the program runs.
    bool Runs(int milliseconds = 0) {
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(process_), &end, WEXITED | WNOHANG | WNOWAIT);
        pollfd spoken{output_, POLLIN, 0};
        poll(&spoken, 1, milliseconds);
        char text[4096];
        ssize_t count = 0;
        while ((count = read(output_, text, sizeof text)) > 0)
            said += std::string(text, static_cast<size_t>(count));
        return end.si_pid == 0;
    }
    /// Its exit status, once it has ended; -1 when a signal killed it.
    int Status() const {
        int status = 0;
        waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Whether it has said this; what it has said before is forgotten then.
    bool HasSaid(const std::string &text) {
        const size_t found = said.find(text);
        if (found == std::string::npos) return false;
        said.erase(0, found + text.size());
        return true;
    }

    std::string said;

  private:
    void Start(const std::vector<std::string> &arguments, const int (&ends)[2], const std::string &inputPath,
               bool asNobody) {
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        output_ = ends[0];
        process_ = fork();
        if (process_ == 0) {
            const int input = open(inputPath.c_str(), O_RDONLY | O_NOCTTY);
            for (const auto &[from, to] : {std::pair(input, 0), {ends[1], 1}, {ends[1], 2}}) dup2(from, to);
            std::vector<char *> argv = {const_cast<char *>(CMM_PROGRAM)};
            for (const std::string &argument : arguments)
                argv.push_back(const_cast<char *>(argument.c_str()));
            argv.push_back(nullptr);
            const bool changed =
                !asNobody || (setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0);
            if (changed) execv(CMM_PROGRAM, argv.data());
            _exit(99);
        }
        close(ends[1]);
    }

    pid_t process_ = -1;
    int output_ = -1;
};

}  // namespace cc::test
