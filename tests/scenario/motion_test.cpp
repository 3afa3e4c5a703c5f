// Buffered motion and scanning: what is filed, what is sent, what comes back.
#include <functional>

#include "session/worker.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class MotionTest : public SimulationTest {
  protected:
    MoveBuffer &moves = arm1.motion;

    /// The message filed last.
    Bytes Filed() const {
        const MoveSlot &slot = moves.moveRing[moves.moveRingWrite];
        return {slot.bytes, slot.bytes + slot.length};
    }
};

const double kTarget[6] = {10.0, -2.5, 0.0, 0, 0, 1};
const char kTargetFields[] = "'X' 10 27 00 00 'Y' 3C F6 FF FF 'Z' 00 00 00 00";

TEST_F(MotionTest, MessagesAreByteForByte) {
    static constexpr double m = 0.007, n = 0.009;
    static const Bytes kOwn = Hex("04 FF 'G' '9' '9'");
    constexpr double kLeft = 7;  // approach of an entry whose command has none
    const std::string target = kTargetFields, speed = " 'X' FE FF FF FF 'Y' FE FF FF FF 'Z' FE FF FF FF";
    const std::tuple<std::function<void()>, uint16_t, double, std::string> kCases[] = {
        {[] { CC_MOVE(1, 0, kTarget, 5, 1, nullptr, nullptr, 0); }, 65504, 1,
         "1D FF 'G' '0' '1' " + target + " 'M' 00 00 00 00 'N' 00 00 00 00"},
        {[] { CC_MOVE(1, 2, kTarget, 0x1002A, 9, &m, &n, 250); }, 65505, kLeft,
         "22 09 'G' '0' '5' " + target + " 'M' 07 00 00 00 'N' 09 00 00 00 'F' FA 00 00 00"},
        // N stays from the probing move, M does not.
        {[] { CC_MOVE(1, 1, kTarget, 5, 1, nullptr, &m, 0); }, 65504, 1,
         "1D FF 'G' '0' '6' " + target + " 'M' 00 00 00 00 'N' 09 00 00 00"},
        {[] { CC_MOVE(1, 0, kTarget, 5, 1, &m, nullptr, -1); }, 65504, 1,
         "22 FF 'G' '0' '1' " + target + " 'M' 07 00 00 00 'N' 09 00 00 00 'F' FF FF FF FF"},
        {[] { CC_MOVEINCR(1, kTarget, 0, 0); }, 65511, 1, "13 FF 'G' '0' '3' " + target},
        {[] { CC_MOVEINCR(1, kTarget, 0, 1); }, 65511, 1, "18 FF 'G' '0' '3' " + target + " 'M' 07 00 00 00"},
        {[] { CC_MOVERT(1, kTarget, 0, 0); }, 65504, 1, "09 FF 'G' '0' '1' 'A' 10 27 00 00"},
        {[] { CC_MOVEINCRRT(1, kTarget, 0, 3); }, 65511, 1,
         "0E FF 'G' '0' '3' 'A' 10 27 00 00 'F' 03 00 00 00"},
        // wristScale 0.5, but linearScale for the incremental one.
        {[] { CC_MOVEWRIST(1, kTarget, 0, 4); }, 65504, 1,
         "13 FF 'G' '0' '1' 'A' 14 00 00 00 'B' FB FF FF FF 'M' 04 00 00 00"},
        {[] { CC_MOVEWRISTINCR(1, kTarget, 0, 4); }, 65511, 1,
         "13 FF 'G' '0' '3' 'A' 10 27 00 00 'B' 3C F6 FF FF 'F' 04 00 00 00"},
        {[] { CC_SPEED(1, 0, -2); }, 65508, kLeft, "13 FF 'G' '3' '0'" + speed},
        {[] { CC_SPEED(1, 1, -2); }, 65509, kLeft, "13 FF 'G' '3' '7'" + speed},
        {[] { CC_SPEED(1, 2, -2); }, 65510, kLeft, "13 FF 'G' '3' '6'" + speed},
        {[] { CC_FLYONOFF(1, 5); }, 65506, kLeft, "04 FF 'G' '3' '1'"},
        {[] { CC_FLYONOFF(1, 0); }, 65506, kLeft, "04 FF 'G' '3' '2'"},
        {[] { CC_FLYLEN(1, 0.5); }, 65507, kLeft, "0E FF 'G' '3' '4' 'M' F4 01 00 00 'N' F4 01 00 00"},
        {[] { EXPECT_EQ(CC_TFMODE(1, 1), 1); }, 65512, kLeft, "04 01 'G' '3' 09"},
        {[] { EXPECT_EQ(CC_TFMODE(1, 0), 1); }, 65513, kLeft, "04 01 'G' '3' 08"},
        {[] { EXPECT_EQ(CC_FREEFRAME(1, kOwn.data(), 5, 4, 16), 1); }, 65520, kLeft, "04 FF 'G' '9' '9'"},
    };
    for (MoveHistoryEntry &entry : moves.moveHistory) entry.approach[2] = kLeft;
    for (const auto &[file, tag, approach, message] : kCases) {
        file();
        EXPECT_EQ(Filed(), Hex(message));
        const MoveHistoryEntry &entry = moves.moveHistory[moves.moveHistoryWrite];
        EXPECT_EQ(entry.tag, tag) << message;
        EXPECT_EQ(entry.approach[2], approach) << message;
    }
    EXPECT_EQ(moves.moveHistory[1].tag, 42);  // of the probing move, which has two entries
    EXPECT_EQ(moves.moveHistory[1].approach[2], 1);
    const int32_t before = moves.moveRingWrite;
    CC_FLYLEN(1, 0.0009);
    CC_SPEED(1, 3, 1);
    EXPECT_EQ(moves.moveRingWrite, before);
}

