// The worker, the trace file, and calls that bad programs make.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "session/worker.h"
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
        WorkerStep(arm1, 1);
        if (!sent.Normal().empty() && arm1.replies.coordAnswered == 0) askedAt.push_back(tick);
    }
    EXPECT_EQ(askedAt, (std::vector{21, 42, 63}));
    EXPECT_EQ(EventsOf(1, 6).size(), 3u);
    arm1.replies.controllerState = 7;
    const SentMessages sent;
    for (int tick = 0; tick < 50; ++tick) WorkerStep(arm1, 1);
    EXPECT_TRUE(sent.Normal().empty());
    EXPECT_EQ(arm1.session.coordPollTicks, 20);
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
    for (const int16_t arm : {1, 1, 2, 2}) Inject(arm, Hex("02 01 36"));
    L2HI_WORKER(nullptr, 0, 0, 0);
    EXPECT_EQ(order, (std::vector{1, 2}));
    EXPECT_EQ(L2HI_WORKER_TEMP(), 1);
}

// What a callback or a box dispatches in the middle of a call, and what a callback throws.
TEST_F(WorkerTest, RunsBetweenCallsOnlyAndOutlivesExceptions) {
    static int runs;
    runs = 0;
    arm1.replies.notifyCallback = [](int32_t event, uint32_t, void *) {
        if (event == 23) runs += 100 + CC_LOOP_RUN(100);
    };
    Inject(1, Hex("02 01 36"));
    EXPECT_EQ(CC_SETSTATUS(1, 5), 1);
    EXPECT_EQ(runs, 100);
    Inject(1, Hex("02 01 36"));
    EXPECT_GT(CC_LOOP_RUN(100), 0);
    EXPECT_EQ(runs, 200);
    arm1.link.simulationMode = 0;
    arm1.link.ackEvent.OpenShared("AckwnoledgeReceived");
    CC_SET_MESSAGE_BOX([](const char *, void *) { runs += CC_LOOP_RUN(100); }, nullptr);
    EXPECT_EQ(CC_FEED(1, 1), 0);
    EXPECT_EQ(runs, 200);
    CC_SET_MESSAGE_BOX(nullptr, nullptr);
    arm1.link.ackEvent.Close();
    arm1.link.simulationMode = 1;
    arm1.replies.notifyCallback = [](int32_t, uint32_t, void *) { throw 1; };
    CC_FLYONOFF(1, 1);
    Inject(1, Hex("04 02 04 00 FF"));
    EXPECT_ANY_THROW(CC_LOOP_RUN(100));
    EXPECT_EQ(arm1.motion.moveHistoryRead, 1);  // the entry was told of, and is over
    EXPECT_GT(CC_LOOP_RUN(100), 0);
}

TEST_F(WorkerTest, ACallbackMayCloseTheArm) {
    const auto closes = [](int32_t event, uint32_t, void *) {
        if (event == 23) CC_DONE(1, 2);
    };
    arm1.replies.notifyCallback = closes;
    Inject(1, Hex("02 01 36"));
    arm1.replies.controllerState = 3;
    CC_FLYONOFF(1, 1);
    const SentMessages sent;
    WorkerStep(arm1, 1);
    EXPECT_EQ(sent.Normal(), Messages{Hex("04 01 'P' '1' '2'")});  // nothing behind the shutdown
    ASSERT_EQ(OpenSimulated(1), 0);
    arm1.replies.notifyCallback = closes;
    Inject(1, Hex("02 01 36"));
    arm1.link.simulator.simState = 7;  // no answer: the wait goes on when the callback has closed the arm
    EXPECT_EQ(CC_SETSTATUS(1, 1), 0);
}

class TraceTest : public ArmTest {};

/// Text of a trace file, which is gone afterwards.
std::string Take(const char *name) {
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    std::remove(name);
    return text.str();
}

TEST_F(TraceTest, EveryMessageIsALine) {
    for (const char *const name : {"wtraceArm1.log", "wtraceArm0.log"}) Take(name);
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\nLog file=1\ntimeout=1\n")), 0);
    ASSERT_EQ(OpenSimulated(0, IniFile("[Timers]\nLog file=1\n", 2)), 0);
    arm1.session.startMode = 1;
    ASSERT_EQ(CC_ZEROES(1), 1);
    CC_LOOP_RUN(200);
    CC_DONE(1, 2);
    EXPECT_EQ(Take("wtraceArm1.log"),
              ">>04 01 4E 30 30 \n  0C 00 00 01 FF 01 01 01 00 00 00 07 07 \n"
              ">>04 01 53 37 30 \n  02 00 00 \n>>04 01 53 31 35 \n  04 00 06 01 00 \n___endzeroes  1\n"
              ">>04 01 50 31 32 \n");
    // With 2, each line is there at once.
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\nLog file=2\n")), 0);
    EXPECT_EQ(Take("wtraceArm1.log"), ">>04 01 4E 30 30 \n  0C 02 00 01 FF 01 01 01 00 00 00 07 07 \n");
    CC_DONE(2, 2);
    EXPECT_FALSE(Take("wtraceArm0.log").empty());
    ASSERT_EQ(OpenSimulated(1), 0);
    CC_DONE(1, 2);
    EXPECT_TRUE(Take("wtraceArm1.log").empty());
}

class BadInputTest : public ArmTest {};

