// The worker, the trace file, and calls that bad programs make.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "interface/worker.h"
#include "platform/virtual/world.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class WorkerTest : public SimulationTest {};

TEST_F(WorkerTest, AsksForCoordinatesEveryTwicePeriodPlusOne) {
    arm1.session.autoCoordOn = 1;
    arm1.session.coordPollPeriod = 10;
    arm1.replies.coordAnswered = 1;
    std::vector<int> askedAt;
    for (int tick = 1; tick <= 64; ++tick) {
        const SentMessages sent;
        WorkerStep(1);
        if (!sent.Normal().empty() && arm1.replies.coordAnswered == 0) askedAt.push_back(tick);
    }
    EXPECT_EQ(askedAt, (std::vector{21, 42, 63}));
    EXPECT_EQ(EventsOf(1, 6).size(), 3u);
    arm1.replies.controllerState = 7;
    const SentMessages sent;
    for (int tick = 0; tick < 50; ++tick) WorkerStep(1);
    EXPECT_TRUE(sent.Normal().empty());
    EXPECT_EQ(arm1.session.coordPollTicks, 20);
}

TEST_F(WorkerTest, BringsTheControllerToStatusZeroUnlessTheClientDoes) {
    const struct {
        int state, startMode;
        uint32_t resetPending;
        size_t sent;
    } kCases[] = {{0, 0, 0, 1}, {0, 1, 0, 0}, {2, 0, 1, 1}, {2, 0, 0, 0}, {3, 0, 1, 0}};
    for (const auto &c : kCases) {
        arm1.replies.controllerState = c.state;
        arm1.replies.awaitedReply = 0;
        arm1.replies.resetStatusPending = c.resetPending;
        arm1.session.startMode = c.startMode;
        const SentMessages sent;
        WorkerStep(1);
        EXPECT_EQ(sent.Normal().size(), c.sent) << c.state << c.startMode << c.resetPending;
    }
}

TEST_F(WorkerTest, ServesArmOneFirstAndNeverInsideItself) {
    ASSERT_EQ(OpenSimulated(2), 0);
    static std::vector<int> order;
    order.clear();
    arm1.replies.notifyCallback = [](int32_t, uint32_t, void *) {
        order.push_back(1);
        L2HI_WORKER(nullptr, 0, 0, 0);
    };
    SelectArm(2).replies.notifyCallback = [](int32_t, uint32_t, void *) { order.push_back(2); };
    for (const int16_t arm : {1, 2}) {
        for (int i = 0; i < 2; ++i) Inject(arm, Hex("02 01 36"));
    }
    L2HI_WORKER(nullptr, 0, 0, 0);
    EXPECT_EQ(order, (std::vector{1, 2}));
    EXPECT_EQ(L2HI_WORKER_TEMP(), 1);
}

// What a callback or a box dispatches in the middle of a call, and what a callback throws.
TEST_F(WorkerTest, RunsBetweenCallsOnlyAndOutlivesExceptions) {
    static int runs;
    runs = 0;
    const auto dispatch = [](int32_t event, uint32_t, void *) {
        if (event == 23) runs += 100 + CC_LOOP_RUN(100);
    };
    arm1.replies.notifyCallback = dispatch;
    Inject(1, Hex("02 01 36"));
    EXPECT_EQ(CC_SETSTATUS(1, 5), 1);
    EXPECT_EQ(runs, 100);
    Inject(1, Hex("02 01 36"));
    EXPECT_GT(CC_LOOP_RUN(100), 0);
    EXPECT_EQ(runs, 200);
    arm1.connection.simulationMode = 0;
    arm1.connection.ackEvent.OpenShared("AckwnoledgeReceived");
    CC_SET_MESSAGE_BOX([](const char *, void *) { runs += CC_LOOP_RUN(100); }, nullptr);
    EXPECT_EQ(CC_FEED(1, 1), 0);
    EXPECT_EQ(runs, 200);
    CC_SET_MESSAGE_BOX(nullptr, nullptr);
    arm1.connection.ackEvent.Close();
    arm1.connection.simulationMode = 1;
    arm1.replies.notifyCallback = [](int32_t, uint32_t, void *) { throw 1; };
    CC_FLYONOFF(1, 1);
    Inject(1, Hex("04 02 04 00 FF"));
    EXPECT_ANY_THROW(CC_LOOP_RUN(100));
    EXPECT_EQ(arm1.motion.moveHistoryRead, 1);  // the entry was told of, and is over
    EXPECT_GT(CC_LOOP_RUN(100), 0);
}