TEST_F(MotionTest, RoomInTheBuffer) {
    for (const int16_t count : {0, 1}) EXPECT_EQ(CC_CANSEND(1, count), 1);
    for (int i = 0; i < 63; ++i) CC_FLYONOFF(1, 1);
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
    EXPECT_EQ(CC_CANSEND(1, 2), 0);
    CC_FLYONOFF(1, 1);
    EXPECT_EQ(moves.moveRingWrite, 63);
    EXPECT_EQ(CC_CANSEND(1, 1), 0);
    CC_FLYONOFF(1, 0);
    EXPECT_EQ(moves.moveRingWrite, 0);
    CC_BUFFRESET(1);
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
    moves.scanActive = 1;
    EXPECT_EQ(CC_CANSEND(1, 1), 0);
    moves.flushedTo = 0;
    CC_BUFFRESET(1);
    EXPECT_EQ(moves.flushedTo, kNotFlushed);
    for (const int16_t count : {-32768, 32767}) EXPECT_EQ(CC_CANSEND(1, count), 1);
    CC_MOVE(1, 2, kTarget, 1, 1, nullptr, nullptr, 0);
    EXPECT_EQ(CC_CANSEND(1, 127), 0);  // slot 63 is free, history entry 0 is not
}

TEST_F(MotionTest, TheWorkerSendsInMeasuringStateOnlyAndTwoAtATime) {
    for (int i = 0; i < 3; ++i) CC_MOVEINCR(1, kTarget, 0, 0);  // never acknowledged by the simulator
    SentMessages sent;
    CC_LOOP_RUN(200);
    EXPECT_TRUE(sent.Normal().empty());
    ASSERT_EQ(CC_SETSTATUS(1, 1), 1);
    CC_LOOP_RUN(1000);
    EXPECT_EQ(sent.Normal().size(), 3u);  // S73 and two of the three moves
    EXPECT_EQ(moves.movesInFlight, 2);
    EXPECT_EQ(CC_MOVING(1), 0);  // never moving in simulation
    EXPECT_EQ(CC_OPBUF(1, 0), 1);
    EXPECT_EQ(moves.movesInFlight, 0);
}

TEST_F(MotionTest, ACallbackMayResetTheBufferAndFileAnew) {
    for (const bool files : {false, true}) {
        static bool filesAnew;
        filesAnew = files;
        arm1.replies.notifyCallback = [](int32_t event, uint32_t, void *) {
            if (event != 16) return;
            CC_BUFFRESET(1);
            if (filesAnew) CC_TFMODE(1, 1);
        };
        arm1.replies.controllerState = 1;
        CC_FLYONOFF(1, 1);
        moves.movesInFlight = 1;
        Inject(1, Hex("04 01 04 00 FF"));
        WorkerStep(arm1, 1);
        EXPECT_EQ(moves.movesInFlight, 0);
        EXPECT_EQ(moves.moveHistoryRead, 0);
        EXPECT_EQ(moves.moveHistory[0].inUse, files ? 1 : 0);
    }
}

