// Whole sessions with the emulated controller at the far end of a virtual line, sound and with faults.
#include "support/emulated_session.h"
#include "cc_interface_posix.h"

namespace cc::test {
namespace {

using namespace emulator;
using platform::World;

// Each frame of a session lost, damaged, doubled, late, or run together with the next, in turn: the session ends as if
// nothing had happened, and nothing is executed twice.
TEST_P(EmulatedTest, TheMainJobStandsAFaultOfAnyOneFrame) {
    std::map<int32_t, int> commands;
    for (const std::string fault :
         {"to-controller:drop", "to-host:drop", "to-controller:corrupt", "to-host:corrupt",
          "to-controller:repeat", "to-host:repeat", "to-controller:delay=1500", "to-host:delay=1500",
          "to-controller:merge", "to-host:merge"}) {
        int frames = 0;
        for (int struck = 0; struck <= frames; ++struck) {  // 0: none
            ForgetSessions();
            Controller controller(WithSphere());
            if (struck > 0) controller.Faults().Add(ParseFault(fault + "@" + std::to_string(struck)));
            const VirtualPeer peer(kPort, controller);
            ASSERT_EQ(RunJob(), kResult) << fault << struck;
            if (struck == 0) {
                frames =
                    controller.Faults().Frames(fault[3] == 'h' ? Direction::ToHost : Direction::ToController);
                commands = controller.Commands();
                EXPECT_GT(frames, 50);
                EXPECT_TRUE(World::Instance().messageBoxes.empty());
                EXPECT_EQ(controller.State(), 1);
                EXPECT_EQ(Events(1).front(), Of(1, 1));
            }
            ASSERT_EQ(controller.Commands(), commands) << fault << struck;
        }
        World::Instance().messageBoxes.clear();
    }
}

// The controller goes on meanwhile, repeats what nobody takes and starts its link anew in the end.
TEST_P(EmulatedTest, AHostThatStandsStillAnywhereRepeatsNothing) {
    std::map<int32_t, int> commands;
    for (const int milliseconds : {0, 500, 2000, 5000, 20000}) {
        for (int frame = 1; frame <= (milliseconds == 0 ? 1 : 150); frame += 3) {
            ForgetSessions();
            Controller controller(WithSphere());
            int frames = 0;
            controller.onFrame = [&](int64_t, Direction, const Bytes &) {
                if (++frames == frame) World::Instance().StandStill(milliseconds * platform::kMillisecond);
            };
            const VirtualPeer peer(kPort, controller);
            const std::string result = RunJob();
            if (milliseconds <= 2000) {
                ASSERT_EQ(result, kResult) << milliseconds << " ms at frame " << frame;
            }
            const LinkStatistics &all = arm1.link.statistics;
            ASSERT_EQ(std::pair(all.framesRepeated, all.startLinksSent), std::pair(0u, 1u))  // the opening's
                << milliseconds << " ms at frame " << frame;
            if (milliseconds == 0) commands = controller.Commands();
            for (const int number : {173, 201, 205, 1000})
                ASSERT_EQ(controller.Commands().at(number), commands.at(number)) << number << " at " << frame;
        }
    }
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
}

// What the far end saw, and what the line lost on the way.
TEST_P(EmulatedTest, CountsAndLastFramesAgreeWithTheFarEnd) {
    const std::pair<const char *, uint32_t> kCases[] = {{"to-controller:drop@20", 1},
                                                        {"to-host:drop@20", 0},
                                                        {"to-host:corrupt@40", 0},
                                                        {"line-error%5", 0},
                                                        {"restart@30", 0}};
    for (const auto &[fault, lost] : kCases) {
        ForgetSessions();
        Controller controller(WithSphere());
        controller.Faults().Add(ParseFault(fault));
        std::map<std::pair<Direction, int>, uint32_t> seen;
        Messages toController;
        controller.onFrame = [&](int64_t, Direction direction, const Bytes &frame) {
            ++seen[{direction, frame[0]}];
            if (direction == Direction::ToController) toController.push_back(frame);
        };
        const auto both = [&](Direction direction, int a, int b) {
            return seen[{direction, a}] + seen[{direction, b}];
        };
        const VirtualPeer peer(kPort, controller);
        ASSERT_EQ(RunJob(), kResult) << fault;
        CC_LinkStatistics all{};
        ASSERT_EQ(CC_LINK_STATISTICS(1, &all), 1);
        using enum Direction;
        const auto sent = all.framesSent + all.framesRepeated + all.acknowledgementsSent;
        EXPECT_EQ(sent, both(ToController, 3, 4) + both(ToController, 2, 5) + lost) << fault;
        const auto received = all.framesReceived + all.framesIgnored + all.acknowledgementsReceived;
        EXPECT_EQ(received + all.lineErrorsSent, both(ToHost, 3, 4) + both(ToHost, 2, 5)) << fault;
        EXPECT_EQ(std::tuple(all.startLinksSent, all.startAcksSent, all.lineErrorsSent),
                  std::tuple(seen[{ToController, 9}], seen[{ToController, 6}], seen[{ToController, 1}]))
            << fault;
        EXPECT_EQ(std::tuple(all.startLinksReceived, all.startAcksReceived, all.lineErrorsReceived),
                  std::tuple(seen[{ToHost, 9}], seen[{ToHost, 6}], seen[{ToHost, 1}]))
            << fault;

        CC_LinkFrame last[CC_LINK_FRAMES]{};
        ASSERT_EQ(CC_LINK_HISTORY(1, last, 40), 32);
        Messages sentLast;
        for (const CC_LinkFrame &frame : last) {
            const auto kept = std::min<size_t>(frame.length, CC_LINK_FRAME_BYTES);
            if (frame.sent == 1) sentLast.emplace_back(frame.bytes, frame.bytes + kept);
        }
        toController.erase(toController.begin(), toController.end() - static_cast<long>(sentLast.size()));
        for (Bytes &frame : toController) frame.resize(std::min<size_t>(frame.size(), CC_LINK_FRAME_BYTES));
        EXPECT_EQ(sentLast, toController) << fault;
        CC_LinkFrame youngest{};
        ASSERT_EQ(CC_LINK_HISTORY(1, &youngest, 1), 1);
        EXPECT_EQ(std::memcmp(&youngest, &last[31], sizeof youngest), 0);
    }
    EXPECT_EQ(CC_LINK_STATISTICS(1, nullptr) + CC_LINK_HISTORY(1, nullptr, 1), 0);
    CC_LinkFrame none{};
    EXPECT_EQ(CC_LINK_HISTORY(1, &none, 0) + CC_LINK_HISTORY(1, &none, -1), 0);
}

TEST_P(EmulatedTest, AMissRejectsWhatFollowsAndAMoveIntoThePartIsAnEmergency) {
    ControllerOptions options = WithSphere();
    auto plane = std::make_shared<PlanePart>();
    plane->origin = {0, 0, -100};
    options.part = plane;
    Controller controller(options);
    VirtualPeer peer(kPort, controller);
    ASSERT_TRUE(StartMeasuring());
    FileProbing();
    CC_LOOP_RUN(30000);
    EXPECT_TRUE(EventsOf(1, 5).empty());
    EXPECT_EQ(EventsOf(1, 8), std::vector{Of(8, 2)});
    EXPECT_EQ(CC_MOVING(1), 0);
    const double down[6] = {0, 0, -150};
    CC_MOVE(1, 2, down, 9, 1, nullptr, nullptr, 0);
    CC_LOOP_RUN(30000);
    ASSERT_EQ(EventsOf(1, 5).size(), 1u);
    EXPECT_NEAR(EventsOf(1, 5)[0].point.position[2], -100, kScale);
    CC_MOVE(1, 0, down, 0, 1, nullptr, nullptr, 0);
    for (int i = 0; i < 300 && EventsOf(1, 3).empty(); ++i) CC_LOOP_RUN(10);
    EXPECT_EQ(EventsOf(1, 3).size(), 1u);
    EXPECT_EQ(CC_GETSTATUS(1), 2);
    EXPECT_TRUE(Reach(0));  // the worker brings it back to status 0
    peer.Ask([&] { controller.GiveEvent(51); });
    CC_LOOP_RUN(200);
    EXPECT_EQ(EventsOf(1, 20), std::vector{Of(20, 0x0114)});
    EXPECT_EQ(controller.State(), 7);
}

TEST_P(EmulatedTest, TheTableIsDownloadedOnRequestAndOpeningsThatFailCloseThePort) {
    ControllerOptions options = WithSphere();
    options.wantsTable = true;
    Controller controller(options);
    controller.Faults().Add(ParseFault("to-controller:silence=1000000@40"));  // in the middle of the table
    const VirtualPeer peer(kPort, controller);
    platform::VirtualPort &port = platform::VirtualPort::Number(kPort);
    EXPECT_EQ(Open(), 770);
    EXPECT_FALSE(port.IsOpen());
    controller.Faults().Clear();
    World::Instance().Pass(1000 * emulator::kSecond);
    World::Instance().refusesTimers = true;
    EXPECT_EQ(Open(), 525);
    EXPECT_EQ(OpenSimulated(1), 525);
    World::Instance().refusesTimers = false;
    EXPECT_FALSE(port.IsOpen());
    uint32_t table[512];
    for (uint32_t i = 0; i < 512; ++i) table[i] = i * 0x1B08;
    CC_STORE_COSDAT(1, table);
    const int32_t before = controller.Commands().at(600);
    ASSERT_EQ(Open(), 0);
    ControllerInfo info{};
    ASSERT_EQ(CC_START(1, &info, 0), 1);
    for (const int16_t on : {0, 1}) EXPECT_EQ(CC_ENDIS_AXES(1, on, 1, "X"), 1) << on;
    ASSERT_EQ(controller.Table().size(), 128u);
    EXPECT_EQ(controller.Table().at(127), Hex("E0 A3 35 00 E8 BE 35 00 F0 D9 35 00 F8 F4 35 00"));
    EXPECT_EQ(controller.Commands().at(600) - before, 2);  // N00 before and after
    EXPECT_EQ(CC_GETSTATUS(1), 2);
    port.present = false;  // unplugged
    CC_FEED(1, 1);         // may take the last acknowledgement for its own
    EXPECT_EQ(CC_FEED(1, 1), 0);
    EXPECT_EQ(World::Instance().messageBoxes.size(), 1u);
    CC_DONE(1, 2);
    EXPECT_EQ(Open(), 527);
}

TEST_P(EmulatedTest, CoordinatesAreStreamedAndAScanEndsByItselfOrByStop) {
    ControllerOptions options = WithSphere();
    options.level = 15;  // class 2: streams
    Controller controller(options);
    const VirtualPeer peer(kPort, controller);
    ASSERT_TRUE(StartMeasuring());
    CC_SETSTATUS(1, 5);
    CC_ASKCOORD(1, 1);
    Events(1).clear();
    CC_LOOP_RUN(2050);
    EXPECT_NEAR(static_cast<double>(EventsOf(1, 6).size()), 20, 1);
    CC_ASKCOORD(1, 0);
    CC_LOOP_RUN(500);
    Events(1).clear();
    CC_LOOP_RUN(1000);
    EXPECT_TRUE(EventsOf(1, 6).empty());
    ASSERT_EQ(CC_SETSTATUS(1, 1), 1);
    const double x = 0.9, y = 0, step = 0.1, far = 200;
    L2S_SetTargetPoint(&x, &y);
    L2S_SetMaxMinStep(&step, &step);
    ASSERT_EQ(L2S_StartScan(), 1);
    EXPECT_EQ(CC_CANSEND(1, 1), 0);
    CC_LOOP_RUN(5000);
    EXPECT_EQ(EventsOf(1, 13).size(), 9u);
    EXPECT_EQ(EventsOf(1, 15).size(), 1u);
    EXPECT_NEAR(EventsOf(1, 13).back().point.position[0], 0.9, kScale);
    L2S_SetTargetPoint(&far, &y);
    ASSERT_EQ(L2S_StartScan(), 1);
    CC_LOOP_RUN(300);
    EXPECT_EQ(L2S_StopScan(), 1);
    CC_LOOP_RUN(5000);
    EXPECT_EQ(EventsOf(1, 15).size(), 2u);
    EXPECT_EQ(CC_CANSEND(1, 1), 1);
}

INSTANTIATE_TEST_SUITE_P(LineModes, EmulatedTest, testing::Values(0, 1));

TEST(Faults, ThatCannotBeReadAreRefused) {
    for (const char *const bad : {"", "drop", "drop@0", "drop@x", "drop=1@2", "delay@2",
                                  "to-controller:split@2", "explode@1", "drop%-1", "drop@2x"}) {
        EXPECT_THROW(ParseFault(bad), std::exception) << bad;
    }
}

TEST(EmulatedLink, APieceOfAFrameIsRefusedThoughItsChecksumIsRight) {
    emulator::Controller controller({});
    Messages answers;
    for (const Bytes &frame : Hexes("09 08 | 03 1D 1D 08 | 03 04 01 'I' '0' '0' 4C 08")) {
        for (const uint8_t byte : frame) controller.Receive(byte);
        controller.AdvanceTo(controller.NextDue());
        for (Bytes out = controller.TakeOutput(); !out.empty(); out = controller.TakeOutput())
            answers.push_back(out);
    }
    ASSERT_GE(answers.size(), 4u);
    EXPECT_EQ(answers[0], Hex("06 08"));
    EXPECT_EQ(answers[2], Hex("01 08"));
    EXPECT_EQ(answers[3], Hex("02 08"));
}

}  // namespace
}  // namespace cc::test
