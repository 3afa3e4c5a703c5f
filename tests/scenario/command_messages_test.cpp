// Every command in simulation mode: its bytes, its queue, its result.
#include <cstring>
#include <functional>

#include "platform/virtual/world.h"
#include "support/inside.h"

namespace cc::test {
namespace {

class CommandTest : public SimulationTest {};

constexpr int kMeasuring = 3;

TEST_F(CommandTest, MessagesAreByteForByte) {
    static const uint8_t kInfo[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    static uint16_t words[2] = {4660, 255};
    static double out[5];
    static uint8_t info[10];
    static const uint8_t kAxes[2] = {'X', 'Y'};
    static const char kFree[] = "04 01 'S' '2' '6'";
    const struct {
        const char *name;
        int state;
        std::function<int()> call;
        int result;
        const char *normal;  // "": none
        const char *priority;
    } kCases[] = {
        {"NCONOFF on", 3, [] { return CC_NCONOFF(1, 9); }, 1, "", "04 01 'P' '0' '2'"},
        {"NCONOFF off", 3, [] { return CC_NCONOFF(1, 0); }, 1, "", "04 01 'P' '0' '3'"},
        {"NCONOFF elsewhere", 1, [] { return CC_NCONOFF(1, 1); }, 0, "", ""},
        {"OPBUF 0", 3, [] { return CC_OPBUF(1, 0); }, 1, "04 01 'S' '2' '5'", ""},
        {"OPBUF 1", 3, [] { return CC_OPBUF(1, 1); }, 1, "04 01 'S' '2' '6'", ""},
        {"OPBUF 2", 3, [] { return CC_OPBUF(1, 2); }, 1, "04 01 'S' '2' '7'", ""},
        {"OPBUF elsewhere", 2, [] { return CC_OPBUF(1, 1); }, 0, "", ""},
        {"SETSTATUS 0", 3, [] { return CC_SETSTATUS(1, 0); }, 1, "04 01 'S' '7' '1'", ""},
        {"SETSTATUS 1", 1, [] { return CC_SETSTATUS(1, 1); }, 1, "04 01 'S' '7' '3'", ""},
        {"SETSTATUS 5", 1, [] { return CC_SETSTATUS(1, 5); }, 1, "04 01 'S' '7' '2'", ""},
        {"SETSTATUS there", 3, [] { return CC_SETSTATUS(1, 1); }, 1, "", ""},
        {"SETSTATUS unknown", 3, [] { return CC_SETSTATUS(1, 4); }, 0, "", ""},
        {"EMERGENCY", 1, [] { return CC_EMERGENCY(1, 255); }, 1, "", "05 01 'P' '0' '0' FF"},
        {"EMERGENCY there", 7, [] { return CC_EMERGENCY(1, 1); }, 1, "", ""},
        {"NCONWAITSTART on", 3, [] { return CC_NCONWAITSTART(1, 1); }, 1, "", "04 01 'P' '0' '2'"},
        {"NCONWAITSTART off", 3, [] { return CC_NCONWAITSTART(1, 0); }, 1, "", "04 01 'P' '0' '2'"},
        {"FEED", 1, [] { return CC_FEED(1, -2); }, 1, "09 01 'F' '3' '4' 'F' FE FF FF FF", ""},
        {"STARTHOLD lacking", 1, [] { return CC_ENDIS_STARTHOLD_MSG(1, 1); }, 1, "", ""},
        {"TP200 on", 1, [] { return CC_ENDIS_TP200(1, 5); }, 1, "07 01 'S' '5' '4' 'M' 01 00", ""},
        {"SETINFO", 1, [] { return CC_SETINFO(1, kInfo); }, 1,
         "0E 01 'S' '2' '0' 01 02 03 04 05 06 07 08 09 0A", ""},
        {"GETINFO", 1, [] { return CC_GETINFO(1, info); }, 1, "04 01 'S' '1' '9'", ""},
        {"FREEFRAME 5", 1, [] { return CC_FREEFRAME(1, Hex(kFree).data(), 5, 5, 0); }, 1, kFree, ""},
        {"FREEFRAME 6", 1, [] { return CC_FREEFRAME(1, Hex(kFree).data(), 5, 6, 26); }, 1, kFree, ""},
        {"FREEFRAME 8", 1, [] { return CC_FREEFRAME(1, Hex(kFree).data(), 5, 8, 26); }, 1, kFree, ""},
        {"FREEFRAME 7", 1, [] { return CC_FREEFRAME(1, Hex(kFree).data(), 5, 7, 26); }, 0, "", ""},
        {"FREEFRAME 3", 1, [] { return CC_FREEFRAME(1, Hex(kFree).data(), 5, 3, 26); }, 0, "", ""},
        {"IO write", 1, [] { return CC_IO(1, 0, words); }, 1, "", "08 01 'O' '0' '0' 34 12 FF 00"},
        {"IO read", 1, [] { return CC_IO(1, 1, words); }, 1, "", "04 01 'I' '0' '0'"},
        {"READTEMP", 1, [] { return CC_READTEMP(1); }, 1, "", "04 01 'S' '4' '8'"},
        {"READ_PARAM 9", 1, [] { return CC_READ_PARAM(1, 9, out); }, 1, "", "04 01 'R' '0' '9'"},
        {"GETCOORD", 1, [] { return CC_GETCOORD(1); }, 1, "02 01 'A'", ""},
        {"GETCOORD in 7", 7, [] { return CC_GETCOORD(1); }, 1, "", ""},
        {"GETRTCOORD", 1, [] { return CC_GETRTCOORD(1); }, 1, "02 01 'B'", ""},
        // Nothing of the simulator answers these: sent, then given up after the time-out.
        {"ENDIS_AXES on", 1, [] { return CC_ENDIS_AXES(1, 1, 2, kAxes); }, 0, "06 01 'P' '0' '8' 'X' 'Y'",
         ""},
        {"ENDIS_AXES off", 1, [] { return CC_ENDIS_AXES(1, 0, 0, nullptr); }, 0, "04 01 'P' '0' '7'", ""},
        {"READ_PARAM 1", 1, [] { return CC_READ_PARAM(1, 1, out); }, 0, "", "04 01 'R' '0' '1'"},
    };
    const auto asMessages = [](const char *text) { return *text == '\0' ? Messages{} : Messages{Hex(text)}; };
    for (const auto &c : kCases) {
        arm1.replies.controllerState = c.state;
        arm1.simulator.simState = static_cast<uint8_t>(c.state == 7 ? 1 : c.state);
        arm1.replies.awaitedReply = 0;
        const SentMessages sent;
        EXPECT_EQ(c.call(), c.result) << c.name;
        EXPECT_EQ(sent.Normal(), asMessages(c.normal)) << c.name;
        EXPECT_EQ(sent.Priority(), asMessages(c.priority)) << c.name;
        CC_LOOP_RUN(50);
        arm1.simulator.simState = 1;
    }
    EXPECT_EQ(words[0], 4660);  // read back what was written
    EXPECT_EQ(words[1], 255);
    EXPECT_EQ(std::memcmp(info, kInfo, sizeof info), 0);
}

TEST_F(CommandTest, SetStatusSwitchesAutomaticCoordinatesOffAndOn) {
    arm1.settings.enableAutoCoord = 1;
    arm1.settings.autoCoordMs = 250;
    CC_ASKCOORD(1, 1);
    arm1.replies.controllerState = kMeasuring;
    const SentMessages sent;
    EXPECT_EQ(CC_SETSTATUS(1, 1), 1);
    EXPECT_EQ(sent.Normal(), (Messages{Hex("02 00 'K'"), Hex("06 00 'J' 00 00 FA 00")}));
    EXPECT_EQ(arm1.session.autoCoordOn, 0);
    EXPECT_EQ(CC_SETSTATUS(1, 3), 0);
    EXPECT_EQ(sent.Normal().size(), 2u);
}

TEST_F(CommandTest, AskCoordLeavesThePollingToTheWorkerWhereTheControllerCannotStream) {
    const struct {
        int enable, controllerClass, state, autoCoordMs;
        bool streams;
    } kCases[] = {{0, 1, 1, 100, false}, {1, 1, 3, 100, true}, {0, 2, 1, 100, true},
                  {0, 2, 3, 100, false}, {0, 2, 1, 0, false},  {0, 3, 1, 100, false}};
    for (const auto &c : kCases) {
        arm1.settings.enableAutoCoord = c.enable;
        arm1.settings.autoCoordMs = c.autoCoordMs;
        arm1.session.controllerClass = c.controllerClass;
        arm1.replies.controllerState = c.state;
        arm1.replies.coordAnswered = 0;
        const SentMessages sent;
        CC_ASKCOORD(1, 1);
        EXPECT_EQ(sent.Normal().size(), c.streams ? 1u : 0u);
        EXPECT_EQ(arm1.session.autoCoordOn, c.streams ? 0 : 1);
        EXPECT_EQ(arm1.replies.coordAnswered, c.streams ? 0 : 1);
        CC_ASKCOORD(1, 0);
        EXPECT_EQ(arm1.session.autoCoordOn, 0);
    }
}

TEST_F(CommandTest, LongEmergencyCodesNeedACapableController) {
    arm1.replies.controllerInfo.optionCode = 4;
    SentMessages sent;
    CC_EMERGENCY(1, 300);
    EXPECT_EQ(sent.Priority(), Messages{Hex("05 01 'P' '0' '1' 2C")});
    arm1.replies.controllerInfo.optionCode = 0;
    CC_EMERGENCY(1, -300);
    EXPECT_EQ(sent.Priority().back(), Hex("05 01 'P' '0' '0' D4"));
    arm1.replies.extendedInfo = 1;
    CC_EMERGENCY(1, -255);  // -255 / 256 is 0
    EXPECT_EQ(sent.Priority().back(), Hex("05 01 'P' '0' '0' 01"));
}

TEST_F(CommandTest, ZeroingRunsThroughTheWorker) {
    arm1.session.startMode = 0;
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROES(1), 1);
    EXPECT_EQ(arm1.replies.awaitedReply, 1);
    CC_LOOP_RUN(300);
    // The worker stamps the stored information and brings the controller to status 0.
    EXPECT_EQ(sent.Normal(),
              (Messages{Hex("04 01 'S' '7' '0'"), Hex("04 01 'S' '1' '5'"), Hex("04 01 'S' '1' '9'"),
                        Hex("0E 01 'S' '2' '0' 01 00 00 00 00 00 00 00 00 00"), Hex("04 01 'S' '7' '1'")}));
    EXPECT_EQ(CC_GETSTATUS(1), 0);
    EXPECT_TRUE(EventsOf(1, 28).empty());
}

TEST_F(CommandTest, ClientThatStartsByItselfIsToldOfTheEndOfZeroing) {
    arm1.session.startMode = 1;
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROESAB(1), 1);
    CC_LOOP_RUN(300);
    EXPECT_EQ(sent.Normal(), (Messages{Hex("04 01 'S' '7' '0'"), Hex("06 01 'S' '1' '5' 'A' 'B'")}));
    EXPECT_EQ(EventsOf(1, 28), std::vector{Of(28, 28)});
    EXPECT_EQ(CC_GETSTATUS(1), 3);
}

TEST_F(CommandTest, OptionFourBringsP10AndItsEvents) {
    arm1.replies.controllerInfo.optionCode = 4;
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROES(1), 1);
    EXPECT_EQ(sent.Priority(), Messages{Hex("04 01 'P' '1' '0'")});
    ASSERT_EQ(Events(1).back(), Of(18, 274));
    EXPECT_EQ(Events(1).back().words, Hex("50 00"));
    arm1.replies.controllerState = kMeasuring;
    EXPECT_EQ(CC_NCONWAITSTART(1, 1), 1);
    EXPECT_EQ(sent.Priority().back(), Hex("04 01 'P' '1' '0'"));
    EXPECT_EQ(EventsOf(1, 18).size(), 2u);
    // The end of the wait is told once, and by older controllers with the option only.
    const std::vector<Event> kEnd = {Of(19, 275), Of(22, 22)}, kNoEnd = {Of(22, 22)};
    const struct {
        int32_t again, extended;
        uint16_t option;
        std::vector<Event> events;
    } kCases[] = {{0, 0, 4, kEnd}, {0, 0, 4, kNoEnd}, {1, 1, 4, kNoEnd}, {1, 0, 0, kNoEnd}};
    CC_LOOP_RUN(300);
    for (const auto &c : kCases) {
        Events(1).clear();
        arm1.replies.p10Sent |= c.again;
        arm1.replies.extendedInfo = c.extended;
        arm1.replies.controllerInfo.optionCode = c.option;
        Inject(1, Hex("02 03 35"));
        CC_LOOP_RUN(50);
        ASSERT_EQ(Events(1), c.events) << &c - kCases;
        EXPECT_EQ(Events(1)[0].words, c.events == kEnd ? Hex("50 00") : Bytes{});
    }
}

