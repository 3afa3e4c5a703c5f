// Opening, starting and closing arms in simulation mode.
#include <cstring>

#include "platform/virtual/world.h"
#include "support/inside.h"

namespace cc::test {
namespace {

using platform::World;

class LifecycleTest : public ArmTest {};

TEST_F(LifecycleTest, SimulatedArmOpensWithTheSimulatorsAnswer) {
    const SentMessages sent;
    ASSERT_EQ(OpenSimulated(1), 0);
    EXPECT_EQ(sent.Normal(), Messages{Hex("04 01 'N' '0' '0'")});
    EXPECT_FALSE(SelectArm(1).connection.ackEvent.IsOpen());
    EXPECT_EQ(SelectArm(1).replies.controllerState, 1);
    EXPECT_EQ(SelectArm(1).motion.maxMovesInFlight, 2);
    EXPECT_EQ(CC_GETSTATUS(1), 0);
    EXPECT_EQ(Events(1), std::vector{Of(1, 1)});

    ControllerInfo info{};
    EXPECT_EQ(CC_INFO(1, &info), 1);
    EXPECT_EQ(info.controllerType, 1);
    EXPECT_EQ(info.controllerLevel, 255);
    const uint16_t kinds[6] = {1, 1, 1, 0, 0, 0};
    for (int axis = 0; axis < 6; ++axis) {
        EXPECT_EQ(info.axes[axis].kind, kinds[axis]) << axis;
        EXPECT_EQ(info.axes[axis].flags, axis < 3 ? 3 : 0)
            << axis;  // 7 and 7: both flags of the first three axes
    }
    EXPECT_EQ(info.optionCode, 0);  // the answer ends before it
}

// Without extended start the handshake waits for state 2, which the simulator does not report; it opens all
// the same.
TEST_F(LifecycleTest, PlainStartInSimulationWaitsForTheTimeout) {
    SelectArm(1).simulator.simState = 1;
    const int64_t before = World::Instance().Now();
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 0, 0.001, 1.0, CC_SIMULATION, nullptr), 0);
    EXPECT_NEAR(static_cast<double>(World::Instance().Now() - before), 6e6, 0.1e6);
}

TEST_F(LifecycleTest, ShutdownModesOrderTheirCommands) {
    const struct {
        int16_t mode;
        Messages normal, priority;
    } kCases[] = {{0, {Hex("04 01 'S' '7' '1'")}, {}},
                  {1, {}, {Hex("05 01 'P' '0' '0' 00")}},
                  {7, {Hex("04 01 'P' '1' '2'")}, {}}};
    for (const auto &c : kCases) {
        ASSERT_EQ(OpenSimulated(1), 0);
        SelectArm(1).replies.controllerState = 3;
        const SentMessages sent;
        const int64_t before = World::Instance().Now();
        CC_DONE(1, c.mode);
        EXPECT_NEAR(static_cast<double>(World::Instance().Now() - before), 6e6, 0.1e6);
        EXPECT_EQ(sent.Normal(), c.normal);
        EXPECT_EQ(sent.Priority(), c.priority);
    }
}

TEST_F(LifecycleTest, StartClassifiesTheController) {
    const struct {
        int type, level, expectedClass;
    } kCases[] = {{65535, 0, 1}, {0, 15, 3}, {0, 14, 1}, {1, 14, 1},  {1, 15, 2},  {1, 16, 3}, {2, 0, 3},
                  {4, 0, 3},     {5, 0, 3},  {16, 0, 3}, {255, 8, 3}, {255, 7, 2}, {3, 99, 2}, {17, 0, 2}};
    ASSERT_EQ(OpenSimulated(1), 0);
    for (const auto &c : kCases) {
        ControllerInfo &info = SelectArm(1).replies.controllerInfo;
        info.controllerType = static_cast<uint16_t>(c.type);
        info.controllerLevel = static_cast<uint16_t>(c.level);
        const SentMessages sent;
        ControllerInfo out{};
        EXPECT_EQ(CC_START(1, &out, 0), 1);
        EXPECT_EQ(SelectArm(1).session.controllerClass, c.expectedClass) << c.type << " " << c.level;
        EXPECT_EQ(SelectArm(1).session.coordPollPeriod, c.expectedClass == 3 ? 10 : 0);
        EXPECT_EQ(std::memcmp(&out, &info, sizeof info), 0);
        Messages expected{Hex("04 01 'L' '1' '3'")};
        if (c.expectedClass == 3) expected.push_back(Hex("06 01 'H' '0' '0' 01 00"));
        EXPECT_EQ(sent.Normal(), expected) << c.type << " " << c.level;
    }
    ControllerInfo out{};
    SelectArm(1).replies.controllerInfo.controllerType = 2;
    const SentMessages sent;
    EXPECT_EQ(CC_START(1, &out, 1), 1);
    EXPECT_EQ(SelectArm(1).session.coordPollPeriod, 2);
    EXPECT_EQ(sent.Normal().back(), Hex("06 01 'H' '0' '0' 00 00"));
}

