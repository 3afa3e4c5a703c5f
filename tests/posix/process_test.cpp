// Programs as the system treats them: stopped and continued, killed, and the library unloaded under an open arm.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "cc_interface.h"
#include "controller.h"
#include "line_host.h"
#include "pseudo_terminal.h"
#include "support/port_folder.h"

namespace cc::test {
namespace {

using namespace emulator;

constexpr uid_t kNobody = 65534;

/// The exports that the programs use, of a library that they load themselves.
struct Library {
    void *handle = dlopen(CC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    decltype(&CC_INIT) init = reinterpret_cast<decltype(&CC_INIT)>(dlsym(handle, "CC_INIT"));
    decltype(&CC_SETSTATUS) setStatus =
        reinterpret_cast<decltype(&CC_SETSTATUS)>(dlsym(handle, "CC_SETSTATUS"));
    decltype(&CC_OPBUF) opBuf = reinterpret_cast<decltype(&CC_OPBUF)>(dlsym(handle, "CC_OPBUF"));

    uint16_t Open(uint16_t flags) const {
        return init(nullptr, 1, nullptr, "COM1", nullptr, 1, 0.0001, 1, flags, nullptr);
    }
};

/// A terminal linked as COM1 that every user may open, and programs that use it. A test runs in a process of its
/// own, which has one thread when it forks.
class PosixProcess : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(chmod(terminal.Path().c_str(), 0666), 0);
        terminal.LinkAs(folder.path, 1);
    }

    /// Runs `program` as an ordinary user in a process of its own. Its result is the exit status.
    template <typename Program>
    static pid_t Start(const Program &program) {
        const pid_t process = fork();
        if (process == 0) _exit((geteuid() != 0 || setuid(kNobody) == 0) ? program() : 99);
        return process;
    }
    static bool Runs(pid_t process) {
        siginfo_t ended{};
        waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
        return ended.si_pid == 0;
    }
    static int ExitStatus(pid_t process) {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    PortFolder folder;
    PseudoTerminal terminal;
};

TEST_F(PosixProcess, StoppedAndContinuedRepeatsNothing) {
    constexpr int kRounds = 70;
    const pid_t process = Start([] {
        const Library library;
        if (library.Open(0) != CC_OK || library.setStatus(1, 1) != 1) return 1;
        int done = 0;
        while (done < kRounds && library.opBuf(1, 1) == 1) ++done;
        return done == kRounds ? 0 : 2;
    });
    ControllerOptions options;
    options.replyDelay = 5 * kMillisecond;
    Controller controller(options);
    std::atomic<int> commands{0}, repetitions{0}, startLinks{0};
    uint8_t lastType = 0;
    controller.onFrame = [&](int64_t, Direction direction, const Bytes &frame) {
        if (direction == Direction::ToHost) return;
        if (frame[0] == 9) ++startLinks;
        if (frame[0] != 3 && frame[0] != 4) return;
        ++commands;
        if (frame[0] == lastType) ++repetitions;
        lastType = frame[0];
    };
    LineHost host;
    host.Add(controller, terminal.Descriptor(), 0, [] {});
    std::atomic<bool> stop{false};
    std::thread server([&] { host.Run(stop); });
    std::mt19937 random(7);
    int after = 0;
    // Shorter than the 4 s after which the controller starts anew and sends a reply twice.
    for (const int milliseconds : {500, 3000, 500, 2000, 500, 500}) {
        after += 5 + static_cast<int>(random() % 10);
        while (commands < after && Runs(process)) std::this_thread::yield();
        kill(process, SIGSTOP);
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        kill(process, SIGCONT);
    }
    EXPECT_EQ(ExitStatus(process), 0);
    stop = true;
    server.join();
    EXPECT_EQ(controller.Commands().at(126), kRounds);
    EXPECT_EQ(repetitions, 0);
    EXPECT_EQ(startLinks, 1);
}

TEST_F(PosixProcess, KilledLeavesThePortToOthers) {
    for (int program = 0; program < 2; ++program) {
        const pid_t process = Start([] { return static_cast<int>(Library().Open(0)); });
        // It has the port once a start-link has come; one that cannot open it ends by itself.
        uint8_t bytes[64];
        size_t count = 0;
        while (count == 0 && Runs(process)) count = terminal.Read(bytes, sizeof bytes);
        EXPECT_GT(count, 0u) << program;
        kill(process, SIGKILL);
        EXPECT_EQ(ExitStatus(process), -1);
        while (terminal.Read(bytes, sizeof bytes) > 0) {
        }
    }
}

TEST_F(PosixProcess, UnloadingTheLibraryGivesEverythingBack) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    const Library library;
    ASSERT_NE(library.handle, nullptr) << dlerror();
    ASSERT_EQ(library.Open(CC_SIMULATION), CC_OK);
    EXPECT_GT(descriptors(), before);
    dlclose(library.handle);
    EXPECT_EQ(dlopen(CC_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
}  // namespace cc::test
