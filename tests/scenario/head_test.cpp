// The probe head on its own virtual line, with the emulated controller on the arm's.
#include "head.h"
#include "controller.h"
#include "platform/message_loop.h"
#include "support/inside.h"
#include "virtual_peer.h"

namespace cc::test {
namespace {

using namespace emulator;
using platform::VirtualPort;
using platform::World;

constexpr int32_t kArmPort = 3;
constexpr int32_t kHeadPort = 4;
using Texts = std::vector<std::string>;

class HeadTest : public ArmTest {
  protected:
    uint16_t Open(const char *headPort = "COM4:4800,n,8,2", const char *settings = "PH9 timeout=1\n") {
        const std::string text = std::string("[Timers]\nLo Period=10\nHi Period=10\ntimeout=2\n") + settings;
        return CC_INIT(nullptr, 1, Recorder(1), "COM3", headPort, 1, 0.001, 1, 0, IniFile(text));
    }
    /// Where the head is by the library's report.
    static std::pair<double, double> Position() {
        std::pair<double, double> angles{5, 5};
        CC_PHGetPosition(1, &angles.first, &angles.second);
        return angles;
    }
    /// Opens in vain and leaves no port open. Result: the code.
    uint16_t FailToOpen(const char *headPort = "COM4") {
        const uint16_t code = Open(headPort);
        EXPECT_FALSE(VirtualPort::Number(kArmPort).IsOpen() || VirtualPort::Number(kHeadPort).IsOpen());
        return code;
    }

    /// Commands that the head has received since the last call.
    Texts Received() {
        const Texts all = head.Commands();
        const Texts fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
        seen_ = all.size();
        return fresh;
    }

    Controller controller{ControllerOptions{}};
    VirtualPeer arm{kArmPort, controller};
    Head head{HeadOptions{.speed = 360}};
    VirtualPeer line{kHeadPort, head, emulator::kByteTimeHead};