TEST_F(LifecycleTest, SettingsAreConvertedAndReplacedWhenUnusable) {
    struct Expected {
        int lo, hi, timeout, head, autoCoord, convention;
    };
    const struct {
        const char *text;
        Expected expected;
    } kCases[] = {
        {"", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nLo Period=10\ntimeout=2\n", {10, 50, 200, 600, 100, 0}},
        {"[TIMERS]\n  lo period = 30ms\n", {30, 50, 198, 198, 100, 0}},
        {"[Timers]\nLo Period=3\nHi Period=20\nPH9 timeout=0\n", {3, 20, 1998, 0, 100, 0}},
        {"[Timers]\nLo Period=0\nHi Period=0\n", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nLo Period=1001\nHi Period=-5\n", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nLo Period=1000\n", {1000, 50, 6, 6, 100, 0}},
        {"[Timers]\ntimeout=1638\n", {50, 50, 32760, 120, 100, 0}},
        {"[Timers]\ntimeout=1639\nPH9 timeout=-1\n", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nAuto Coord=40\n", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nAuto Coord=-40\n", {50, 50, 120, 120, 100, 0}},
        {"[Timers]\nAuto Coord=0\n", {50, 50, 120, 120, 0, 0}},
        {"[Timers]\nAuto Coord=250\n", {50, 50, 120, 120, 250, 0}},
        {"[Controller]\nKX_AXES_CONVENTION = 'tRuE'\n", {50, 50, 120, 120, 100, 1}},
        {"[CONTROLLER]\nKX_AXES_CONVENTION = YES\n", {50, 50, 120, 120, 100, 0}},
        {"[CONTROLLER]\nKX_AXES_CONVENTION =\n", {50, 50, 120, 120, 100, 0}},
    };
    for (const auto &c : kCases) {
        ASSERT_EQ(OpenSimulated(1, IniFile(c.text)), 0);
        const ArmContext &arm = SelectArm(1);
        EXPECT_EQ(arm.settings.loPeriodMs, c.expected.lo) << c.text;
        EXPECT_EQ(arm.settings.hiPeriodMs, c.expected.hi) << c.text;
        EXPECT_EQ(arm.settings.timeoutTicks, c.expected.timeout) << c.text;
        EXPECT_EQ(arm.settings.headTimeoutTicks, c.expected.head) << c.text;
        EXPECT_EQ(arm.settings.autoCoordMs, c.expected.autoCoord) << c.text;
        const int32_t signY = c.expected.convention != 0 ? -1 : 1;
        const int32_t slotX = c.expected.convention != 0 ? 1 : 0;
        EXPECT_EQ(arm.axes.axisSign[1], signY) << c.text;
        EXPECT_EQ(arm.axes.axisSlot[0], slotX) << c.text;
    }
}

TEST_F(LifecycleTest, BothArmsShareOneWorkerTimer) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\nHi Period=20\n")), 0);
    ASSERT_EQ(OpenSimulated(2, IniFile("[Timers]\nHi Period=10\n", 2)), 0);
    CC_LOOP_DISPATCH();                // the ticks of the opening are one
    EXPECT_EQ(CC_LOOP_RUN(1000), 50);  // at the first arm's period
    CC_DONE(1, 2);
    EXPECT_EQ(CC_GETSTATUS(2), 0);
    CC_LOOP_DISPATCH();
    EXPECT_EQ(CC_LOOP_RUN(200), 10);
    CC_DONE(2, 2);
    EXPECT_EQ(CC_LOOP_RUN(1000), 0);
}