TEST_F(WorkerTest, ACallbackMayCloseTheArm) {
    arm1.replies.notifyCallback = [](int32_t event, uint32_t, void *) {
        if (event == 23) CC_DONE(1, 2);
    };
    Inject(1, Hex("02 01 36"));
    arm1.replies.controllerState = 3;
    CC_FLYONOFF(1, 1);
    const SentMessages sent;
    WorkerStep(1);
    EXPECT_EQ(sent.Normal(), Messages{Hex("04 01 'P' '1' '2'")});  // nothing behind the shutdown
    ASSERT_EQ(OpenSimulated(1), 0);
    arm1.replies.notifyCallback = [](int32_t event, uint32_t, void *) {
        if (event == 23) CC_DONE(1, 2);
    };
    Inject(1, Hex("02 01 36"));
    arm1.simulator.simState = 7;  // no answer: the wait goes on when the callback has closed the arm
    EXPECT_EQ(CC_SETSTATUS(1, 1), 0);
}

TEST_F(WorkerTest, TicksOfOtherTimersChangeNothing) {
    const int16_t counter = CreateCounter();
    const uint32_t own = arm1.connection.mmTimerId;
    for (const uint32_t id : {0u, own + 100}) LEV2_MANAGER(id, 0, 0, 0, 0);
    EXPECT_EQ(GetCounter(counter), 0);
    LEV2_MANAGER(own, 0, 0, 0, 0);
    EXPECT_EQ(GetCounter(counter), 1);
    DeleteCounter(counter);
}

class TraceTest : public ArmTest {
  protected:
    static std::string Read(const char *name) {
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        return text.str();
    }
};

TEST_F(TraceTest, EveryMessageIsALine) {
    std::remove("wtraceArm1.log");
    std::remove("wtraceArm0.log");
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\nLog file=1\ntimeout=1\n")), 0);
    ASSERT_EQ(CC_INIT(nullptr, 0, nullptr, nullptr, nullptr, 1, 1, 1, CC_SIMULATION,
                      IniFile("[Timers]\nLog file=1\n", 2)),
              0);
    arm1.session.startMode = 1;
    ASSERT_EQ(CC_ZEROES(1), 1);
    CC_LOOP_RUN(200);
    CC_DONE(1, 2);
    EXPECT_EQ(Read("wtraceArm1.log"),
              ">>04 01 4E 30 30 \n  0C 00 00 01 FF 01 01 01 00 00 00 07 07 \n"
              ">>04 01 53 37 30 \n  02 00 00 \n>>04 01 53 31 35 \n  04 00 06 01 00 \n___endzeroes  1\n"
              ">>04 01 50 31 32 \n");
    CC_DONE(2, 2);
    EXPECT_FALSE(Read("wtraceArm0.log").empty());
    std::remove("wtraceArm1.log");
    ASSERT_EQ(OpenSimulated(1), 0);
    CC_DONE(1, 2);
    EXPECT_TRUE(Read("wtraceArm1.log").empty());
}

class BadInputTest : public ArmTest {};

// Calls every command; results in the order of the calls.
std::vector<int> CallAll(int16_t arm) {
    const double position[6] = {};
    uint8_t bytes[64] = {4, 1, 'A', '0', '0'};
    uint16_t words[2] = {};
    double values[6] = {};
    CC_MOVE(arm, 0, position, 0, 0, nullptr, nullptr, 0);
    CC_MOVEINCR(arm, position, 0, 0);
    CC_MOVERT(arm, position, 0, 0);
    CC_MOVEINCRRT(arm, position, 0, 0);
    CC_MOVEWRIST(arm, position, 0, 0);
    CC_MOVEWRISTINCR(arm, position, 0, 0);
    CC_SPEED(arm, 0, 1);
    CC_FLYONOFF(arm, 1);
    CC_FLYLEN(arm, 1);
    CC_ASKCOORD(arm, 1);
    return {CC_START(arm, bytes, 0),
            CC_NCONOFF(arm, 1),
            CC_OPBUF(arm, 0),
            CC_SETSTATUS(arm, 0),
            CC_EMERGENCY(arm, 0),
            CC_ZEROES(arm),
            CC_ZEROESAB(arm),
            CC_NCONWAITSTART(arm, 1),
            CC_FEED(arm, 1),
            CC_ENDIS_AXES(arm, 1, 0, nullptr),
            CC_ENDIS_STARTHOLD_MSG(arm, 1),
            CC_ENDIS_TP200(arm, 1),
            CC_TFMODE(arm, 1),
            CC_SETINFO(arm, bytes),
            CC_GETINFO(arm, bytes),
            CC_FREEFRAME(arm, bytes, 5, 4, 0),
            CC_INFO(arm, bytes),
            CC_IO(arm, 0, words),
            CC_READ_PARAM(arm, 1, values),
            CC_READTEMP(arm),
            CC_GETCOORD(arm),
            CC_GETWRISTCOORD(arm),
            CC_PHUpdate(arm),
            CC_PHMANMODE(arm),
            CC_PHAUTOMODE(arm),
            CC_PHSetPosition(arm, 1, 2, 1, 0)};
}

