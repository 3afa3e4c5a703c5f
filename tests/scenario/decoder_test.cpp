// Replies through the decoder: state, completions, events, conversions.
#include "replies/decoder.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class DecoderTest : public SimulationTest {
  protected:
    void SetUp() override {
        SimulationTest::SetUp();
        DecodeReplies(1);
        Events(1).clear();
    }

    /// Decodes one reply; the events that it gave.
    std::vector<Event> Decode(const std::string &reply) {
        Events(1).clear();
        Inject(1, Hex(reply));
        DecodeReplies(1);
        return Events(1);
    }

    /// Files one history entry.
    void Expect(uint16_t tag, double approachX = 0) {
        const double approach[3] = {approachX, 0, 0};
        FileHistory(arm1.motion, tag, approach);
        ++arm1.motion.movesInFlight;
    }
};

TEST_F(DecoderTest, CompletionByReply) {
    const struct {
        const char *reply;
        int32_t before, after;
    } kCases[] = {
        {"02 01 00", -1, 0},       {"02 03 00", 3, 0},
        {"02 01 00", 3, 2},        {"02 02 00", 3, 0},
        {"02 03 0D", 0, 3},        {"02 FF 00", 3, -4},
        {"04 07 02 00 00", 7, 0},  {"04 07 02 00 00", 3, -1},
        {"04 07 33 00 00", 7, 0},  {"02 01 05", 7, 0},
        {"02 01 07", 9, 0},        {"02 01 14", -1, 0},
        {"04 01 08 1A 00", 26, 0}, {"04 01 08 1A 00", 25, 25},
        {"03 01 08 FF", -1, 0},    {"06 01 0A 00 00 00 00", 5, 0},
        {"02 01 19", 25, 0},       {"02 01 1D", 25, 4},
        {"02 01 22", 34, 0},       {"02 01 23", 35, 0},
        {"02 01 21", -1, 0},       {"02 01 41", 65, 0},
        {"02 01 40", 65, 65},      {"03 01 06 01", 1, 0},
        {"03 01 06 02", 1, 1},     {"02 01 0C", 5, 5},
        {"02 01 FE", 5, 5},        {"01 03", 3, 3},
        {"02 01 2F", 5, 5},
    };
    for (const auto &c : kCases) {
        arm1.replies.awaitedReply = c.before;
        Decode(c.reply);
        EXPECT_EQ(arm1.replies.awaitedReply, c.after) << c.reply << " awaiting " << c.before;
    }
}

TEST_F(DecoderTest, EventsByReply) {
    const struct {
        const char *reply;
        int32_t startMode, event;
        uint32_t info;
    } kCases[] = {
        {"06 01 01 0A 0B 0C 0D", 1, 2, 0x0202},
        {"05 01 01 0A 0B 0C", 0, 2, 0x0102},
        {"06 07 02 0A 8B 0C 0D", 0, 3, 0x0203},
        {"06 07 02 0A 8B 0C 0D", 1, 3, 0xFF8B},
        {"06 07 33 0A 0B 0C 0D", 0, 20, 0x0214},
        {"06 01 03 0A 0B 0C 0D", 1, 4, 0x000B},
        {"04 01 20 0A 00", 0, 17, 273},
        {"04 01 30 0A 00", 0, 18, 274},
        {"04 01 32 0A 00", 0, 19, 275},
        {"04 01 34 0A 00", 0, 21, 277},
        {"02 01 35", 0, 22, 22},
        {"02 01 36", 0, 23, 23},
    };
    for (const auto &c : kCases) {
        arm1.session.startMode = c.startMode;
        ASSERT_EQ(Decode(c.reply), std::vector{Of(c.event, c.info)}) << c.reply;
        if (Hex(c.reply).size() > 3) {
            EXPECT_EQ(Events(1)[0].words.at(0), 0x0A) << c.reply;
        }
    }
}

TEST_F(DecoderTest, StateRepliesAfterAControllerSwitchedOn) {
    arm1.replies.resetStatusPending = 0;
    const struct {
        const char *reply;
        int32_t startMode, extended;
        std::vector<Event> events;
        const char *word;
        uint32_t resetPending;
    } kInTurn[] = {{"02 01 37", 1, 0, {Of(27, 27)}, "", 0},
                   {"02 02 00", 1, 0, {Of(19, 275)}, "50 00", 0},
                   {"02 02 00", 1, 0, {Of(27, 27)}, "", 0},
                   {"02 01 00", 1, 0, {}, "", 0},
                   {"02 02 00", 1, 1, {}, "", 0},
                   {"02 01 37", 0, 0, {Of(19, 275)}, "80 00", 1},
                   {"02 01 00", 0, 0, {Of(19, 275)}, "50 00", 1},
                   {"02 02 00", 0, 0, {}, "", 1}};
    for (const auto &c : kInTurn) {
        arm1.session.startMode = c.startMode;
        arm1.replies.extendedInfo = c.extended;
        ASSERT_EQ(Decode(c.reply), c.events) << &c - kInTurn;
        EXPECT_EQ(Events(1).empty() ? Bytes{} : Events(1)[0].words, Hex(c.word)) << &c - kInTurn;
        EXPECT_EQ(arm1.replies.resetStatusPending, c.resetPending) << &c - kInTurn;
    }
}

