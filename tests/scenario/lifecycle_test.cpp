// Opening, starting and closing arms in simulation mode.
#include <cstring>

#include "support/inside.h"

namespace cc::test {
namespace {

class LifecycleTest : public ArmTest {};

TEST_F(LifecycleTest, SimulatedArmOpensWithTheSimulatorsAnswer) {
    const SentMessages sent;
    ASSERT_EQ(OpenSimulated(1), 0);
    EXPECT_EQ(sent.Normal(), Messages{Hex("04 01 'N' '0' '0'")});
    EXPECT_FALSE(arm1.link.ackEvent.IsOpen());
    EXPECT_EQ(arm1.replies.controllerState, 1);
    EXPECT_EQ(arm1.motion.maxMovesInFlight, 2);
    EXPECT_EQ(CC_GETSTATUS(1), 0);
    EXPECT_EQ(Events(1), std::vector{Of(1, 1)});
    // Type and level, three of six axes, no option: the answer ends before it.
    std::vector<uint16_t> info(24), expected{1, 255, 0, 1, 3, 0, 1, 3, 0, 1, 3};
    expected.resize(24);
    EXPECT_EQ(CC_INFO(1, info.data()), 1);
    EXPECT_EQ(info, expected);
}

// Without extended start the handshake waits for state 2, which the simulator does not report; it opens all
// the same.
TEST_F(LifecycleTest, PlainStartInSimulationWaitsForTheTimeout) {
    arm1.link.simulator.simState = 1;
    const double before = Seconds();
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 0, 0.001, 1.0, CC_SIMULATION, nullptr), 0);
    EXPECT_NEAR(Seconds() - before, 6, 0.1);
}

TEST_F(LifecycleTest, ShutdownModesOrderTheirCommands) {
    const std::tuple<int16_t, const char *, const char *> kCases[] = {
        {0, "04 01 'S' '7' '1'", ""}, {1, "", "05 01 'P' '0' '0' 00"}, {7, "04 01 'P' '1' '2'", ""}};
    for (const auto &[mode, normal, priority] : kCases) {
        ASSERT_EQ(OpenSimulated(1), 0);
        arm1.replies.controllerState = 3;
        const SentMessages sent;
        const double before = Seconds();
        CC_DONE(1, mode);
        EXPECT_NEAR(Seconds() - before, 6, 0.1);
        EXPECT_EQ(sent.Normal(), Hexes(normal));
        EXPECT_EQ(sent.Priority(), Hexes(priority));
    }
}

TEST_F(LifecycleTest, StartClassifiesTheController) {
    const std::tuple<int, int, int> kCases[] = {
        {65535, 0, 1}, {0, 15, 3}, {0, 14, 1}, {1, 14, 1},  {1, 15, 2},  {1, 16, 3}, {2, 0, 3},
        {4, 0, 3},     {5, 0, 3},  {16, 0, 3}, {255, 8, 3}, {255, 7, 2}, {3, 99, 2}, {17, 0, 2}};
    const std::string l13 = "04 01 'L' '1' '3'",
                      h00[] = {"| 06 01 'H' '0' '0' 01 00", "| 06 01 'H' '0' '0' 00 00"};
    ASSERT_EQ(OpenSimulated(1), 0);
    for (const auto &[type, level, expectedClass] : kCases) {
        for (const int16_t mode : {0, 1}) {
            ControllerInfo &info = arm1.replies.controllerInfo, out{};
            info.controllerType = static_cast<uint16_t>(type);
            info.controllerLevel = static_cast<uint16_t>(level);
            const SentMessages sent;
            EXPECT_EQ(CC_START(1, &out, mode), 1);
            EXPECT_EQ(static_cast<int>(arm1.session.controllerClass), expectedClass) << type << " " << level;
            EXPECT_EQ(arm1.session.coordPollPeriod, expectedClass != 3 ? 0 : mode == 0 ? 10 : 2);
            EXPECT_EQ(std::memcmp(&out, &info, sizeof info), 0);
            EXPECT_EQ(sent.Normal(), Hexes(l13 + (expectedClass == 3 ? h00[mode] : "")))
                << type << " " << level;
        }
    }
}