TEST_F(BadInputTest, ClosedArmsDoNothingAndSaySo) {
    const SentMessages sent;
    const double before = Seconds();
    const double position[6] = {};
    uint8_t bytes[64] = {4, 1, 'A', '0', '0'};
    uint16_t words[2] = {};
    double values[6] = {5, 5};
    CC_MOVE(1, 0, position, 0, 0, nullptr, nullptr, 0);
    CC_MOVEINCR(1, position, 0, 0);
    CC_MOVERT(1, position, 0, 0);
    CC_MOVEINCRRT(1, position, 0, 0);
    CC_MOVEWRIST(1, position, 0, 0);
    CC_MOVEWRISTINCR(1, position, 0, 0);
    CC_SPEED(1, 0, 1);
    CC_FLYONOFF(1, 1);
    CC_FLYLEN(1, 1);
    CC_ASKCOORD(1, 1);
    EXPECT_EQ(CC_START(1, bytes, 0) | CC_NCONOFF(1, 1) | CC_OPBUF(1, 0) | CC_SETSTATUS(1, 0) |
                  CC_EMERGENCY(1, 0) | CC_ZEROES(1) | CC_ZEROESAB(1) | CC_NCONWAITSTART(1, 1) |
                  CC_FEED(1, 1) | CC_ENDIS_AXES(1, 1, 0, nullptr) | CC_ENDIS_STARTHOLD_MSG(1, 1) |
                  CC_ENDIS_TP200(1, 1) | CC_TFMODE(1, 1) | CC_SETINFO(1, bytes) | CC_GETINFO(1, bytes) |
                  CC_FREEFRAME(1, bytes, 5, 4, 0) | CC_INFO(1, bytes) | CC_IO(1, 0, words) |
                  CC_READ_PARAM(1, 1, values) | CC_READTEMP(1) | CC_GETCOORD(1) | CC_GETWRISTCOORD(1) |
                  CC_PHUpdate(1) | CC_PHMANMODE(1) | CC_PHAUTOMODE(1) | CC_PHSetPosition(1, 1, 2, 1, 0) |
                  L2S_StartScan() | L2S_StopScan(),
              0);
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    CC_DONE(1, 0);
    EXPECT_EQ(Seconds(), before);
    EXPECT_TRUE(sent.None());
    EXPECT_EQ(arm1.motion.moveRingWrite, -1);
    // What needs no connection works.
    uint32_t table[512] = {7};
    CC_STORE_COSDAT(1, table);
    EXPECT_EQ(arm1.session.cosDat[0], 7u);
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
    EXPECT_EQ(CC_MOVING(1), 0);
    EXPECT_EQ(L2_SETDISTDEPTH(0, 0), 1);
    CC_PHGetPosition(1, &values[0], &values[1]);
    EXPECT_EQ(CC_PHMoving(1), values[0] == -1.0 ? 1 : 0);
}

TEST_F(BadInputTest, NullPointersAreRefusedBeforeAnythingIsSent) {
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 1, 0.001, 1, 0, nullptr), 526);
    EXPECT_EQ(CC_INIT(nullptr, 1, nullptr, "XYZ", nullptr, 1, 0.001, 1, 0, nullptr), 526);
    ASSERT_EQ(CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 1, 0.001, 1, CC_SIMULATION, nullptr), 0);
    const SentMessages sent;
    EXPECT_EQ(CC_START(1, nullptr, 0) | CC_INFO(1, nullptr) | CC_IO(1, 1, nullptr) |
                  CC_READ_PARAM(1, 1, nullptr) | CC_SETINFO(1, nullptr) | CC_GETINFO(1, nullptr) |
                  CC_ENDIS_AXES(1, 1, 2, nullptr) | CC_FREEFRAME(1, nullptr, 5, 5, 0),
              0);
    CC_STORE_COSDAT(1, nullptr);
    CC_PHGetPosition(1, nullptr, nullptr);
    CC_MOVE(1, 0, nullptr, 0, 0, nullptr, nullptr, 0);
    CC_MOVEINCR(1, nullptr, 0, 0);
    CC_MOVERT(1, nullptr, 0, 0);
    CC_MOVEWRIST(1, nullptr, 0, 0);
    L2S_SetRotMatrix(nullptr, nullptr);
    L2S_SetTipRad(nullptr);
    EXPECT_EQ(arm1.motion.moveRingWrite, -1);
    EXPECT_TRUE(sent.None());
}

TEST_F(BadInputTest, LengthsThatFitNoSlotAreRefused) {
    ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1\n")), 0);
    static uint8_t bytes[32767] = {4, 1, 'S', '2', '6'};
    const std::tuple<int16_t, int16_t, int16_t> kCases[] = {{257, 5, 0}, {256, 5, 1}, {32767, 6, 0},
                                                            {-1, 5, 0},  {0, 5, 0},   {65, 4, 0},
                                                            {64, 4, 1},  {-5, 4, 0},  {0, 4, 0}};
    for (const auto &[length, kind, result] : kCases) {
        arm1.replies.awaitedReply = 0;
        EXPECT_EQ(CC_FREEFRAME(1, bytes, length, kind, 0), result) << length << " kind " << kind;
    }
    const SentMessages sent;
    for (const int16_t n : {252, 32767, -1, -32768}) EXPECT_EQ(CC_ENDIS_AXES(1, 1, n, bytes), 0) << n;
    EXPECT_TRUE(sent.Normal().empty());
    CC_ENDIS_AXES(1, 1, 251, bytes);
    EXPECT_EQ(sent.Normal().size(), 1u);
}

}  // namespace
}  // namespace cc::test