TEST_F(DecoderTest, ControllerInformation) {
    arm1.replies.infoSeen = 0;
    EXPECT_EQ(Decode("0F 07 00 04 09 01 02 00 01 01 01 05 02 04 0B 0C"), std::vector{Of(18, 274)});
    EXPECT_EQ(Events(1)[0].words, Hex("80 00"));
    ControllerInfo &info = arm1.replies.controllerInfo;
    EXPECT_EQ(info.controllerLevel, 9);
    EXPECT_EQ(info.axes[0].flags, 1);
    EXPECT_EQ(info.axes[1].flags, 2);
    EXPECT_EQ(info.axes[2].flags, 1);
    EXPECT_EQ(info.optionCode, 4);
    EXPECT_EQ(info.extra[1], 12);
    EXPECT_EQ(arm1.replies.resetStatusPending, 0u);
    EXPECT_TRUE(Decode("0F 07 00 04 09 01 02 00 01 01 01 05 02 04 0B 0C").empty());  // seen before
    arm1.replies.awaitedReply = -1;
    Decode("04 01 00 FF 02");  // short: what is missing is 0
    EXPECT_EQ(info.controllerLevel, 7);
    EXPECT_EQ(info.axes[0].kind, 0);
    EXPECT_EQ(arm1.replies.extendedInfo, 0);
    Decode("05 01 00 05 06");  // the state turns awaitedReply into 1: a zeroing may be under way
    EXPECT_EQ(info.controllerType, 255);
    EXPECT_EQ(arm1.replies.infoSeen, 1);
}

TEST_F(DecoderTest, HostAnswersControllerEvents30And31) {
    const struct {
        const char *reply;
        int32_t state, extended;
        Messages sent;
    } kCases[] = {{"02 01 1E", 1, 0, {Hex("04 01 'P' '0' '5'")}},
                  {"02 01 1F", 2, 0, {Hex("04 01 'P' '0' '6'")}},
                  {"02 01 1E", 3, 0, {}},
                  {"02 01 1F", 0, 0, {}},
                  {"02 01 1F", 3, 1, {Hex("04 01 'P' '0' '6'")}}};
    for (const auto &c : kCases) {
        arm1.replies.controllerState = c.state;
        arm1.replies.extendedInfo = c.extended;
        const SentMessages sent;
        EXPECT_TRUE(Decode(c.reply).empty());
        EXPECT_EQ(sent.Priority(), c.sent) << c.reply;
    }
}

TEST_F(DecoderTest, LinkFaultsAreReportedOnceAndDropTheReply) {
    arm1.link.awaitingStartAck = 1;
    EXPECT_EQ(Decode("02 03 00"), std::vector{Of(1, 257)});
    EXPECT_EQ(arm1.replies.controllerState, 1);
    EXPECT_TRUE(Decode("02 03 00").empty());
    EXPECT_EQ(arm1.replies.controllerState, 3);
    Events(1).clear();
    DecodeReplies(1);  // nothing there, so nothing that tells of a fault
    EXPECT_EQ(Events(1), std::vector{Of(1, 1)});
    arm1.link.awaitingStartAck = 0;
}

TEST_F(DecoderTest, AcknowledgementsConsumeTheHistory) {
    arm1.replies.controllerState = 3;
    Expect(65504);
    Expect(65512);
    Expect(65520);
    arm1.motion.scanActive = 1;
    EXPECT_EQ(Decode("04 03 04 00 FF"), std::vector{Of(16, 0)});
    EXPECT_EQ(Decode("04 03 04 00 FF"), std::vector{Of(16, 8)});
    EXPECT_EQ(Decode("13 03 15 00 00 'X' 0A 00 00 00 'Y' 00 00 00 00 'Z' 00 00 00 00"),
              std::vector{Of(13, 0)});
    EXPECT_NEAR(Events(1)[0].point.position[0], 0.01, 1e-12);
    EXPECT_EQ(Decode("04 03 04 00 FF"), std::vector{Of(15, 0)});
    EXPECT_EQ(arm1.motion.movesInFlight, 0);
    EXPECT_EQ(arm1.motion.scanActive, 0);
    EXPECT_EQ(arm1.motion.moveHistoryRead, 3);
}

