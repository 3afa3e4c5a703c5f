// The shipped library with real threads and clocks, in simulation mode.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/client.h"

namespace cc::test {
namespace {

double ProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](timeval t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

class PosixSimulation : public testing::Test {
  protected:
    void TearDown() override { CloseAll(); }
};

TEST_F(PosixSimulation, WaitsUseLittleProcessorTime) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1\n")), CC_OK);
    const auto share = [](const auto &wait) {
        const double processor = ProcessorSeconds();
        const auto begin = std::chrono::steady_clock::now();
        wait();
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
        EXPECT_GT(passed.count(), 0.9);  // it did wait
        return (ProcessorSeconds() - processor) / passed.count();
    };
    EXPECT_LT(share([] { EXPECT_EQ(CC_GETWRISTCOORD(1), 1); }), 0.10);
    EXPECT_LT(share([] { CC_DONE(1, 2); }), 0.10);
}

TEST_F(PosixSimulation, TheLoopServesTheCallersOwn) {
    EXPECT_EQ(CC_LOOP_FD(), -1);
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\nHi Period=10\ntimeout=0\n")), CC_OK);
    pollfd due{CC_LOOP_FD(), POLLIN, 0};
    ASSERT_EQ(poll(&due, 1, 5000), 1);
    int elsewhere = 1;
    std::thread([&elsewhere] { elsewhere = CC_LOOP_DISPATCH(); }).join();
    EXPECT_EQ(elsewhere, 0);
    EXPECT_EQ(CC_LOOP_DISPATCH(), 1);
    EXPECT_GE(CC_LOOP_RUN(100), 1);
    CC_DONE(1, 2);
    EXPECT_EQ(CC_LOOP_FD(), -1);
    EXPECT_EQ(CC_LOOP_DISPATCH(), 0);
}

TEST_F(PosixSimulation, ArmsOpenAndCloseOnTwoThreadsAtOnce) {
    const char *const ini = IniFile("[Timers]\nLo Period=1\ntimeout=0\n");
    const auto use = [ini](int arm) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(OpenSimulated(arm, ini), CC_OK);
            EXPECT_EQ(CC_GETSTATUS(static_cast<int16_t>(arm)), 0);
            EXPECT_EQ(CC_FEED(static_cast<int16_t>(arm), 100), 1);
            CC_DONE(static_cast<int16_t>(arm), 2);
        }
    };
    std::thread second(use, 2);
    use(1);
    second.join();
    EXPECT_EQ(CC_LOOP_FD(), -1);
}

TEST_F(PosixSimulation, AWholeSessionOnBothArms) {
    const char *const ini = IniFile("[Timers]\nLo Period=1\nHi Period=1\ntimeout=2\n");
    for (const int arm : {1, 2}) {
        ASSERT_EQ(OpenSimulated(arm, ini), CC_OK);
        ASSERT_EQ(CC_SETSTATUS(static_cast<int16_t>(arm), 1), 1);
    }
    const double position[6] = {1, 2, 3, 0, 0, 1};
    for (uint32_t id = 1; id <= 300; ++id) {
        for (const int16_t arm : {1, 2}) {
            while (CC_CANSEND(arm, 2) == 0) CC_LOOP_RUN(1);
            CC_MOVE(arm, 2, position, id, 0, nullptr, nullptr, 0);
        }
    }
    for (int i = 0; i < 5000 && EventsOf(2, 16).size() < 300; ++i) CC_LOOP_RUN(1);
    for (const int arm : {1, 2}) {
        EXPECT_EQ(EventsOf(arm, 5).size(), 300u);
        EXPECT_EQ(EventsOf(arm, 16).size(), 300u);
    }
}

// No tick sees a message between its filing and the simulator's answer, and counts it as sent.
TEST_F(PosixSimulation, QueriesInATightLoopLeaveTheLinkUp) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1500\n")), CC_OK);
    std::atomic<bool> stop{false};
    std::thread ticker([&stop] {
        // The first timer of the process, ticking much faster than it does.
        while (!stop) LEV2_MANAGER(1, 0, 0, 0, 0);
    });
    for (int i = 0; i < 20000; ++i) CC_GETCOORD(1);
    EXPECT_EQ(EventsOf(1, 1), std::vector{Of(1, 1)});
    EXPECT_EQ(EventsOf(1, 6).size(), 20000u);
    CC_DONE(1, 2);
    stop = true;
    ticker.join();
}

TEST_F(PosixSimulation, AnExitWithAnOpenArmEndsCleanly) {
    EXPECT_EXIT(
        {
            OpenSimulated(1, IniFile("[Timers]\nLo Period=1\n"));
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace cc::test
