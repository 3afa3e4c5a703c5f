// What every backend of the platform seam must do.
#include <gtest/gtest.h>

#include <atomic>

#include "conformance/backend.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/line_watcher.h"
#include "platform/periodic_timer.h"
#include "platform/serial_line.h"

namespace cc::test {
namespace {

using namespace platform;

TEST(Clock, SleepsAtLeastAsLongAsAsked) {
    const int64_t before = BackendNow();
    Sleep(20);
    EXPECT_GE(BackendNow() - before, 20);
    const int64_t spin = BackendNow();
    while (BackendNow() == spin) Yield();  // ends only if a spin lets time pass
}

TEST(EventConformance, IsSharedByNameAndResetsItself) {
    platform::Event a, b, other;
    EXPECT_FALSE(a.Wait(0));
    ASSERT_TRUE(a.OpenShared("Shared"));
    ASSERT_TRUE(b.OpenShared("Shared"));
    ASSERT_TRUE(other.OpenShared("Other"));
    a.Signal();
    EXPECT_FALSE(other.Wait(0));
    EXPECT_TRUE(b.Wait(0));
    EXPECT_FALSE(a.Wait(0));
    const int64_t before = BackendNow();
    EXPECT_FALSE(a.Wait(30));
    EXPECT_GE(BackendNow() - before, 30);
    a.Signal();
    a.Close();
    EXPECT_TRUE(b.Wait(0));  // b keeps it
    b.Signal();
    b.Close();
    ASSERT_TRUE(a.OpenShared("Shared"));
    EXPECT_FALSE(a.Wait(0));  // made anew
}

std::atomic<int> ticks[2];
std::atomic<uint32_t> ids[2];

void Count(uint32_t id) {
    for (int i = 0; i < 2; ++i) {
        if (ids[i] == id) ++ticks[i];
    }
}

TEST(PeriodicTimer, TicksWithoutDriftUntilStopped) {
    ticks[0] = ticks[1] = 0;
    const int64_t before = BackendNow();
    ids[0] = StartPeriodicTimer(5, Count);
    ids[1] = StartPeriodicTimer(20, Count);
    ASSERT_NE(ids[0], 0u);
    ASSERT_NE(ids[1], ids[0]);
    EXPECT_EQ(StartPeriodicTimer(0, Count), 0u);
    ASSERT_TRUE(Eventually([] { return ticks[1] >= 10; }));
    EXPECT_GE(BackendNow() - before, 199);
    EXPECT_GE(ticks[0], 39);  // four ticks for one, whatever each was late
    StopPeriodicTimer(ids[0]);
    const int stopped = ticks[0];
    const int running = ticks[1];
    ASSERT_TRUE(Eventually([running] { return ticks[1] >= running + 2; }));
    EXPECT_EQ(ticks[0], stopped);
    for (const uint32_t id : {+ids[1], +ids[1], 0u}) StopPeriodicTimer(id);
    // From its callback as well.
    ticks[0] = ticks[1] = 0;
    ids[0] = StartPeriodicTimer(5, [](uint32_t id) {
        ++ticks[0];
        StopPeriodicTimer(id);
    });
    ids[1] = StartPeriodicTimer(5, Count);
    ASSERT_TRUE(Eventually([] { return ticks[1] >= 5; }));
    EXPECT_EQ(ticks[0], 1);
    StopPeriodicTimer(ids[1]);
}

class LineConformance : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(line.Open(FarEnd::kPort));
        ASSERT_TRUE(line.Apply({9600, 'E', 8, 1, 3, 8}));
        ASSERT_TRUE(line.SetTimeouts(25, 100));
    }

    Bytes Read(uint32_t count) {
        Bytes bytes(count);
        bytes.resize(line.Read(bytes.data(), count).count);
        return bytes;
    }

    void Watch() {
        events = 0;
        ASSERT_TRUE(watcher.Start(
            line, WatcherPriority::TimeCritical,
            [](void *self) {
                auto &test = *static_cast<LineConformance *>(self);
                if (test.readInEvent > 0) test.line.Read(test.inEvent, test.readInEvent);
                ++test.events;
            },
            this));
    }

    std::unique_ptr<FarEnd> farEnd = FarEnd::Create();
    SerialLine line;
    LineWatcher watcher;
    std::atomic<int> events{0};
    uint32_t readInEvent = 0;
    uint8_t inEvent[8] = {};
};