TEST_F(CommandTest, ZeroingIsNotStartedWithoutItsFirstAnswer) {
    arm1.simulator.simState = 7;  // busy: answers nothing
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROES(1), 0);
    EXPECT_EQ(sent.Normal().size(), 1u);  // S70 alone
}

TEST_F(CommandTest, NewerControllersSwitchAxesInStoppedStatus) {
    arm1.session.controllerClass = 3;
    arm1.replies.controllerInfo.controllerType = 2;
    arm1.replies.resetStatusPending = 0;
    const SentMessages sent;
    Inject(1, Hex("04 02 00 00 00"));  // too long to be a plain state reply, answers S72 all the same
    Inject(1, Hex("04 02 08 13 00"));
    EXPECT_EQ(CC_ENDIS_AXES(1, 1, 0, nullptr), 1);
    EXPECT_EQ(sent.Normal(), (Messages{Hex("04 01 'S' '7' '2'"), Hex("04 01 'S' '1' '3'")}));
    EXPECT_EQ(arm1.replies.resetStatusPending, 1u);
}

TEST_F(CommandTest, ReadParamConvertsByKindOfAxis) {
    const uint16_t kinds[5] = {1, 2, 1, 3, 0};
    for (int axis = 0; axis < 5; ++axis) arm1.replies.controllerInfo.axes[axis].kind = kinds[axis];
    // Five groups of mark and value: 1000000, -500000, 3600, 7200, 1.
    const std::string groups =
        " 'X' 40 42 0F 00 'Y' E0 5E F8 FF 'Z' 10 0E 00 00 'A' 20 1C 00 00 'B' 01 00 00 00";
    constexpr double kLeft = 99;
    const struct {
        int16_t set;
        const char *code;
        double expected[5];
    } kCases[] = {
        {1, "19", {6.0, -500000 / 3600.0, 0.0216, 2.0, kLeft}},
        {2, "1A", {1000000 / 98100000.0, -500000 / 3600.0, 3600 / 98100000.0, 2.0, kLeft}},
        {3, "1B", {100.0, -500000 / 3600.0, 0.36, 2.0, kLeft}},
        {4, "1C", {100.0, -500000 / 3600.0, 0.36, 2.0, kLeft}},
        // The one value lies at bytes 3 to 6: mark and low bytes of the first group.
        {5, "1D", {0x0F424058 * 0.000006, kLeft, kLeft, kLeft, kLeft}},
        {6, "22", {kLeft, kLeft, kLeft, 2.0, kLeft}},
        {7, "23", {100.0, kLeft, 0.36, kLeft, kLeft}},
    };
    for (const auto &c : kCases) {
        double out[5] = {kLeft, kLeft, kLeft, kLeft, kLeft};
        Inject(1, Hex("1B 01 " + std::string(c.code) + groups));
        EXPECT_EQ(CC_READ_PARAM(1, c.set, out), 1) << c.set;
        for (int i = 0; i < 5; ++i) EXPECT_NEAR(out[i], c.expected[i], 1e-9) << c.set << " " << i;
    }
}