// A touch that nobody asked for, in any state, and an acknowledgement from before a reset belong to no entry.
TEST_F(MotionTest, EntriesThatAreFreeAreNobodys) {
    const std::string point = "13 03 09 00 02 'X' E8 03 00 00 'Y' 00 00 00 00 'Z' 00 00 00 00";
    ASSERT_EQ(L2S_StartScan(), 1);
    CC_LOOP_RUN(200);
    CC_BUFFRESET(1);
    for (const int state : {1, 3}) {
        arm1.replies.controllerState = state;
        Events(1).clear();
        for (const Bytes &reply :
             Hexes(point + "|" + point + " 00 00 00 00 00 00 00 00 00 00 00 00 | 04 03 04 00 FF")) {
            Inject(1, reply);
        }
        arm1.replies.awaitedReply = 26;
        for (int i = 0; i < 3; ++i) WorkerStep(arm1, 1);
        ASSERT_EQ(Events(1), (std::vector{Of(5, 0), Of(5, 256)})) << state;
        EXPECT_EQ(Events(1)[0].point.approach[0], -1.0);
        EXPECT_EQ(arm1.replies.awaitedReply, 0);
        EXPECT_EQ(moves.moveHistoryRead, 0);
        EXPECT_EQ(moves.movesInFlight, 0);
    }
}

TEST_F(MotionTest, ScanParametersAndStart) {
    const double matrix[9] = {1, 0, 0, 0, -0.5, 0, 0, 0, 0.9999999999};
    const double offset[3] = {1, 2, -3};
    const double a = 2.0, b = 0.5, c = 0.25, d = -1;
    L2S_SetRotMatrix(matrix, offset);
    L2S_SetTipRad(&c);
    L2S_SetRegDepth(&b, &d);
    L2S_SetTargetPoint(&a, &d);
    L2S_SetMaxMinStep(&a, &b);
    L2S_SetTreshold(&c);
    ASSERT_EQ(CC_SETSTATUS(1, 1), 1);
    EXPECT_EQ(L2S_StopScan(), 0);
    CC_FLYONOFF(1, 1);
    // As after a flush whose acknowledgement is late: queued already, the slot still filled.
    moves.flushedTo = arm1.link.queues.sendWrite;
    QueueMessage(arm1.link, kNormal, 5, moves.moveRing[0].bytes);
    CC_FLYONOFF(1, 0);
    const SentMessages sent;
    EXPECT_EQ(L2S_StartScan(), 1);
    EXPECT_EQ(CC_CANSEND(1, 1), 0);
    EXPECT_EQ(sent.Normal(),
              Hexes("35 01 'S' '5' '0' 'M' 00 CA 9A 3B 00 00 00 00 00 00 00 00 00 00 00 00 00 9B 32 E2"
                    " 00 00 00 00 00 00 00 00 00 00 00 00 FF C9 9A 3B E8 03 00 00 D0 07 00 00 48 F4 FF FF"
                    "| 1D 01 'S' '5' '1' 'A' 00 00 00 00 'B' 00 00 00 00 'M' FA 00 00 00 'N' F4 01 00 00 'F' "
                    "18 FC FF FF"
                    "| 20 01 'S' '5' '2' 'X' D0 07 00 00 'Y' 18 FC FF FF 'A' F4 01 00 00 'M' D0 07 00 00"
                    " 'N' FA 00 00 00 'F' 00 00 | 04 FF 'G' '3' '2' | 04 FF 'G' '0' '7'"));
    arm1.replies.controllerState = 2;
    EXPECT_EQ(L2S_StopScan(), 0);
    arm1.replies.controllerState = 3;
    for (int i = 0; i < 2; ++i) EXPECT_EQ(L2S_StopScan(), 1);
    EXPECT_EQ(sent.Priority(), Messages(2, Hex("04 01 'P' '0' '4'")));
    CC_LOOP_RUN(500);
    EXPECT_EQ(EventsOf(1, 15), std::vector{Of(15, 0)});
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
    EXPECT_EQ(moves.movesInFlight, 0);  // what the start sent along was not counted
    arm1.link.simulator.simState = 7;   // takes no parameters
    EXPECT_EQ(L2S_StartScan(), 0);
    EXPECT_EQ(moves.scanActive, 0);
}

}  // namespace
}  // namespace cc::test
