// What the backends must do that bring a message loop of their own.
#include <gtest/gtest.h>

#include "conformance/backend.h"
#include "platform/clock.h"
#include "platform/message_loop.h"

namespace cc::test {
namespace {

using namespace platform;

int due;

TEST(MessageLoop, RunsTheProcedureOncePerPeriodAtTheMost) {
    due = 0;
    EXPECT_EQ(LoopDispatch(), 0);
    EXPECT_EQ(LoopDescriptor(), -1);
    const int64_t start = BackendNow();
    const uintptr_t id = StartWindowTimer(nullptr, 10, [](bool) { return ++due != 0; });
    ASSERT_NE(id, 0u);
    EXPECT_EQ(StartWindowTimer(nullptr, 10, [](bool) { return true; }), 0u);
    const int early = LoopDispatch();  // none, unless the machine was busy with something else
    Sleep(35);
    EXPECT_EQ(LoopDispatch(), 1);
    const int late = LoopDispatch();  // the same
    const int inLoop = LoopRun(100);
    EXPECT_GE(inLoop, 1);  // ten, with the same reserve
    EXPECT_EQ(due, early + 1 + late + inLoop);
    // Once a period at the most, and the three ticks or more that the sleep missed are one.
    EXPECT_LE(due, (BackendNow() - start) / 10 - 2);
    // Two wakes are one run, without a wait, and no period.
    static int woken;
    woken = 0;
    StopWindowTimer(nullptr, id);
    ASSERT_NE(
        StartWindowTimer(nullptr, 60000, [](bool periodic) { return woken += periodic ? 100 : 1, true; }),
        0u);
    WakeWindowTimer();
    WakeWindowTimer();
    EXPECT_EQ(LoopRun(20), 1);
    EXPECT_EQ(woken, 1);
    StopWindowTimer(nullptr, id);
    WakeWindowTimer();
    const int64_t before = BackendNow();
    EXPECT_EQ(LoopRun(30), 0);
    EXPECT_GE(BackendNow() - before, 30);
}

}  // namespace
}  // namespace cc::test