TEST_F(CommandTest, TemperaturesArriveTogether) {
    EXPECT_EQ(CC_READTEMP(1), 1);
    CC_LOOP_RUN(200);
    ASSERT_EQ(EventsOf(1, 26), std::vector{Of(26, 0)});
    const Bytes words = EventsOf(1, 26).front().words;
    for (int i = 0; i < 32; ++i) EXPECT_EQ(words[2 * i] + 256 * words[2 * i + 1], 1000 * (i + 1)) << i;
    Bytes reply(38, 1);
    reply[2] = 65;
    reply[35] = 7;
    Inject(1, reply);
    CC_LOOP_RUN(50);
    EXPECT_EQ(EventsOf(1, 26).back(), Of(26, 7));
}

TEST_F(CommandTest, CoordinatesComeDuringTheCallAndLeaveTheWorkersRequestAlone) {
    arm1.replies.coordAnswered = 0;
    EXPECT_EQ(CC_GETCOORD(1), 1);
    ASSERT_EQ(EventsOf(1, 6).size(), 1u);
    EXPECT_EQ(arm1.replies.coordAnswered, 0);
    arm1.replies.coordAnswered = 1;
    const int64_t before = platform::World::Instance().Now();
    EXPECT_EQ(CC_GETWRISTCOORD(1), 1);  // the simulator does not answer
    EXPECT_EQ(EventsOf(1, 6).size(), 1u);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
    EXPECT_NEAR(static_cast<double>(platform::World::Instance().Now() - before), 1e6, 0.1e6);
    // The worker's report comes as well: polling goes on.
    arm1.replies.coordAnswered = 0;
    arm1.replies.awaitedReply = 2;
    for (const char *const reply : {"0F 01 FF 'A' 00 00 00 00 00 00 00 00 00 00 00 00", "02 01 00"})
        Inject(1, Hex(reply));
    Inject(1, Hex("0F 01 FF 'A' 00 00 00 00 00 00 00 00 00 00 00 00"));
    Inject(1, Hex("02 02 00"));
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
    // Where it sends nothing, what comes answers the worker.
    arm1.replies.coordAnswered = 0;
    arm1.replies.controllerState = 8;
    Inject(1, Hex("0F 08 FF 'A' 00 00 00 00 00 00 00 00 00 00 00 00"));
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
}