  private:
    size_t seen_ = 0;
};

TEST_F(HeadTest, StartsReportsAndTurns) {
    ASSERT_EQ(Open(), 0);
    EXPECT_EQ(Received(), (Texts{"S", "S"}));
    const platform::LineSettings settings = VirtualPort::Number(kHeadPort).Settings();
    EXPECT_EQ(
        std::tuple(settings.baud, settings.parity, settings.stopBits, settings.handshake, settings.eventChar),
        std::tuple(4800, 'N', 2, 2, 13));
    EXPECT_EQ(std::tuple(CC_PHMoving(1), CC_PHLevePresent(1), CC_PHCurrentMode(1)), std::tuple(0, 1, 0));
    const std::tuple<double, double, int16_t, int, Texts> kInTurn[] = {
        {45.0, -90.0, 0, 1, {"A45.0", "B-90.0", "U"}},
        {45.0, -90.0, 0, 1, {}},  // there already
        {45.0, -90.0, 1, 1, {"A45.0", "B-90.0", "U"}},
        {45.06, 0, 0, 0, {"A45.1", "B0.0", "U"}},  // the head reports 45.1
        {1e20, 0, 0, 0, {}},                       // no such text
        {std::numeric_limits<double>::infinity(), 0, 0, 0, {}}};
    for (const auto &[a, b, always, result, commands] : kInTurn) {
        EXPECT_EQ(PH9_SetPosition(a, b, always, 0), result) << a;
        EXPECT_EQ(Received(), commands) << a;
    }
    double a = 0, b = 0;
    PH9_GetPosition(&a, &b);
    EXPECT_EQ(std::pair(a, b), std::pair(45.1, 0.0));
    line.Ask([this] { head.Unplug(); });
    EXPECT_EQ(CC_PHUpdate(1), 0);
}

TEST_F(HeadTest, ModesByCommandByHandAndByTheWorker) {
    ASSERT_EQ(Open(), 0);
    Received();
    EXPECT_EQ(PH9_AUTOMODE(), 1);
    EXPECT_TRUE(Received().empty());
    for (int i = 0; i < 2; ++i) EXPECT_EQ(CC_PHMANMODE(1), 1);
    EXPECT_EQ(CC_PHCurrentMode(1), 1);
    EXPECT_EQ(CC_PHSetPosition(1, 1, 2, 1, 0), 0);
    EXPECT_EQ(Received(), Texts{"M"});
    line.Ask([this] { head.AskForAutomatic(); });
    CC_LOOP_RUN(500);
    EXPECT_EQ(Received(), Texts{"N"});
    EXPECT_EQ(PH9_CurrentMode(), 0);
    line.Ask([this] { head.SwitchByHand(true); });
    CC_LOOP_RUN(500);
    EXPECT_EQ(CC_PHCurrentMode(1), 1);
    head.options.hasManualMode = false;
    EXPECT_EQ((std::vector<int>{PH9_AUTOMODE(), PH9_LevePresent(), PH9_MANMODE()}), (std::vector{1, 0, 0}));
}

TEST_F(HeadTest, ASilentHeadIsAskedElevenTimes) {
    ASSERT_EQ(Open(), 0);
    head.options.silent = true;
    Received();
    const double before = Seconds();
    EXPECT_EQ(CC_PHUpdate(1), 1);
    EXPECT_EQ(Received(), Texts(11, "U"));
    EXPECT_NEAR(Seconds() - before, 11, 0.02);  // 11 waits of 100 polls
    arm1.head.manualMode = 1;
    EXPECT_EQ(CC_PHAUTOMODE(1), 1);
    EXPECT_EQ(Received(), Texts(11, "N"));
    EXPECT_EQ(CC_PHCurrentMode(1), 0);
    EXPECT_EQ(CC_PHSetPosition(1, 10, 20, 0, 0), 0);
    EXPECT_EQ(Received().size(), 33u);
    ASSERT_EQ(Open("COM4", "PH9 timeout=0\n"), 0);
    const double after = Seconds();
    EXPECT_EQ(CC_PHUpdate(1), 1);
    EXPECT_EQ(Seconds(), after);  // nothing is polled
}

TEST_F(HeadTest, AnErrorRaisesAnEmergencyAndCountsAsUnanswered) {
    ASSERT_EQ(Open(), 0);
    arm1.session.extendedStart = 0;  // otherwise an emergency under way needs no further one
    Received();
    head.FailNext('F');
    EXPECT_EQ(CC_PHSetPosition(1, 15, 0, 1, 0), 1);  // the second try is answered
    EXPECT_EQ(Received(), (Texts{"A15.0", "A15.0", "B0.0", "U"}));
    CC_LOOP_RUN(500);
    EXPECT_EQ(controller.Commands().at(300), 1);
    EXPECT_EQ(EventsOf(1, 3).at(0).words[0], 170);  // "F" + 100
    // Seen by the worker's own poll.
    line.Ask([this] { head.GiveError('X'); });
    CC_LOOP_RUN(500);
    EXPECT_EQ(controller.Commands().at(300), 2);
    EXPECT_EQ(EventsOf(1, 3).at(1).words[0], 188);
    EXPECT_EQ(arm1.head.headEvent, 0);
}

TEST_F(HeadTest, AnswersThatComeTogetherOrAreTooLongAreRead) {
    ASSERT_EQ(Open(), 0);
    EXPECT_EQ(CC_PHSetPosition(1, 30, 15, 1, 0), 1);
    arm1.head.headA = arm1.head.headB = 0;
    head.options.overLong = true;
    line.Ask([this] { head.SwitchByHand(false); });
    for (int i = 0; i < 1000 && arm1.head.headA == 0; ++i) CC_LOOP_RUN(10);
    EXPECT_EQ(Position(), std::pair(30.0, 15.0));
    EXPECT_EQ(std::string(arm1.head.headReply).size(), 99u);
    CC_LOOP_RUN(20);
    EXPECT_EQ(std::string(arm1.head.headReply).size(), 32u);  // the rest, classified by itself
    EXPECT_EQ(arm1.head.headEvent, 0);
    head.options.overLong = false;
    head.options.twoAtOnce = true;
    Received();
    EXPECT_EQ(CC_PHUpdate(1), 1);
    EXPECT_EQ(Received().size(), 2u);  // the first answer came with the second
    EXPECT_EQ(arm1.head.headA, 30);
}

TEST_F(HeadTest, StartUpResults) {
    for (const char *const unknown : {"LPT1", ""}) EXPECT_EQ(FailToOpen(unknown), 1038);
    EXPECT_EQ(FailToOpen("COM3"), 527);  // taken by the arm itself
    VirtualPort &port = VirtualPort::Number(kHeadPort);
    port.present = false;
    EXPECT_EQ(FailToOpen(), 527);
    port.present = true;
    port.writeSpace = 2;  // for the first "S" only
    EXPECT_EQ(FailToOpen(), 527);
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    port.writeSpace = UINT32_MAX;
    const uintptr_t taken = platform::StartWindowTimer(nullptr, 10, [](bool) { return true; });
    EXPECT_EQ(FailToOpen(), 771);
    platform::StopWindowTimer(nullptr, taken);
    head.FailNext('E');
    EXPECT_EQ(Open(), 0);  // a head that answers with an error is no failure
    EXPECT_EQ(controller.Commands().at(300), 1);
    head.options.silent = true;
    Received();
    EXPECT_EQ(Open(), 0);  // nor is one that does not answer
    EXPECT_EQ(Received(), Texts(12, "S"));
    EXPECT_EQ(CC_PHMoving(1), 1);
    CC_DONE(1, 2);
    EXPECT_FALSE(port.IsOpen());
}

TEST_F(HeadTest, InSimulationTheRecordAnswers) {
    for (const uint16_t flags : {CC_SIMULATION | CC_SIMULATED_HEAD, +CC_SIMULATED_HEAD}) {
        ASSERT_EQ(CC_INIT(nullptr, 1, nullptr, "COM3", "COM4", 1, 0.001, 1, flags, nullptr), 0);
        EXPECT_EQ(Position().first, 0.0);
        EXPECT_EQ(CC_PHSetPosition(1, 12.34, -7, 0, 0), 1);
        EXPECT_EQ(Position(), std::pair(12.34, -7.0));
        EXPECT_EQ(std::tuple(CC_PHMoving(1), CC_PHUpdate(1), CC_PHMANMODE(1)), std::tuple(0, 1, 0));
        CC_LOOP_RUN(200);
        EXPECT_EQ(arm1.head.headEvent, 0);
        EXPECT_FALSE(arm1.link.ackEvent.IsOpen());
        CC_DONE(1, 2);
    }
    EXPECT_TRUE(Received().empty());
    ASSERT_EQ(OpenSimulated(1), 0);  // without a head, and with nothing of the last one
    EXPECT_EQ(Position(), std::pair(0.0, 0.0));
    EXPECT_EQ(CC_PHSetPosition(1, 12.34, -7, 0, 0), 0);
}

}  // namespace
}  // namespace cc::test