TEST_F(LineConformance, ReadsWhatCameAndGivesUpAfterTheTimeout) {
    farEnd->Send({1, 2, 3});
    EXPECT_EQ(Read(2), (Bytes{1, 2}));
    const int64_t before = BackendNow();
    EXPECT_EQ(Read(5), Bytes{3});
    EXPECT_GE(BackendNow() - before, 25);
    uint8_t byte = 0;
    const ReadResult late = line.Read(&byte, 1);
    EXPECT_EQ(late.count, 0u);
    EXPECT_TRUE(late.waited);
}

TEST_F(LineConformance, WritesReachTheFarEnd) {
    const Bytes bytes = {3, 4, 1, 0x4E, 8, 0, 17, 19, 13, 10, 255};
    EXPECT_EQ(line.Write(bytes.data(), static_cast<uint32_t>(bytes.size())), bytes.size());
    EXPECT_TRUE(Eventually([&] { return farEnd->Received() == bytes; }));
    EXPECT_EQ(line.Post(bytes.data(), 2), 2u);
    EXPECT_TRUE(Eventually([&] { return farEnd->Received().size() == bytes.size() + 2; }));
}

TEST_F(LineConformance, IsExclusive) {
    if (devicesAreShared) GTEST_SKIP() << "this system shares its devices";
    SerialLine second;
    EXPECT_FALSE(second.Open(FarEnd::kPort));
    line.Close();
    ASSERT_TRUE(second.Open(FarEnd::kPort));
    EXPECT_TRUE(second.Apply({9600, 'E', 8, 1, 3, 8}));  // also on a device that has these settings already
}

TEST_F(LineConformance, EventCharactersThatComeTogetherAreOneEvent) {
    Watch();
    farEnd->Send({2, 8, 5, 8});
    ASSERT_TRUE(Eventually([this] { return events == 1; }));
    EXPECT_EQ(Read(4), (Bytes{2, 8, 5, 8}));
    farEnd->Send({1, 2, 3});
    EXPECT_EQ(Read(3), (Bytes{1, 2, 3}));
    EXPECT_EQ(events, 1);
    farEnd->Send({8});
    ASSERT_TRUE(Eventually([this] { return events == 2; }));
    line.Close();
    EXPECT_TRUE(watcher.Stop(1000));
}

TEST_F(LineConformance, TheEventProcedureMayReadAndIsCalledAgainForWhatItLeft) {
    readInEvent = 2;
    Watch();
    EXPECT_FALSE(line.HasUnreadEvent());
    farEnd->Send({2, 8, 5, 8});
    ASSERT_TRUE(Eventually([this] { return events == 1 && inEvent[0] == 2; }));
    EXPECT_TRUE(line.HasUnreadEvent());
    EXPECT_TRUE(line.HoldsEventChar());
    line.ReportAgain();
    ASSERT_TRUE(Eventually([this] { return events == 2 && inEvent[0] == 5; }));
    EXPECT_TRUE(Eventually([this] { return !line.HasUnreadEvent(); }));
    EXPECT_TRUE(watcher.Stop(1000));
    line.Close();
}

TEST_F(LineConformance, TheEndOfMoreThanTheInputTakesIsFound) {
    Watch();
    for (int i = 0; i < 5; ++i) {
        farEnd->Send(Bytes(1000, 1));
        ASSERT_TRUE(Eventually([this] { return !line.HasUnreadEvent(); }));
    }
    farEnd->Send({8});
    ASSERT_TRUE(Eventually([this] { return events == 1; }));
    EXPECT_TRUE(line.HoldsEventChar());
    EXPECT_TRUE(watcher.Stop(1000));
    line.Close();
}

TEST_F(LineConformance, AnUnpluggedDeviceReadsAndWritesNothing) {
    Watch();
    EXPECT_FALSE(line.IsLost());
    farEnd->Unplug();
    EXPECT_TRUE(Eventually([this] { return line.Write(inEvent, 1) == 0; }));
    EXPECT_TRUE(Eventually([this] { return line.IsLost(); }));
    EXPECT_TRUE(Read(4).empty());
    EXPECT_TRUE(watcher.Stop(1000));
    line.Close();
    EXPECT_FALSE(line.Open(FarEnd::kPort));
}

}  // namespace
}  // namespace cc::test
