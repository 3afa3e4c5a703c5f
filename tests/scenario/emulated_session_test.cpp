// Whole sessions with the emulated controller at the far end of a virtual line, sound and with faults.
#include <sstream>

#include "cc_interface_posix.h"
#include "controller.h"
#include "support/inside.h"
#include "support/virtual_peer.h"

namespace cc::test {
namespace {

using namespace emulator;
using platform::World;

constexpr int32_t kPort = 3;
constexpr double kScale = 0.0001;

ControllerOptions WithSphere() {
    ControllerOptions options;
    options.zeroingTime = 200 * emulator::kMillisecond;
    options.probingSpeed = 50;
    options.part = std::make_shared<SpherePart>();
    return options;
}

class EmulatedTest : public ArmTest {
  protected:
    static uint16_t Open() {
        const char *const ini = IniFile("[Timers]\nLo Period=10\nHi Period=10\n");
        return CC_INIT(nullptr, 1, Recorder(1), "COM3", nullptr, 1, kScale, 1, 0, ini);
    }

    /// Runs the loop until the status is reached; false after 20 s.
    static bool Reach(int16_t status) {
        for (int i = 0; i < 2000 && CC_GETSTATUS(1) != status; ++i) CC_LOOP_RUN(10);
        return CC_GETSTATUS(1) == status;
    }

    /// Opens, zeroes and brings the arm to measuring state.
    static bool StartMeasuring() {
        ControllerInfo info{};
        return Open() == 0 && CC_START(1, &info, 0) == 1 && CC_ZEROES(1) == 1 && Reach(0) &&
               CC_SETSTATUS(1, 1) == 1 && CC_OPBUF(1, 0) == 1;
    }

    /// Probes the sphere from above, +x and +y, with moves clear of it in between.
    static void FileProbing() {
        const Vector centre{100, 80, 50};
        uint32_t id = 0;
        for (const Vector &direction : {Vector{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}) {
            const Vector outside = centre + 25 * direction;
            ++id;
            for (const auto &[mode, target] :
                 {std::pair{0, outside}, {2, centre + 12 * direction}, {0, outside}}) {
                while (CC_CANSEND(1, 2) == 0) CC_LOOP_RUN(10);
                const double position[6] = {target[0],     target[1],     target[2],
                                            -direction[0], -direction[1], -direction[2]};
                CC_MOVE(1, static_cast<int16_t>(mode), position, id, 1, nullptr, nullptr, 0);
            }
        }
    }

    /// The whole job, as a text of everything that came of it.
    static std::string RunJob() {
        std::ostringstream text;
        Events(1).clear();
        text << "ready " << StartMeasuring();
        FileProbing();
        for (int i = 0; i < 6000 && EventsOf(1, 16).size() < 9; ++i) CC_LOOP_RUN(10);
        for (const Event &event : Events(1)) {
            if (event.number == 16) text << " done " << event.info;
            if (event.number != 5) continue;
            text << " point " << event.point.tag << " at";
            for (const long value : InMillionths(event.point.position)) text << " " << value;
        }
        uint16_t words[2] = {7, 8};
        text << " write " << CC_IO(1, 0, words);
        words[0] = 0;
        text << " read " << CC_IO(1, 1, words) << " " << words[0] << " " << words[1];
        double values[5] = {};
        text << " param " << CC_READ_PARAM(1, 1, values) << " " << values[0];
        text << " coordinates " << CC_GETCOORD(1) << " " << EventsOf(1, 6).size();
        text << " moving " << CC_MOVING(1);
        CC_DONE(1, 0);
        return text.str();
    }
};

// The three points: 15 mm plus the form error of 4 um x cos(3 x azimuth) on the equator.
const char kResult[] =
    "ready 1 done 0 point 1 at 100000000 80000000 65000000 done 1 done 0"
    " done 0 point 2 at 115004000 80000000 50000000 done 1 done 0"
    " done 0 point 3 at 100000000 95000000 50000000 done 1 done 0"
    " write 1 read 1 7 8 param 1 6 coordinates 1 1 moving 0";

TEST_F(EmulatedTest, TheMainJobMayLoseAnyOneFrame) {
    for (const Direction direction : {Direction::ToController, Direction::ToHost}) {
        int frames = 0;
        for (int lost = 0; lost <= frames; ++lost) {  // 0: none
            ForgetSessions();
            Controller controller(WithSphere());
            if (lost > 0) controller.Faults().Add({FaultKind::Drop, direction, lost, 0, 0});
            const VirtualPeer peer(kPort, controller);
            ASSERT_EQ(RunJob(), kResult)
                << "lost " << lost << " in direction " << static_cast<int>(direction);
            if (lost > 0) continue;
            frames = controller.Faults().Frames(direction);
            EXPECT_GT(frames, 50);
            EXPECT_TRUE(World::Instance().messageBoxes.empty());
            EXPECT_EQ(controller.State(), 1);
            EXPECT_EQ(Events(1).front(), Of(1, 1));
        }
        World::Instance().messageBoxes.clear();
    }
}

// The controller goes on meanwhile, repeats what nobody takes and starts its link anew in the end.
TEST_F(EmulatedTest, AHostThatStandsStillAnywhereRepeatsNothing) {
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
TEST_F(EmulatedTest, CountsAndLastFramesAgreeWithTheFarEnd) {
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

TEST_F(EmulatedTest, FaultsOfEachKindAreOvercome) {
    // A wrong bit may turn one frame into another, so corruption strikes frames that keep their kind.
    for (const char *const fault :
         {"to-host:repeat%20", "to-controller:repeat%20", "split%30", "delay=20%10", "line-error%5",
          "to-controller:line-error@20", "restart@30", "silence=2500@25", "to-host:corrupt@40",
          "to-controller:corrupt@45", "to-host:drop%3", "to-controller:drop%3"}) {
        ForgetSessions();
        Controller controller(WithSphere());
        controller.Faults().Seed(5);
        controller.Faults().Add(ParseFault(fault));
        const VirtualPeer peer(kPort, controller);
        EXPECT_EQ(RunJob(), kResult) << fault;
    }
}

TEST_F(EmulatedTest, AMissRejectsWhatFollowsAndAMoveIntoThePartIsAnEmergency) {
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

TEST_F(EmulatedTest, TheTableIsDownloadedOnRequestAndOpeningsThatFailCloseThePort) {
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

TEST_F(EmulatedTest, CoordinatesAreStreamedAndAScanEndsByItselfOrByStop) {
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

TEST(Faults, ThatCannotBeReadAreRefused) {
    for (const char *const bad : {"", "drop", "drop@0", "drop@x", "drop=1@2", "delay@2",
                                  "to-controller:delay=5@2", "explode@1", "drop%-1", "drop@2x"}) {
        EXPECT_THROW(ParseFault(bad), std::exception) << bad;
    }
}

}  // namespace
}  // namespace cc::test