TEST_F(LifecycleTest, SettingsAreConvertedAndReplacedWhenUnusable) {
    // Periods, time-outs of arm and head in ticks, coordinates' period; where Y and X of the convention go.
    const std::pair<const char *, std::vector<int>> kCases[] = {
        {"", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nLo Period=10\ntimeout=2\n", {10, 50, 200, 600, 100, 1, 0}},
        {"[TIMERS]\n  lo period = 30ms\n", {30, 50, 198, 198, 100, 1, 0}},
        {"[Timers]\nLo Period=3\nHi Period=20\nPH9 timeout=0\n", {3, 20, 1998, 0, 100, 1, 0}},
        {"[Timers]\nLo Period=0\nHi Period=0\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nLo Period=1001\nHi Period=-5\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nLo Period=1000\n", {1000, 50, 6, 6, 100, 1, 0}},
        {"[Timers]\ntimeout=1638\n", {50, 50, 32760, 120, 100, 1, 0}},
        {"[Timers]\ntimeout=1639\nPH9 timeout=-1\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nAuto Coord=40\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nAuto Coord=-40\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[Timers]\nAuto Coord=0\n", {50, 50, 120, 120, 0, 1, 0}},
        {"[Timers]\nAuto Coord=250\n", {50, 50, 120, 120, 250, 1, 0}},
        {"[Controller]\nKX_AXES_CONVENTION = 'tRuE'\n", {50, 50, 120, 120, 100, -1, 1}},
        {"[CONTROLLER]\nKX_AXES_CONVENTION = YES\n", {50, 50, 120, 120, 100, 1, 0}},
        {"[CONTROLLER]\nKX_AXES_CONVENTION =\n", {50, 50, 120, 120, 100, 1, 0}},
    };
    for (const auto &[text, expected] : kCases) {
        ASSERT_EQ(OpenSimulated(1, IniFile(text)), 0);
        const Settings &now = arm1.settings;
        EXPECT_EQ((std::vector{now.loPeriodMs, now.hiPeriodMs, now.timeoutTicks, now.headTimeoutTicks,
                               now.autoCoordMs, arm1.axes.axisSign[1], arm1.axes.axisSlot[0]}),
                  expected)
            << text;
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

TEST_F(LifecycleTest, SingleArmEntryPointsServeArmOne) {
    ASSERT_EQ(L2_INIT(nullptr, Recorder(1), nullptr, nullptr, 1, 0.001, CC_SIMULATION), 0);
    EXPECT_EQ(arm1.axes.wristScale, 1.0);
    ControllerInfo info{};
    EXPECT_EQ(L2_END_INIT(&info), 1);
    EXPECT_EQ(arm1.session.startMode, 0);
    EXPECT_EQ((std::vector<int>{L2_SETSTATUS(1), L2_GETSTATUS(), L2_SETDISTDEPTH(1, 2)}),
              (std::vector{1, 1, 1}));
    L2_DONE(2);
    EXPECT_EQ(L2_GETSTATUS(), -1);
}

TEST_F(LifecycleTest, CountersOfArmOneCountTheTicksOfItsTimer) {
    ASSERT_EQ(OpenSimulated(1), 0);
    const uint32_t timer = arm1.connection.mmTimerId;
    for (const int16_t slot : {0, 1, 2, -1}) EXPECT_EQ(CreateCounter(), slot);
    for (const int16_t slot : {5, 1}) DeleteCounter(slot);
    for (const uint32_t id : {0u, timer + 100, timer}) LEV2_MANAGER(id, 0, 0, 0, 0);
    EXPECT_EQ(GetCounter(0), 1);
    EXPECT_EQ(CreateCounter(), 1);
    EXPECT_EQ(GetCounter(1), 0);
    for (int i = 0; i < 65535; ++i) LEV2_MANAGER(timer, 0, 0, 0, 0);
    for (const int16_t slot : {0, 3, -1}) EXPECT_EQ(GetCounter(slot), 0);  // 0 has wrapped
    for (const int16_t slot : {0, 1, 2}) DeleteCounter(slot);
    EXPECT_EQ(GetCounter(1), 0);
}

TEST_F(LifecycleTest, CompletionWaitsNeedACounterAndDoubleWithoutTheWorker) {
    ASSERT_EQ(OpenSimulated(1), 0);
    arm1.connection.workerActive = 0;
    const double before = Seconds();
    EXPECT_EQ(CC_FREEFRAME(1, Hex("04 01 'B' '0' '0'").data(), 5, 6, 77), 0);
    EXPECT_NEAR(Seconds() - before, 12, 0.2);
    for (int i = 0; i < 3; ++i) CreateCounter();
    const double full = Seconds();
    EXPECT_EQ(CC_SETSTATUS(1, 1), 0);
    EXPECT_EQ(CC_GETCOORD(1), 0);
    EXPECT_EQ(Seconds(), full);
    for (const int16_t slot : {0, 1, 2}) DeleteCounter(slot);
}

}  // namespace
}  // namespace cc::test
