// Replies through the decoder: state, completions, events, conversions.
#include "exchange/decoder.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class DecoderTest : public SimulationTest {
  protected:
    void SetUp() override {
        SimulationTest::SetUp();
        DecodeReplies(arm1, 1);
        Events(1).clear();
    }

    /// Decodes one reply; the events that it gave.
    std::vector<Event> Decode(const std::string &reply) {
        Events(1).clear();
        Inject(1, Hex(reply));
        DecodeReplies(arm1, 1);
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
    const std::tuple<const char *, int32_t, int32_t> kCases[] = {
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
    for (const auto &[reply, before, after] : kCases) {
        arm1.replies.awaitedReply = before;
        Decode(reply);
        EXPECT_EQ(arm1.replies.awaitedReply, after) << reply << " awaiting " << before;
    }
}

TEST_F(DecoderTest, EventsByReply) {
    const std::tuple<const char *, int32_t, int32_t, uint32_t> kCases[] = {
        {"06 01 01 0A 0B 0C 0D", 1, 2, 0x0202},  {"04 01 20 0A 00", 0, 17, 273},
        {"05 01 01 0A 0B 0C", 0, 2, 0x0102},     {"04 01 30 0A 00", 0, 18, 274},
        {"06 07 02 0A 8B 0C 0D", 0, 3, 0x0203},  {"04 01 32 0A 00", 0, 19, 275},
        {"06 07 02 0A 8B 0C 0D", 1, 3, 0xFF8B},  {"04 01 34 0A 00", 0, 21, 277},
        {"06 07 33 0A 0B 0C 0D", 0, 20, 0x0214}, {"02 01 35", 0, 22, 22},
        {"06 01 03 0A 0B 0C 0D", 1, 4, 0x000B},  {"02 01 36", 0, 23, 23},
    };
    for (const auto &[reply, startMode, event, info] : kCases) {
        arm1.session.startMode = startMode;
        ASSERT_EQ(Decode(reply), std::vector{Of(event, info)}) << reply;
        if (Hex(reply).size() > 3) {
            EXPECT_EQ(Events(1)[0].words.at(0), 0x0A) << reply;
        }
    }
    std::string longest = "FF 01 01";
    for (int i = 3; i < 256; ++i) longest += " 55";
    EXPECT_EQ(Decode(longest), std::vector{Of(2, 126 * 256 + 2)});
    arm1.replies.notifyCallback = nullptr;
    EXPECT_TRUE(Decode(longest).empty());
}

TEST_F(DecoderTest, StateRepliesAfterAControllerSwitchedOn) {
    arm1.replies.resetStatusPending = 0;
    const std::tuple<const char *, int32_t, int32_t, std::vector<Event>, const char *, uint32_t> kInTurn[] = {
        {"02 01 37", 1, 0, {Of(27, 27)}, "", 0},
        {"02 02 00", 1, 0, {Of(19, 275)}, "50 00", 0},
        {"02 02 00", 1, 0, {Of(27, 27)}, "", 0},
        {"02 01 00", 1, 0, {}, "", 0},
        {"02 02 00", 1, 1, {}, "", 0},
        {"02 01 37", 0, 0, {Of(19, 275)}, "80 00", 1},
        {"02 01 00", 0, 0, {Of(19, 275)}, "50 00", 1},
        {"02 02 00", 0, 0, {}, "", 1}};
    for (const auto &[reply, startMode, extended, events, word, resetPending] : kInTurn) {
        arm1.session.startMode = startMode;
        arm1.replies.extendedInfo = extended;
        ASSERT_EQ(Decode(reply), events) << reply << startMode;
        EXPECT_EQ(Events(1).empty() ? Bytes{} : Events(1)[0].words, Hex(word)) << reply << startMode;
        EXPECT_EQ(arm1.replies.resetStatusPending, resetPending) << reply << startMode;
    }
}

TEST_F(DecoderTest, ControllerInformation) {
    arm1.replies.infoSeen = 0;
    EXPECT_EQ(Decode("0F 07 00 04 09 01 02 00 01 01 01 05 02 04 0B 0C"), std::vector{Of(18, 274)});
    EXPECT_EQ(Events(1)[0].words, Hex("80 00"));
    ControllerInfo &info = arm1.replies.controllerInfo;
    EXPECT_EQ((std::vector{info.controllerLevel, info.axes[0].flags, info.axes[1].flags, info.axes[2].flags,
                           info.optionCode, info.extra[1]}),
              (std::vector<uint16_t>{9, 1, 2, 1, 4, 12}));
    EXPECT_EQ(arm1.replies.resetStatusPending, 0u);
    EXPECT_TRUE(Decode("0F 07 00 04 09 01 02 00 01 01 01 05 02 04 0B 0C").empty());  // seen before
    arm1.replies.awaitedReply = -1;
    Decode("04 01 00 FF 02");  // short: what is missing is 0
    EXPECT_EQ(std::tuple(info.controllerLevel, info.axes[0].kind, arm1.replies.extendedInfo),
              std::tuple(7, 0, 0));
    Decode("05 01 00 05 06");  // the state turns awaitedReply into 1: a zeroing may be under way
    EXPECT_EQ(std::tuple(info.controllerType, arm1.replies.infoSeen), std::tuple(255, 1));
}

TEST_F(DecoderTest, HostAnswersControllerEvents30And31) {
    const std::tuple<const char *, int32_t, int32_t, const char *> kCases[] = {
        {"02 01 1E", 1, 0, "04 01 'P' '0' '5'"},
        {"02 01 1F", 2, 0, "04 01 'P' '0' '6'"},
        {"02 01 1F", 3, 1, "04 01 'P' '0' '6'"},
        {"02 01 1E", 3, 0, ""},
        {"02 01 1F", 0, 0, ""}};
    for (const auto &[reply, state, extended, expected] : kCases) {
        arm1.replies.controllerState = state;
        arm1.replies.extendedInfo = extended;
        const SentMessages sent;
        EXPECT_TRUE(Decode(reply).empty());
        EXPECT_EQ(sent.Priority(), Hexes(expected)) << reply << state;
    }
}

TEST_F(DecoderTest, LinkFaultsAreReportedOnceAndDropTheReply) {
    arm1.link.awaitingStartAck = 1;
    EXPECT_EQ(Decode("02 03 00"), std::vector{Of(1, 257)});
    EXPECT_EQ(arm1.replies.controllerState, 1);
    EXPECT_TRUE(Decode("02 03 00").empty());
    EXPECT_EQ(arm1.replies.controllerState, 3);
    Events(1).clear();
    DecodeReplies(arm1, 1);  // nothing there, so nothing that tells of a fault
    EXPECT_EQ(Events(1), std::vector{Of(1, 1)});
    arm1.link.awaitingStartAck = 0;
}

TEST_F(DecoderTest, AcknowledgementsConsumeTheHistoryAndPointsTakeTheirEntryButNotTheCount) {
    arm1.replies.controllerState = 3;
    for (const uint16_t tag : {65504, 65512, 65520, 42}) Expect(tag, 0.5);
    arm1.motion.scanActive = 1;
    for (const Event &done : {Of(16, 0), Of(16, 8)}) EXPECT_EQ(Decode("04 03 04 00 FF"), std::vector{done});
    EXPECT_EQ(Decode("13 03 15 00 00 'X' 0A 00 00 00 'Y' 00 00 00 00 'Z' 00 00 00 00"),
              std::vector{Of(13, 0)});
    EXPECT_EQ(InMillionths(Events(1)[0].point.position), (Millionths{10000, 0, 0}));
    EXPECT_EQ(Decode("04 03 04 00 FF"), std::vector{Of(15, 0)});
    EXPECT_EQ(arm1.motion.scanActive, 0);
    EXPECT_EQ(Decode("13 03 09 00 FE 'X' 10 27 00 00 'Y' 3C F6 FF FF 'Z' 00 00 00 00"),
              std::vector{Of(5, 1)});
    const PointRecord point = Events(1)[0].point;
    EXPECT_EQ(std::tuple(point.kind, point.tag, point.approach[0]), std::tuple(-2, 42u, 0.5));
    EXPECT_EQ(InMillionths(point.position), (Millionths{10000000, -2500000, 0}));
    EXPECT_EQ(std::pair(arm1.motion.movesInFlight, arm1.motion.moveHistoryRead), std::pair(1, 4));
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
    const MoveBuffer &moves = arm1.motion;
    EXPECT_EQ(std::tuple(moves.moveHistory[0].inUse, moves.movesInFlight, moves.moveHistoryWrite),
              std::tuple(0, 0, -1));
}

TEST_F(DecoderTest, FreePointsCarryDirectionAndPerhapsASecondPoint) {
    arm1.replies.controllerState = 2;
    arm1.replies.controllerInfo.controllerType = 1;
    const std::string fields = " 00 09 'X' 01 00 00 00 'Y' 02 00 00 00 'Z' 03 00 00 00";
    for (const char *const code : {"15", "28", "29", "46", "47", "09"})
        ASSERT_EQ(Decode("13 02 " + std::string(code) + fields), std::vector{Of(5, 0)}) << code;
    const std::string plain = " 02 09" + fields;
    EXPECT_EQ(InMillionths(Events(1)[0].point.approach), (Millionths{1000000, -1000000, 0}));  // bits 0 and 3
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
    const std::tuple<const char *, Event, uint32_t, Millionths> kInTurn[] = {
        {"0F 01 FF 'A' 64 00 00 00 C8 00 00 00 2C 01 00 00", Of(6, 0), 0, {-200000, 100000, 300000}},
        {"0B 01 FF 'B' 04 00 00 00 06 00 00 00", Of(6, 0), 1, {3000000, 2000000, 300000}},  // the third stays
        {"11 01 0B 00 01 00 00 00 00 02 00 00 00 00 03 00 00 00", Of(7, 0), 1, {-2000, 1000, 3000}},
    };
    for (const auto &[reply, event, tag, position] : kInTurn) {
        arm1.replies.coordAnswered = 0;
        ASSERT_EQ(Decode(reply), std::vector{event});
        EXPECT_EQ(Events(1)[0].point.tag, tag);
        EXPECT_EQ(InMillionths(Events(1)[0].point.position), position);
        EXPECT_EQ(arm1.replies.coordAnswered, event.number == 6 ? 1 : 0);
    }
}

}  // namespace
}  // namespace cc::test