TEST_F(BadInputTest, ClosedArmsDoNothingAndSaySo) {
    const SentMessages sent;
    const int64_t before = platform::World::Instance().Now();
    for (const int result : CallAll(1)) EXPECT_EQ(result, 0);
    EXPECT_EQ(L2S_StartScan(), 0);
    EXPECT_EQ(L2S_StopScan(), 0);
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    CC_DONE(1, 0);
    EXPECT_EQ(platform::World::Instance().Now(), before);
    EXPECT_TRUE(sent.Normal().empty() && sent.Priority().empty());
    EXPECT_EQ(arm1.motion.moveRingWrite, -1);
    // What needs no connection works.
    uint32_t table[512] = {7};
    CC_STORE_COSDAT(1, table);
    EXPECT_EQ(arm1.session.cosDat[0], 7u);
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
    EXPECT_EQ(CC_MOVING(1), 0);
    EXPECT_EQ(L2_SETDISTDEPTH(0, 0), 1);
    double a = 5, b = 5;
    CC_PHGetPosition(1, &a, &b);
    EXPECT_EQ(CC_PHMoving(1), a == -1.0 ? 1 : 0);
}

TEST_F(BadInputTest, NullPointersAreRefusedBeforeAnythingIsSent) {
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 1, 0.001, 1, 0, nullptr), 526);
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, "XYZ", nullptr, 1, 0.001, 1, 0, nullptr), 526);
    ASSERT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 1, 0.001, 1, CC_SIMULATION, nullptr), 0);
    const SentMessages sent;
    EXPECT_EQ(CC_START(1, nullptr, 0), 0);
    EXPECT_EQ(CC_INFO(1, nullptr), 0);
    EXPECT_EQ(CC_IO(1, 1, nullptr), 0);
    EXPECT_EQ(CC_READ_PARAM(1, 1, nullptr), 0);
    EXPECT_EQ(CC_SETINFO(1, nullptr), 0);
    EXPECT_EQ(CC_GETINFO(1, nullptr), 0);
    EXPECT_EQ(CC_ENDIS_AXES(1, 1, 2, nullptr), 0);
    EXPECT_EQ(CC_FREEFRAME(1, nullptr, 5, 5, 0), 0);
    CC_STORE_COSDAT(1, nullptr);
    CC_PHGetPosition(1, nullptr, nullptr);
    CC_MOVE(1, 0, nullptr, 0, 0, nullptr, nullptr, 0);
    CC_MOVEINCR(1, nullptr, 0, 0);
    CC_MOVERT(1, nullptr, 0, 0);
    CC_MOVEWRIST(1, nullptr, 0, 0);
    L2S_SetRotMatrix(nullptr, nullptr);
    L2S_SetTipRad(nullptr);
    EXPECT_EQ(arm1.motion.moveRingWrite, -1);
    EXPECT_TRUE(sent.Normal().empty() && sent.Priority().empty());
}

TEST_F(BadInputTest, LengthsThatFitNoSlotAreRefused) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1\n")), 0);
    static uint8_t bytes[32767] = {4, 1, 'S', '2', '6'};
    const struct {
        int16_t length, kind, result;
    } kCases[] = {{257, 5, 0}, {256, 5, 1}, {32767, 6, 0}, {-1, 5, 0}, {0, 5, 0},
                  {65, 4, 0},  {64, 4, 1},  {-5, 4, 0},    {0, 4, 0}};
    for (const auto &c : kCases) {
        arm1.replies.awaitedReply = 0;
        EXPECT_EQ(CC_FREEFRAME(1, bytes, c.length, c.kind, 0), c.result) << c.length << " kind " << c.kind;
    }
    const SentMessages sent;
    for (const int16_t n : {252, 32767, -1, -32768}) EXPECT_EQ(CC_ENDIS_AXES(1, 1, n, bytes), 0) << n;
    EXPECT_TRUE(sent.Normal().empty());
    CC_ENDIS_AXES(1, 1, 251, bytes);
    EXPECT_EQ(sent.Normal().size(), 1u);
}

}  // namespace
}  // namespace cc::test
