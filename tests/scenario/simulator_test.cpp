// The built-in controller: its answer to each command, its busy state, its queues.
#include "link/send_path.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class SimulatorTest : public SimulationTest {
  protected:
    /// Queues a message and returns the replies that it brought.
    Messages Answer(const Bytes &message, Priority priority = kNormal) {
        EXPECT_TRUE(QueueMessage(arm1.link, priority, static_cast<int32_t>(message.size()), message.data()));
        return TakeReplies(arm1);
    }
};

TEST_F(SimulatorTest, AnswersEachCommand) {
    const std::string move = "'X' 01 02 03 04 'Y' 05 06 07 08 'Z' 09 0A 0B 0C";
    const std::string position = "01 02 03 04 05 06 07 08 09 0A 0B 0C",
                      origin = "'X' 00 00 00 00 'Y' 00 00 00 00 'Z' 00 00 00 00";
    const std::pair<std::string, std::string> kCases[] = {
        {"04 01 'N' '0' '0'", "0C 01 00 01 FF 01 01 01 00 00 00 07 07"},
        {"02 01 'N'", "0C 01 00 01 FF 01 01 01 00 00 00 07 07"},
        {"04 01 'L' '1' '3'", "10 01 14 'X' 00 'Y' 00 'Z' 00 'A' 00 'B' 00 'U' 00 '2' FF"},
        {"13 FF 'G' '0' '1' " + move, "04 01 04 00 FF"},
        {"02 01 'A'", "0F 01 FF 'A' " + position},
        {"13 07 'G' '0' '5' " + origin, "13 01 09 00 07 " + origin + " | 04 01 04 00 07"},
        {"13 FF 'G' '0' '6' " + move, "04 01 04 00 FF"},
        {"04 01 'H' '0' '1'", ""},
        {"13 07 'G' '0' '5' " + origin, "1F 01 09 00 07 " + origin + " " + position + "| 04 01 04 00 07"},
        {"02 01 'A'", "0F 01 FF 'A' 00 00 00 00 00 00 00 00 00 00 00 00"},
        {"04 01 'H' '0' '0'", ""},
        {"04 FF 'G' '0' '7'", "04 01 04 00 FF"},
        {"04 FF 'G' '3' '0'", "04 01 04 00 FF"},
        {"04 FF 'G' '3' '7'", "04 01 04 00 FF"},
        {"04 FF 'G' '0' '3'", ""},
        {"04 01 'G' '3' 09", ""},
        {"04 01 'P' '0' '4'", "04 01 04 00 01"},
        {"08 01 'O' '0' '0' 34 12 78 56", ""},
        {"04 01 'I' '0' '0'", "06 01 0A 34 12 78 56"},
        {"0E 01 'S' '2' '0' 01 02 03 04 05 06 07 08 09 0A", "04 01 08 14 00"},
        {"04 01 'S' '1' '9'", "0C 01 21 01 02 03 04 05 06 07 08 09 0A"},
        {"04 01 'S' '5' '4'", "04 01 08 36 00"},
        {"04 01 'S' '5' '3'", ""},
        {"04 01 'S' '1' '5'", "04 01 06 01 00"},
        {"04 01 'B' '0' '0'", ""},
        {"04 01 'Z' '0' '0'", ""},
        {"05 01 'P' '0' '1' 00", ""},
        {"04 01 'S' '1' '1' 'I'", "02 0A 05"},
        {"04 01 'S' '7' '3'", "02 03 00"},
        {"04 01 'S' '1' '5'", "04 03 06 01 00"},
        {"04 01 'S' '1' '1' 'L'", "02 0A 05 | 02 02 00"},
        {"04 01 'S' '7' '0'", "02 00 00"},
        {"04 01 'P' '1' '2'", ""},
        {"04 01 'S' '1' '5'", "04 02 06 01 00"},
    };
    for (const auto &[command, replies] : kCases) EXPECT_EQ(Answer(Hex(command)), Hexes(replies)) << command;
    const Messages temperatures = Answer(Hex("04 01 'S' '4' '8'"));
    ASSERT_EQ(temperatures.size(), 2u);
    EXPECT_EQ(temperatures[0].size(), 36u);
    EXPECT_EQ(temperatures[1].size(), 38u);
    EXPECT_EQ(Bytes(temperatures[1].begin(), temperatures[1].begin() + 5), Hex("25 02 41 68 42"));  // 17000
}

TEST_F(SimulatorTest, EmergencyKeepsItBusyForAHundredMessages) {
    EXPECT_EQ(Answer(Hex("05 01 'P' '0' '0' 'X'")), Messages{Hex("04 07 02 'X' '1'")});
    const Bytes normal = Hex("04 01 'S' '1' '5'");
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(Answer(i < 2 ? Hex("02 01 'A'") : normal, i < 2 ? kPriority : kNormal).empty());
    EXPECT_EQ(Answer(normal), Messages{Hex("02 02 00")});
    // From now on each message lets one that waits be answered, those of priority first.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Answer(normal).at(0)[2], 255) << i;
    EXPECT_EQ(Answer(Hex("04 01 'N' '0' '0'")), Messages{Hex("04 02 06 01 00")});
}

TEST_F(SimulatorTest, FullQueuesRefuse) {
    arm1.link.simulator.simState = 7;
    arm1.link.simulator.simWaitCount = -20000;  // busy for long
    arm1.link.queues.sendQueue[arm1.link.queues.sendWrite].dropped =
        true;  // left by a session on a prompt line
    const Bytes message = Hex("02 01 'A'");
    for (int i = 0; i < kSendSlots; ++i)
        ASSERT_TRUE(QueueMessage(arm1.link, kNormal, 3, message.data())) << i;
    EXPECT_FALSE(QueueMessage(arm1.link, kNormal, 3, message.data()));
    for (int i = 0; i < kPrioritySlots; ++i)
        ASSERT_TRUE(QueueMessage(arm1.link, kPriority, 3, message.data())) << i;
    EXPECT_FALSE(QueueMessage(arm1.link, kPriority, 3, message.data()));
    EXPECT_EQ(CC_FEED(1, 1) | CC_EMERGENCY(1, 0) | CC_READTEMP(1), 0);
    arm1.replies.controllerState = 3;
    CC_FLYONOFF(1, 1);
    CC_LOOP_RUN(5000);
    EXPECT_EQ(arm1.motion.movesInFlight, 0);
    EXPECT_TRUE(arm1.motion.moveRing[0].IsBusy());
    EXPECT_EQ(arm1.link.txSequence, -1);  // the tick gives up what waits, as on a port
}

TEST_F(SimulatorTest, AFullReplyQueueLeavesTheCommandQueued) {
    for (int i = 0; i < kReplySlots - 1; ++i) Inject(1, Hex("02 01 FE"));
    const Bytes two = Hex("04 01 'S' '4' '8'");
    QueueMessage(arm1.link, kNormal, 5, two.data());  // needs two slots, one is left
    EXPECT_EQ(TakeReplies(arm1).size(), static_cast<size_t>(kReplySlots - 1));
    LEV2_MANSOM(&arm1);
    EXPECT_EQ(TakeReplies(arm1).size(), 2u);
    LEV2_MANSOM(nullptr);  // no arm's record: nothing
}

}  // namespace
}  // namespace cc::test