TEST_F(LifecycleTest, AnArmThatItsCallbackClosesIsNotOpen) {
    const auto open = [](CC_NOTIFY notify) {
        return CC_INIT(nullptr, 1, notify, nullptr, nullptr, 1, 0.001, 1.0, CC_SIMULATION, nullptr);
    };
    EXPECT_EQ(open([](int32_t, uint32_t, void *) { CC_DONE(1, 2); }), 769);
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    EXPECT_EQ(CC_LOOP_RUN(500), 0);
    // Closed and opened anew: the arm is that of the inner call.
    EXPECT_EQ(open([](int32_t, uint32_t, void *) { OpenSimulated(1); }), 769);
    EXPECT_EQ(CC_GETSTATUS(1), 0);
}

TEST_F(LifecycleTest, AnArmWithoutAHeadKnowsNothingOfTheLastOne) {
    ASSERT_EQ(OpenSimulated(1, nullptr, CC_SIMULATION | CC_SIMULATED_HEAD), 0);
    EXPECT_EQ(CC_PHSetPosition(1, 45, 90, 0, 0), 1);
    ASSERT_EQ(OpenSimulated(1), 0);
    double a = 1, b = 1;
    CC_PHGetPosition(1, &a, &b);
    EXPECT_EQ(a, 0);
    EXPECT_EQ(CC_PHSetPosition(1, 45, 90, 0, 0), 0);
}

TEST_F(LifecycleTest, SingleArmEntryPointsServeArmOne) {
    ASSERT_EQ(L2_INIT(nullptr, Recorder(1), nullptr, nullptr, 1, 0.001, CC_SIMULATION), 0);
    EXPECT_EQ(SelectArm(1).axes.wristScale, 1.0);
    ControllerInfo info{};
    EXPECT_EQ(L2_END_INIT(&info), 1);
    EXPECT_EQ(SelectArm(1).session.startMode, 0);
    EXPECT_EQ(L2_SETSTATUS(1), 1);
    EXPECT_EQ(L2_GETSTATUS(), 1);
    EXPECT_EQ(L2_SETDISTDEPTH(1, 2), 1);
    L2_DONE(2);
    EXPECT_EQ(L2_GETSTATUS(), -1);
}

TEST_F(LifecycleTest, CountersOfArmOne) {
    EXPECT_EQ(CreateCounter(), 0);
    EXPECT_EQ(CreateCounter(), 1);
    EXPECT_EQ(CreateCounter(), 2);
    EXPECT_EQ(CreateCounter(), -1);
    DeleteCounter(5);
    DeleteCounter(1);
    AdvanceTickCounters(SelectArm(1).counters);
    EXPECT_EQ(GetCounter(0), 1);
    EXPECT_EQ(CreateCounter(), 1);
    EXPECT_EQ(GetCounter(1), 0);
    for (int i = 0; i < 65535; ++i) AdvanceTickCounters(SelectArm(1).counters);
    EXPECT_EQ(GetCounter(0), 0);  // wrapped
    for (const int16_t slot : {3, -1}) EXPECT_EQ(GetCounter(slot), 0);
    for (const int16_t slot : {0, 1, 2}) DeleteCounter(slot);
    EXPECT_EQ(GetCounter(0), 0);
}

TEST_F(LifecycleTest, CompletionWaitsNeedACounterAndDoubleWithoutTheWorker) {
    ASSERT_EQ(OpenSimulated(1), 0);
    SelectArm(1).connection.workerActive = 0;
    const int64_t before = World::Instance().Now();
    const Bytes unknown = Hex("04 01 'B' '0' '0'");
    EXPECT_EQ(CC_FREEFRAME(1, unknown.data(), 5, 6, 77), 0);
    EXPECT_NEAR(static_cast<double>(World::Instance().Now() - before), 12e6, 0.2e6);
    for (int i = 0; i < 3; ++i) CreateCounter();
    const int64_t full = World::Instance().Now();
    EXPECT_EQ(CC_SETSTATUS(1, 1), 0);
    EXPECT_EQ(CC_GETCOORD(1), 0);
    EXPECT_EQ(World::Instance().Now(), full);
    for (const int16_t slot : {0, 1, 2}) DeleteCounter(slot);
}

}  // namespace
}  // namespace cc::test
