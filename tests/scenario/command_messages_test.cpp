// Every command in simulation mode: its bytes, its queue, its result.
#include <array>
#include <cstring>
#include <functional>

#include "support/inside.h"

namespace cc::test {
namespace {

class CommandTest : public SimulationTest {};

TEST_F(CommandTest, MessagesAreByteForByte) {
    static const uint8_t kInfo[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    static uint16_t words[2] = {4660, 255};
    static double out[5];
    static uint8_t info[10];
    static const uint8_t kAxes[2] = {'X', 'Y'};
    static const char kFree[] = "04 01 'S' '2' '6'";
    const std::tuple<const char *, int, std::function<int()>, int, const char *, const char *> kCases[] = {
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
        {"AXES on", 1, [] { return CC_ENDIS_AXES(1, 1, 2, kAxes); }, 0, "06 01 'P' '0' '8' 'X' 'Y'", ""},
        {"AXES off", 1, [] { return CC_ENDIS_AXES(1, 0, 0, nullptr); }, 0, "04 01 'P' '0' '7'", ""},
        {"READ_PARAM 1", 1, [] { return CC_READ_PARAM(1, 1, out); }, 0, "", "04 01 'R' '0' '1'"},
    };
    for (const auto &[name, state, call, result, normal, priority] : kCases) {
        arm1.replies.controllerState = state;
        arm1.link.simulator.simState = static_cast<uint8_t>(state == 7 ? 1 : state);
        arm1.replies.awaitedReply = 0;
        const SentMessages sent;
        EXPECT_EQ(call(), result) << name;
        EXPECT_EQ(sent.Normal(), Hexes(normal)) << name;
        EXPECT_EQ(sent.Priority(), Hexes(priority)) << name;
        CC_LOOP_RUN(50);
        arm1.link.simulator.simState = 1;
    }
    EXPECT_EQ(std::pair(words[0], words[1]), std::pair(uint16_t{4660}, uint16_t{255}));  // read back
    EXPECT_EQ(std::memcmp(info, kInfo, sizeof info), 0);
}

TEST_F(CommandTest, AskCoordLeavesThePollingToTheWorkerWhereTheControllerCannotStream) {
    using enum ControllerClass;
    const std::tuple<bool, ControllerClass, int, int, bool> kCases[] = {
        {false, Old, 1, 100, false},       {true, Old, 3, 100, true},       {false, Streaming, 1, 100, true},
        {false, Streaming, 3, 100, false}, {false, Streaming, 1, 0, false}, {false, Newer, 1, 100, false}};
    for (const auto &[enable, controllerClass, state, autoCoordMs, streams] : kCases) {
        arm1.settings.enableAutoCoord = enable;
        arm1.settings.autoCoordMs = autoCoordMs;
        arm1.session.controllerClass = controllerClass;
        arm1.replies.controllerState = state;
        arm1.replies.coordAnswered = 0;
        const SentMessages sent;
        CC_ASKCOORD(1, 1);
        EXPECT_EQ(sent.Normal().size(), streams ? 1u : 0u);
        EXPECT_EQ(std::pair(arm1.session.autoCoordOn, arm1.replies.coordAnswered),
                  std::pair(!streams, !streams));
        CC_ASKCOORD(1, 0);
        EXPECT_EQ(arm1.session.autoCoordOn, 0);
    }
    // The way to another status switches the stream off and on.
    arm1.settings.enableAutoCoord = 1;
    arm1.settings.autoCoordMs = 250;
    CC_ASKCOORD(1, 1);
    arm1.replies.controllerState = state::kMeasuring;
    const SentMessages sent;
    EXPECT_EQ(CC_SETSTATUS(1, 1), 1);
    EXPECT_EQ(CC_SETSTATUS(1, 3), 0);  // there is none
    EXPECT_EQ(sent.Normal(), Hexes("02 00 'K' | 06 00 'J' 00 00 FA 00"));
    EXPECT_EQ(arm1.session.autoCoordOn, 0);
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

TEST_F(CommandTest, TheWorkerEndsZeroingUnlessTheClientDoes) {
    for (const bool client : {false, true}) {
        arm1.session.startMode = client ? 1 : 0;
        const SentMessages sent;
        EXPECT_EQ(client ? CC_ZEROESAB(1) : CC_ZEROES(1), 1);
        EXPECT_EQ(arm1.replies.awaitedReply, 1);
        CC_LOOP_RUN(300);
        // The worker stamps the stored information and brings the controller to status 0.
        EXPECT_EQ(sent.Normal(),
                  Hexes(client ? "04 01 'S' '7' '0' | 06 01 'S' '1' '5' 'A' 'B'"
                               : "04 01 'S' '7' '0' | 04 01 'S' '1' '5' | 04 01 'S' '1' '9' | 0E 01 'S' '2' "
                                 "'0' 01 00 00 00 00 00 00 00 00 00 | 04 01 'S' '7' '1'"));
        EXPECT_EQ(EventsOf(1, 28).size(), client ? 1u : 0u);
        EXPECT_EQ(CC_GETSTATUS(1), client ? 3 : 0);
    }
    arm1.link.simulator.simState = 7;  // busy: answers nothing
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROES(1), 0);
    EXPECT_EQ(sent.Normal().size(), 1u);  // S70 alone
}

TEST_F(CommandTest, OptionFourBringsP10AndItsEvents) {
    arm1.replies.controllerInfo.optionCode = 4;
    const SentMessages sent;
    EXPECT_EQ(CC_ZEROES(1), 1);
    EXPECT_EQ(sent.Priority(), Messages{Hex("04 01 'P' '1' '0'")});
    ASSERT_EQ(Events(1).back(), Of(18, 274));
    EXPECT_EQ(Events(1).back().words, Hex("50 00"));
    arm1.replies.controllerState = state::kMeasuring;
    EXPECT_EQ(CC_NCONWAITSTART(1, 1), 1);
    EXPECT_EQ(sent.Priority().back(), Hex("04 01 'P' '1' '0'"));
    EXPECT_EQ(EventsOf(1, 18).size(), 2u);
    // The end of the wait is told once, and by older controllers with the option only.
    const std::vector<Event> kEnd = {Of(19, 275), Of(22, 22)}, kNoEnd = {Of(22, 22)};
    const std::tuple<int32_t, int32_t, uint16_t, std::vector<Event>> kCases[] = {
        {0, 0, 4, kEnd}, {0, 0, 4, kNoEnd}, {1, 1, 4, kNoEnd}, {1, 0, 0, kNoEnd}};
    CC_LOOP_RUN(300);
    for (const auto &[again, extended, option, expected] : kCases) {
        Events(1).clear();
        arm1.replies.p10Sent |= again;
        arm1.replies.extendedInfo = extended;
        arm1.replies.controllerInfo.optionCode = option;
        Inject(1, Hex("02 03 35"));
        CC_LOOP_RUN(50);
        ASSERT_EQ(Events(1), expected) << again << option;
        EXPECT_EQ(Events(1)[0].words, expected == kEnd ? Hex("50 00") : Bytes{});
    }
}

TEST_F(CommandTest, NewerControllersSwitchAxesInStoppedStatus) {
    arm1.session.controllerClass = ControllerClass::Newer;
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
    const std::tuple<int16_t, const char *, std::array<double, 5>> kCases[] = {
        {1, "19", {6.0, -500000 / 3600.0, 0.0216, 2.0, kLeft}},
        {2, "1A", {1000000 / 98100000.0, -500000 / 3600.0, 3600 / 98100000.0, 2.0, kLeft}},
        {3, "1B", {100.0, -500000 / 3600.0, 0.36, 2.0, kLeft}},
        {4, "1C", {100.0, -500000 / 3600.0, 0.36, 2.0, kLeft}},
        // The one value lies at bytes 3 to 6: mark and low bytes of the first group.
        {5, "1D", {0x0F424058 * 0.000006, kLeft, kLeft, kLeft, kLeft}},
        {6, "22", {kLeft, kLeft, kLeft, 2.0, kLeft}},
        {7, "23", {100.0, kLeft, 0.36, kLeft, kLeft}},
    };
    for (const auto &[set, code, expected] : kCases) {
        double out[5] = {kLeft, kLeft, kLeft, kLeft, kLeft};
        Inject(1, Hex(std::string("1B 01 ") + code + groups));
        EXPECT_EQ(CC_READ_PARAM(1, set, out), 1) << set;
        for (int i = 0; i < 5; ++i) EXPECT_NEAR(out[i], expected[i], 1e-9) << set << " " << i;
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
    const std::string report = "0F 01 FF 'A' 00 00 00 00 00 00 00 00 00 00 00 00";
    arm1.replies.coordAnswered = 0;
    for (int i = 0; i < 9990; ++i) Inject(1, Hex("02 01 63"));  // behind a queue of unread replies
    const double before = Seconds();
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(Seconds(), before);
    EXPECT_EQ(arm1.replies.coordAnswered, 0);
    arm1.replies.coordAnswered = 1;
    EXPECT_EQ(CC_GETWRISTCOORD(1), 1);  // the simulator does not answer
    EXPECT_EQ(EventsOf(1, 6).size(), 1u);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
    EXPECT_NEAR(Seconds() - before, 1, 0.1);
    // The worker's report comes as well: polling goes on.
    arm1.replies.coordAnswered = 0;
    arm1.replies.awaitedReply = 2;
    for (const Bytes &reply : Hexes(report + "| 02 01 00 |" + report + "| 02 02 00")) Inject(1, reply);
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
    // Where it sends nothing, what comes answers the worker.
    arm1.replies.coordAnswered = 0;
    arm1.replies.controllerState = 8;
    Inject(1, Hex("0F 08" + report.substr(5)));
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_EQ(arm1.replies.coordAnswered, 1);
}

TEST_F(CommandTest, StatusNumbers) {
    std::vector<int> numbers;
    for (int state = -1; state < 12; ++state) {
        arm1.replies.controllerState = state;
        numbers.push_back(CC_GETSTATUS(1));
    }
    EXPECT_EQ(numbers, (std::vector{-1, 3, 0, 2, 1, -1, -1, 4, 2, 2, 2, 4, -1}));
}

TEST_F(CommandTest, InfoIsRefreshedOnlyWhereItChanges) {
    uint8_t info[48];
    using enum ControllerClass;
    const std::tuple<ControllerClass, int, int, size_t> kCases[] = {
        {Old, 1, 0, 0}, {Newer, 0, 0, 0}, {Newer, 1, 1, 0}, {Newer, 1, 0, 1}, {Streaming, 1, 0, 1}};
    for (const auto &[controllerClass, extendedStart, awaited, expected] : kCases) {
        arm1.session.controllerClass = controllerClass;
        arm1.session.extendedStart = extendedStart;
        arm1.replies.awaitedReply = awaited;
        const SentMessages sent;
        EXPECT_EQ(CC_INFO(1, info), 1);
        EXPECT_EQ(sent.Normal().size(), expected)
            << static_cast<int>(controllerClass) << extendedStart << awaited;
    }
}

}  // namespace
}  // namespace cc::test
