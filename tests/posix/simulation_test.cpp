// The shipped library with real threads and clocks, in simulation mode.
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <thread>

#include "support/client.h"

namespace cc::test {
namespace {

class PosixSimulation : public testing::Test {
  protected:
    void TearDown() override { CloseAll(); }
};

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

// No tick sees a message between its filing and the simulator's answer, and counts it as sent.
TEST_F(PosixSimulation, QueriesInATightLoopLeaveTheLinkUp) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1500\n")), CC_OK);
    std::atomic<bool> stop{false};
    std::thread ticker([&stop] {
        // One of the first timers of the process, ticking much faster than it does.
        for (uint32_t id = 1; !stop; id = id % 512 + 1) LEV2_MANAGER(id, 0, 0, 0, 0);
    });
    for (int i = 0; i < 20000; ++i) CC_GETCOORD(1);
    EXPECT_EQ(EventsOf(1, 1), std::vector{Of(1, 1)});
    EXPECT_EQ(EventsOf(1, 6).size(), 20000u);
    CC_DONE(1, 2);
    stop = true;
    ticker.join();
}

TEST_F(PosixSimulation, AnExitWithAnOpenArmEndsCleanly) {
    EXPECT_EXIT(std::exit(OpenSimulated(1, IniFile("[Timers]\nLo Period=1\n"))), testing::ExitedWithCode(0),
                "");
}

}  // namespace
}  // namespace cc::test
