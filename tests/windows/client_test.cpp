// A measuring program as its users write it: has a window, a message loop and an initialisation file.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "cc_interface.h"
#include "message_loop.h"

namespace {

struct Seen {
    int points = 0;
    int outsideTheLoop = 0;  // calls of the callback that no message was dispatched for, or on another thread
    uint32_t lastTag = 0;
};

Seen seen[2];
DWORD loopThread = 0;

template <int kArm>
void CC_CALL Notify(int32_t event, uint32_t, void *data) {
    Seen &arm = seen[kArm - 1];
    if (!dispatching || GetCurrentThreadId() != loopThread) ++arm.outsideTheLoop;
    if (event != CC_EVENT_POINT) return;
    ++arm.points;
    arm.lastTag = static_cast<PointRecord *>(data)->tag;
}

class MeasuringProgram : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::current_path(std::filesystem::temp_directory_path());
        for (const char *const file : kTraces) std::filesystem::remove(file);
        seen[0] = seen[1] = {};
        loopThread = GetCurrentThreadId();
    }

    static const char *IniFile(const char *text) {
        static std::string path;
        path = (std::filesystem::temp_directory_path() / "cc_client.ini").string();
        std::ofstream(path) << text;
        return path.c_str();
    }

    static constexpr const char *kTraces[] = {"wtraceArm1.log", "wtraceArm2.log"};
    static constexpr double kTarget[6] = {10, 20, 30, 0, 0, -1};
};

TEST_F(MeasuringProgram, HasTheWorkerOfBothArmsRunFromTheTimerOfItsWindow) {
    const HWND window = CreateWindowA("STATIC", "measuring", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr,
                                      nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    const char *const ini = IniFile("[Timers]\nLo Period=1\nHi Period=20\ntimeout=1\nLog file=1\n");
    ASSERT_EQ(CC_INIT(window, 1, Notify<1>, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
    ASSERT_EQ(CC_INIT(window, 2, Notify<2>, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
    for (const int16_t arm : {1, 2}) {
        ASSERT_EQ(CC_SETSTATUS(arm, 1), 1);
        CC_MOVE(arm, 2, kTarget, 40u + static_cast<uint32_t>(arm), 0, nullptr, nullptr, 0);
    }
    seen[0].outsideTheLoop = seen[1].outsideTheLoop = 0;  // the calls decode replies themselves
    EXPECT_EQ(seen[0].points + seen[1].points, 0);        // but only the worker sends a move
    EXPECT_TRUE(Loop([] { return seen[0].points == 1 && seen[1].points == 1; }));
    EXPECT_EQ(seen[0].lastTag, 41u);
    EXPECT_EQ(seen[1].lastTag, 42u);
    EXPECT_EQ(seen[0].outsideTheLoop + seen[1].outsideTheLoop, 0);

    CC_DONE(1, 2);
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    CC_MOVE(2, 2, kTarget, 43, 0, nullptr, nullptr, 0);
    EXPECT_TRUE(Loop([] { return seen[1].points == 2; }));  // the timer is there as long as one arm needs it
    CC_DONE(2, 2);
    EXPECT_EQ(KillTimer(window, 0), FALSE);  // gone with the last arm
    EXPECT_NE(DestroyWindow(window), FALSE);
    for (const char *const file : kTraces) EXPECT_GT(std::filesystem::file_size(file), 0u) << file;
}

TEST_F(MeasuringProgram, GetsEveryHandleBack) {
    const char *const ini = IniFile("[Timers]\nLo Period=1\ntimeout=0\nLog file=1\n");
    // The highest of some that are made: what is left open pushes it up, by 4 a handle.
    const auto handleAfter = [ini](int sessions) {
        for (int i = 0; i < sessions; ++i) {
            EXPECT_EQ(CC_INIT(nullptr, 1, Notify<1>, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini),
                      CC_OK);
            EXPECT_EQ(CC_INIT(nullptr, 2, Notify<2>, "COM8:9600,e,8,1", nullptr, 1, 0.001, 0.5, 0, ini),
                      CC_PORT_NOT_OPENED);
            CC_DONE(1, 2);
        }
        std::array<HANDLE, 20> fresh{};
        for (HANDLE &handle : fresh) handle = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        for (const HANDLE handle : fresh) CloseHandle(handle);
        return reinterpret_cast<uintptr_t>(*std::max_element(fresh.begin(), fresh.end()));
    };
    const uintptr_t first = handleAfter(1);
    EXPECT_LT(handleAfter(40), first + 20 * 4);  // the system's own come and go
}

// The client's control words of the older and of the newer floating-point unit.
struct Environment {
    uint16_t older = 0;
    uint32_t newer = 0;
    void Keep() { asm volatile("fnstcw %0\n\tstmxcsr %1" : "=m"(older), "=m"(newer)); }
    void Set() const { asm volatile("fnclex\n\tfldcw %0\n\tldmxcsr %1" ::"m"(older), "m"(newer)); }
};

Environment inCallback;
PointRecord reported;

void CC_CALL NotifyInEnvironment(int32_t event, uint32_t, void *data) {
    if (event != CC_EVENT_POINT) return;
    inCallback.Keep();
    reported = *static_cast<PointRecord *>(data);
}

TEST_F(MeasuringProgram, SendsTheSameCountsWhateverItsFloatingPointEnvironment) {
    const std::string ini = IniFile("[Timers]\nLo Period=1\ntimeout=0\n");
    // The third is 0x1332, whose bit 6 always reads 1. The last ones mask no exception, and round upwards.
    const Environment environments[] = {
        {0x037F, 0x1F80}, {0x027F, 0x1F80}, {0x1372, 0x1F80}, {0x0340, 0x0000}, {0x0B40, 0x4000}};
    const double target[6] = {10, 0.3, -2.5, 0, 0, -1};
    Environment own;
    own.Keep();
    std::set<uintptr_t> stacks;      // on 32 bits each next one is 4 bytes lower
    const volatile size_t word = 4;  // volatile: a constant block would be one for all
    for (const Environment &environment : environments) {
        stacks.insert(reinterpret_cast<uintptr_t>(__builtin_alloca_with_align(word, 32)) % 16);
        reported = {};
        environment.Set();
        const uint16_t opened = CC_INIT(nullptr, 1, NotifyInEnvironment, nullptr, nullptr, 1, 0.0001, 0,
                                        CC_SIMULATION, ini.c_str());
        CC_SETSTATUS(1, 1);
        CC_MOVE(1, 2, target, 41, 0, nullptr, nullptr, 0);
        for (int step = 0; step < 20 && reported.tag == 0; ++step) L2HI_WORKER(nullptr, 0, 0, 0);
        CC_DONE(1, 2);
        Environment after;
        after.Keep();
        own.Set();
        ASSERT_EQ(opened, CC_OK);
        EXPECT_EQ(after.older, environment.older);
        EXPECT_EQ(after.newer, environment.newer);
        EXPECT_EQ(inCallback.older, environment.older);
        EXPECT_EQ(inCallback.newer, environment.newer);
        EXPECT_EQ(reported.position[0], 10);
        EXPECT_EQ(reported.position[1], 2999 * 0.0001);  // the quotient is a little below 3000
        EXPECT_EQ(reported.position[2], -2.5);
    }
    EXPECT_EQ(stacks.size(), sizeof(void *) == 4 ? 4u : 1u);
}

}  // namespace