TEST_F(DecoderTest, AnOrdinaryTagAcknowledgedIsARejectedMove) {
    arm1.replies.controllerState = 2;
    Expect(7);
    EXPECT_TRUE(Decode("04 02 04 00 85").empty());
    EXPECT_EQ(arm1.motion.moveHistory[0].inUse, 1);
    arm1.replies.controllerState = -1;
    arm1.replies.awaitedReply = 5;
    EXPECT_TRUE(Decode("04 03 04 00 85").empty());
    EXPECT_EQ(arm1.replies.awaitedReply, 5);
    arm1.replies.controllerState = 3;
    EXPECT_EQ(Decode("04 03 04 00 85"), std::vector{Of(8, 0xFF85)});
    EXPECT_EQ(arm1.motion.moveHistory[0].inUse, 0);
    EXPECT_EQ(arm1.motion.movesInFlight, 0);
    EXPECT_EQ(arm1.motion.moveHistoryWrite, -1);
}

TEST_F(DecoderTest, TouchPointsOfBufferedMotionTakeTheEntryButNotTheCount) {
    arm1.replies.controllerState = 3;
    Expect(42, 0.5);
    EXPECT_EQ(Decode("13 03 09 00 FE 'X' 10 27 00 00 'Y' 3C F6 FF FF 'Z' 00 00 00 00"),
              std::vector{Of(5, 1)});
    const PointRecord point = Events(1)[0].point;
    EXPECT_EQ(point.kind, -2);
    EXPECT_EQ(point.tag, 42u);
    EXPECT_EQ(point.approach[0], 0.5);
    EXPECT_NEAR(point.position[0], 10.0, 1e-12);
    EXPECT_NEAR(point.position[1], -2.5, 1e-12);
    EXPECT_EQ(arm1.motion.movesInFlight, 1);
    EXPECT_EQ(arm1.motion.moveHistoryRead, 1);
}

TEST_F(DecoderTest, FreePointsCarryDirectionAndPerhapsASecondPoint) {
    arm1.replies.controllerState = 2;
    arm1.replies.controllerInfo.controllerType = 1;
    const std::string fields = " 00 09 'X' 01 00 00 00 'Y' 02 00 00 00 'Z' 03 00 00 00";
    for (const char *const code : {"15", "28", "29", "46", "47", "09"})
        ASSERT_EQ(Decode("13 02 " + std::string(code) + fields), std::vector{Of(5, 0)}) << code;
    const std::string plain = " 02 09" + fields;
    EXPECT_EQ(Events(1)[0].point.approach[0], 1.0);   // bit 0
    EXPECT_EQ(Events(1)[0].point.approach[1], -1.0);  // bit 3
    EXPECT_EQ(Events(1)[0].point.approach[2], 0.0);
    const std::string second = " 04 00 00 00 05 00 00 00 06 00 00 00";
    EXPECT_EQ(Decode("1F" + plain + second), std::vector{Of(5, 256)});
    EXPECT_NEAR(Events(1)[0].point.second[2], 0.006, 1e-12);
    EXPECT_EQ(Decode("14" + plain + " 00"), std::vector{Of(5, 256)});
    for (const uint16_t type : {0, 4, 16}) {
        arm1.replies.controllerInfo.controllerType = type;
        Decode("29" + plain + " 00 00 00 00 00 00 00 00 00 00" + second);
        EXPECT_NEAR(Events(1)[0].point.second[0], 0.004, 1e-12) << type;
    }
}

TEST_F(DecoderTest, CoordinatesFollowTheAxesConvention) {
    arm1.axes = {0.001, 0.5, {1, -1, 1}, {1, 0, 2}};
    arm1.replies.pointRecord.tag = 42;
    EXPECT_EQ(Decode("0F 01 FF 'A' 64 00 00 00 C8 00 00 00 2C 01 00 00"), std::vector{Of(6, 0)});
    PointRecord point = Events(1)[0].point;
    EXPECT_EQ(point.tag, 0u);
    EXPECT_NEAR(point.position[0], -0.2, 1e-12);
    EXPECT_NEAR(point.position[1], 0.1, 1e-12);
    EXPECT_NEAR(point.position[2], 0.3, 1e-12);
    arm1.replies.coordAnswered = 0;
    EXPECT_EQ(Decode("0B 01 FF 'B' 04 00 00 00 06 00 00 00"), std::vector{Of(6, 0)});
    point = Events(1)[0].point;
    EXPECT_EQ(point.tag, 1u);
    EXPECT_EQ(point.position[1], 2.0);
    EXPECT_EQ(point.position[0], 3.0);
    EXPECT_NEAR(point.position[2], 0.3, 1e-12);  // keeps its value
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
    EXPECT_EQ(Decode("11 01 0B 00 01 00 00 00 00 02 00 00 00 00 03 00 00 00"), std::vector{Of(7, 0)});
    EXPECT_NEAR(Events(1)[0].point.position[0], -0.002, 1e-12);
}

TEST_F(DecoderTest, TheLongestReplyFitsAndACallbackMayBeMissing) {
    std::string text = "FF 01 01";
    for (int i = 3; i < 256; ++i) text += " 55";
    EXPECT_EQ(Decode(text), std::vector{Of(2, 126 * 256 + 2)});
    arm1.replies.notifyCallback = nullptr;
    EXPECT_TRUE(Decode(text).empty());
}

}  // namespace
}  // namespace cc::test
