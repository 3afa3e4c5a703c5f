// What the link does on a prompt line alone, byte by byte.
#include "support/link_on_wire.h"

namespace cc::test {
namespace {

class PromptLinkTest : public LinkTest {
  protected:
    bool IsPrompt() const override { return true; }
};

TEST_F(PromptLinkTest, WhoFindsTheLockTakenIsServedByWhoGivesItUp) {
    CC_LinkStatistics statistics;
    arm1.link.lock.lock();
    Queue("04 01 'N' '0' '0'");
    EXPECT_TRUE(wire.Take().empty());
    arm1.link.lock.unlock();
    EXPECT_EQ(CC_LINK_STATISTICS(1, &statistics), 1);
    World::Instance().Pass(1);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 04 01 'N' '0' '0' 4B 08")});
}

TEST_F(PromptLinkTest, AStartLinkGoesOutWhileTheLinkIsDownAndBehindWhatWasTorn) {
    StartPromptly(arm1.link);
    port.writeSpace = 3;
    Queue("04 01 'N' '0' '0'");
    ForceLinkDown(arm1.link);
    port.writeSpace = UINT32_MAX;
    StartPromptly(arm1.link);
    World::Instance().Pass(1);
    EXPECT_EQ(wire.Take(), Hexes("03 04 01 08 | 09 08"));
}

TEST_F(PromptLinkTest, ALateAnswerToAStartLinkBringsNoOtherLinkUp) {
    ForceLinkDown(arm1.link);
    StartPromptly(arm1.link);
    wire.Send("01 08");
    Pass(50);
    wire.Send("06 08");
    Queue("04 01 'N' '0' '0'");
    World::Instance().Pass(1);
    EXPECT_EQ(wire.Take(), Hexes("09 08 | 09 08 | 03 04 01 'N' '0' '0' 4B 08"));
    ForceLinkDown(arm1.link);  // the controller has taken the message, and expects the other sequence
    wire.Send("06 08");
    Queue("04 01 'N' '0' '0'");
    Pass(1100);
    EXPECT_EQ(wire.Take(), Hexes("09 08"));
    wire.Send("06 08");
    World::Instance().Pass(1);
    EXPECT_EQ(wire.Take(), Hexes("03 04 01 'N' '0' '0' 4B 08"));
}

TEST_F(PromptLinkTest, AMoveThatIsLostTakesAlongWhatWaitsBehindItUpToAReset) {
    constexpr int32_t kBehindAReset = 1 << kMoveBits;
    for (const auto &[message, move] : {std::pair{"04 01 'G' '3' '1'", 5},
                                        {"04 01 'G' '3' '2'", 6},
                                        {"04 01 'G' '3' '4'", kBehindAReset}}) {
        ASSERT_TRUE(QueueMove(arm1.link, 5, Hex(message).data(), move));
    }
    ForceLinkDown(arm1.link);
    EXPECT_FALSE(QueueMove(arm1.link, 5, Hex("04 01 'G' '3' '2'").data(), 7));
    // Nothing was asked: it is the end of a frame whose beginning was lost.
    wire.Send("06 08");
    EXPECT_EQ(wire.Take(), Hexes("03 04 01 'G' '3' '1' 40 08"));
    StartAnew();
    EXPECT_EQ(wire.Take(), Hexes("03 04 01 'G' '3' '4' 45 08"));
    wire.Send("02 08");
    EXPECT_TRUE(wire.Take().empty());
}

TEST_F(PromptLinkTest, AnEmergencyOnAnIdleLineGoesOutAtOnce) {
    EXPECT_EQ(CC_EMERGENCY(1, 7), 1);
    World::Instance().Pass(1);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 05 01 'P' '0' '0' 07 53 08")});
}

TEST_F(PromptLinkTest, ACallWhoseMessageIsLostWithTheLinkFails) {
    const std::function<int()> kCalls[] = {[] { return CC_NCONOFF(1, 1); }, [] { return CC_OPBUF(1, 1); },
                                           [] { return CC_SETSTATUS(1, 5); }};
    for (const auto &call : kCalls) {
        World &world = World::Instance();
        world.At(world.Now() + 100 * platform::kMillisecond, [] { ForceLinkDown(SelectArm(1).link); });
        EXPECT_EQ(call(), 0);
        EXPECT_EQ(arm1.replies.awaitedReply, 0);
        StartAnew();
    }
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
    // Never sent: it does not run when the link is back.
    for (const auto &call : kCalls) {
        ForceLinkDown(arm1.link);
        EXPECT_EQ(call(), 0);
        StartAnew();
        Pass(100);
        EXPECT_TRUE(wire.Take().empty());
    }
}

TEST_F(PromptLinkTest, ASlotThatIsUsedAnewIsNoLostOne) {
    World &world = World::Instance();
    world.At(world.Now() + 100 * platform::kMillisecond, [] { ForceLinkDown(SelectArm(1).link); });
    EXPECT_EQ(CC_NCONOFF(1, 1), 0);
    StartAnew();
    wire.onFrame = [this](const Bytes &frame) { port.Send(Hex(frame[0] == 3 ? "02 08" : "05 08")); };
    for (int i = 0; i < kPrioritySlots; ++i) EXPECT_EQ(CC_NCONOFF(1, 1), 1) << i;
}

}  // namespace
}  // namespace cc::test