TEST_F(CommandTest, CoordinatesComeBehindAQueueOfUnreadReplies) {
    Events(1).clear();
    for (int i = 0; i < 9990; ++i) Inject(1, Hex("02 01 63"));
    const int64_t before = platform::World::Instance().Now();
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(EventsOf(1, 6).size(), 1u);
    EXPECT_EQ(platform::World::Instance().Now(), before);
}

TEST_F(CommandTest, StatusNumbers) {
    const int16_t kExpected[] = {3, 0, 2, 1, -1, -1, 4, 2, 2, 2, 4, -1};
    for (int state = 0; state < 12; ++state) {
        arm1.replies.controllerState = state;
        EXPECT_EQ(CC_GETSTATUS(1), kExpected[state]) << state;
    }
    arm1.replies.controllerState = -1;
    EXPECT_EQ(CC_GETSTATUS(1), -1);
}

TEST_F(CommandTest, InfoIsRefreshedOnlyWhereItChanges) {
    uint8_t info[48];
    const struct {
        int controllerClass, extendedStart, awaited;
        size_t sent;
    } kCases[] = {{1, 1, 0, 0}, {3, 0, 0, 0}, {3, 1, 1, 0}, {3, 1, 0, 1}, {2, 1, 0, 1}};
    for (const auto &c : kCases) {
        arm1.session.controllerClass = c.controllerClass;
        arm1.session.extendedStart = c.extendedStart;
        arm1.replies.awaitedReply = c.awaited;
        const SentMessages sent;
        EXPECT_EQ(CC_INFO(1, info), 1);
        EXPECT_EQ(sent.Normal().size(), c.sent) << c.controllerClass << c.extendedStart << c.awaited;
    }
}

}  // namespace
}  // namespace cc::test
