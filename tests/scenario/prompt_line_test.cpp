// What the prompt line does better: it waits for nothing but the wire, gives nothing twice, and tells of a loss in order.
#include "link/link_control.h"
#include "support/emulated_session.h"

namespace cc::test {
namespace {

using namespace emulator;
using platform::World;

const char kUsual[] = "Lo Period=50\nHi Period=50\n";

/// Arm 1 in measuring state on a prompt line. With "Lo Period" and "Hi Period" 1000 what waits for a clock is seen.
class PromptLineTest : public ArmTest {
  protected:
    static uint16_t Open(const char *timers) {
        const std::string text = std::string("[Timers]\nLine mode=1\n") + timers;
        return CC_INIT(nullptr, 1, Recorder(1), "COM3", nullptr, 1, kScale, 1, 0, IniFile(text.c_str()));
    }
    static void Measure(const char *timers = "Lo Period=1000\nHi Period=1000\n") {
        ControllerInfo info{};
        ASSERT_EQ(Open(timers), 0);
        ASSERT_EQ(CC_START(1, &info, 0), 1);
        ASSERT_EQ(CC_SETSTATUS(1, 1), 1);
        Events(1).clear();
    }
    static void FileMoves(int count) {
        const double position[6] = {0.001, 0, 0, 0, 0, 0};
        for (int i = 0; i < count; ++i) CC_MOVE(1, 0, position, 0, 0, nullptr, nullptr, 0);
    }
    /// Events of the link and of rejections, as numbers with their info.
    static std::string Story() {
        std::string text;
        for (const Event &event : Events(1)) {
            if (event.number == 1 || event.number == 8)
                text += std::to_string(event.number) + "/" + std::to_string(event.info) + " ";
        }
        return text;
    }
    static int32_t Moves(const Controller &controller) {
        const auto moves = controller.Commands().find(201);
        return moves == controller.Commands().end() ? 0 : moves->second;
    }
    static double MillisecondsOf(const std::function<void()> &act) {
        const double begin = Seconds();
        act();
        return 1000 * (Seconds() - begin);
    }
};

TEST_F(PromptLineTest, ACommandTakesTheTimeOfItsBytes) {
    ControllerOptions options = WithSphere();
    options.link.frameGap = options.replyDelay = 0;
    Controller controller(options);
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure());
    uint16_t words[2];
    // I00 is 8 bytes, its acknowledgement 2, the reply 10; the acknowledgement of the reply before may be under way,
    // another 2. A byte is 1.146 ms.
    const double took = MillisecondsOf([&] { EXPECT_EQ(CC_IO(1, 1, words), 1); });
    EXPECT_GT(took, 19.5 * 1.146);
    EXPECT_LT(took, 22.5 * 1.146);
    // The worker runs when the reply is there, not a period later, and only then.
    FileMoves(1);
    int64_t last = 0;
    controller.onFrame = [&](int64_t at, Direction direction, const Bytes &) {
        if (direction == Direction::ToHost) last = at;
    };
    for (int i = 0; i < 3000 && EventsOf(1, 16).empty(); ++i) CC_LOOP_RUN(1);
    ASSERT_EQ(EventsOf(1, 16).size(), 1u);
    EXPECT_LT(1e6 * Seconds() - static_cast<double>(last), 20 * 1146 + 1000);
}

TEST_F(PromptLineTest, TheWireIsNeverIdleWhileAMoveMayBeSent) {
    ControllerOptions options = WithSphere();
    options.link.frameGap = options.replyDelay = 0;
    options.speed = 1e6;
    Controller controller(options);
    int64_t acknowledged = 0, longest = 0;
    int frames = 0;
    controller.onFrame = [&](int64_t at, Direction direction, const Bytes &frame) {
        const bool data = frame[0] == 3 || frame[0] == 4;
        if (direction == Direction::ToHost && !data) acknowledged = at + 2 * kByteTimeController;
        if (direction != Direction::ToController || !data) return;
        const int64_t first = at - static_cast<int64_t>(frame.size()) * kByteTimeController;
        if (++frames > 1) longest = std::max(longest, first - acknowledged);
    };
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure());
    frames = 0;
    longest = 0;
    FileMoves(60);
    for (int i = 0; i < 1000 && EventsOf(1, 16).size() < 60; ++i) CC_LOOP_RUN(10);
    EXPECT_EQ(EventsOf(1, 16).size(), 60u);
    EXPECT_EQ(frames, 60);
    // The acknowledgements of the host, two bytes each, go over the same wire.
    EXPECT_LE(longest, 5 * kByteTimeController);
}

TEST_F(PromptLineTest, ALossAndAReturnAreToldAtOnce) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure());
    int64_t answered = 0;
    controller.onFrame = [&](int64_t at, Direction, const Bytes &frame) {
        if (frame[0] == 6) answered = at;
    };
    CC_LOOP_RUN(10);
    ForceLinkDown(arm1.link);
    CC_LOOP_RUN(1);
    EXPECT_EQ(Story(), "1/257 ");
    for (int i = 0; i < 3000 && Events(1).size() < 2; ++i) CC_LOOP_RUN(1);
    EXPECT_EQ(Story(), "1/257 1/1 ");
    EXPECT_LT(1e6 * Seconds() - static_cast<double>(answered), 2 * kByteTimeController + 2000);
}

// The controller is silent from a frame on, for longer than four transmissions.
TEST_F(PromptLineTest, AMoveThatIsGivenUpTakesAllBehindItAlong) {
    int rejected = 0;
    for (int from = 1; from <= 20; ++from) {
        ForgetSessions();
        Controller controller(WithSphere());
        const VirtualPeer peer(kPort, controller);
        ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
        const int32_t before = Moves(controller);
        const int now = controller.Faults().Frames(Direction::ToController);
        controller.Faults().Add(ParseFault("to-controller:silence=4500@" + std::to_string(now + from)));
        FileMoves(10);
        CC_LOOP_RUN(15000);
        const auto done = static_cast<int32_t>(EventsOf(1, 16).size());
        const std::string story = Story();
        const bool lost = story == "1/257 8/257 1/1 ";
        EXPECT_TRUE(lost || story.empty() || story == "1/257 1/1 ") << from << ": " << story;
        rejected += lost ? 1 : 0;
        EXPECT_EQ(lost, done < 10) << from << ": " << story;
        EXPECT_EQ(EventsOf(1, 8).size(), lost ? 1u : 0u) << from << ": " << story;
        const int32_t executed = Moves(controller) - before;
        EXPECT_TRUE(executed == done || (lost && executed == done + 1))
            << from << ": " << executed << " " << story;
        EXPECT_EQ(CC_MOVING(1), 0) << from;
        // The arm works on.
        Events(1).clear();
        FileMoves(3);
        CC_LOOP_RUN(3000);
        EXPECT_EQ(EventsOf(1, 16).size(), 3u) << from << Story();
        CC_DONE(1, 2);
    }
    EXPECT_GT(rejected, 5);
}

TEST_F(PromptLineTest, ACommandThatFailedIsNotExecutedLater) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
    const int now = controller.Faults().Frames(Direction::ToController);
    const auto commands = controller.Commands();
    controller.Faults().Add(ParseFault("to-controller:silence=9000@" + std::to_string(now + 1)));
    EXPECT_EQ(CC_FEED(1, 5), 0);  // sent, never acknowledged
    EXPECT_EQ(CC_FEED(1, 6), 0);  // given up by then
    EXPECT_EQ(CC_FEED(1, 7), 0);  // never sent, the link is down
    CC_LOOP_RUN(15000);
    EXPECT_EQ(Story(), "1/257 1/1 ");
    EXPECT_EQ(controller.Commands(), commands);
    EXPECT_EQ(CC_FEED(1, 8), 1);
    EXPECT_EQ(controller.Commands().at(734), 1);
    World::Instance().messageBoxes.clear();
}

TEST_F(PromptLineTest, ADeviceThatComesBackIsTakenUp) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
    platform::VirtualPort &port = platform::VirtualPort::Number(kPort);
    FileMoves(10);
    World::Instance().At(World::Instance().Now() + 100 * platform::kMillisecond,
                         [&port] { port.present = false; });
    CC_LOOP_RUN(3000);
    EXPECT_EQ(Story(), "1/257 8/257 ");
    EXPECT_FALSE(port.IsOpen());
    FileMoves(1);  // the worker waits for its acknowledgement, over and over
    Messages frames;
    controller.onFrame = [&frames](int64_t, Direction direction, const Bytes &frame) {
        if (direction == Direction::ToController) frames.push_back(frame);
    };
    port.present = true;
    CC_LOOP_RUN(10000);
    EXPECT_TRUE(port.IsOpen());
    // What has broken off is ended before the start-link: "03 09" and "09 08" would be a frame.
    EXPECT_EQ(frames.at(0), Hex("04 1D FF 'G' '0' '1' 'X' 0A 00 00 00 'Y' 00 00 00 08"));
    EXPECT_EQ(frames.at(1), Hex("09 08"));
    EXPECT_EQ(Story(), "1/257 8/257 1/1 ");
    uint16_t words[2];
    EXPECT_EQ(CC_IO(1, 1, words), 1);
}

TEST_F(PromptLineTest, ADeviceThatComesBackIsTakenUpByCallsThatOnlyWait) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
    platform::VirtualPort &port = platform::VirtualPort::Number(kPort);
    uint16_t words[2];
    for (const bool lostForLong : {false, true}) {
        port.present = false;
        World::Instance().Pass((lostForLong ? 3602 : 2) * kSecond);
        EXPECT_EQ(CC_IO(1, 1, words), 0);
        if (lostForLong) CC_LOOP_RUN(3'602'000);
        port.present = true;
        int calls = 1;
        while (CC_IO(1, 1, words) == 0 && calls < 10) ++calls;
        // After an hour of tries it stays away.
        EXPECT_EQ(calls, lostForLong ? 10 : 1);
    }
}

TEST_F(PromptLineTest, ACommandThatTheLineNeverTookLeavesNothingBehind) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    ASSERT_NO_FATAL_FAILURE(Measure("timeout=1\n"));
    platform::VirtualPort &port = platform::VirtualPort::Number(kPort);
    uint16_t words[2];
    port.writeSpace = 0;
    EXPECT_EQ(CC_IO(1, 1, words), 0);
    port.writeSpace = UINT32_MAX;
    for (const int16_t feed : {5, 6}) EXPECT_EQ(CC_FEED(1, feed), 1);
    CC_LOOP_RUN(5000);
    EXPECT_EQ(controller.Commands().at(734), 2);
    EXPECT_EQ(controller.Commands().count(900), 0u);
    EXPECT_EQ(arm1.link.statistics.framesRepeated, 0u);
    port.writeSpace = 0;
    EXPECT_EQ(CC_IO(1, 1, words), 0);
    port.writeSpace = UINT32_MAX;
    EXPECT_EQ(CC_IO(1, 1, words), 1);
}

TEST_F(PromptLineTest, ASystemThatRefusesTheEventOnlyMakesItWaitInSteps) {
    Controller controller(WithSphere());
    const VirtualPeer peer(kPort, controller);
    World::Instance().callsUntilFailure =
        1;  // the acknowledgement event is the first, that of progress the second
    ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
    EXPECT_FALSE(arm1.link.progress.IsOpen());
    uint16_t words[2];
    EXPECT_EQ(CC_IO(1, 1, words), 1);
    EXPECT_EQ(CC_FEED(1, 1), 1);
    EXPECT_EQ(CC_GETCOORD(1), 1);
}

// As a host does, which drops a repeated frame without a word.
TEST_F(PromptLineTest, WorksWithAControllerThatIgnoresRepetitions) {
    ControllerOptions options = WithSphere();
    options.link.ignoresRepetitions = true;
    for (const char *const fault :
         {"to-controller:drop", "to-host:drop", "to-host:corrupt", "to-controller:repeat"}) {
        for (int struck = 0; struck <= 60; struck += 3) {
            ForgetSessions();
            Controller controller(options);
            const VirtualPeer peer(kPort, controller);
            ASSERT_NO_FATAL_FAILURE(Measure(kUsual));
            const int32_t before = Moves(controller);
            const bool toHost = fault[3] == 'h';
            const int now = controller.Faults().Frames(toHost ? Direction::ToHost : Direction::ToController);
            if (struck > 0)
                controller.Faults().Add(ParseFault(std::string(fault) + "@" + std::to_string(now + struck)));
            FileMoves(10);
            CC_LOOP_RUN(15000);
            const auto done = static_cast<int32_t>(EventsOf(1, 16).size());
            const int32_t executed = Moves(controller) - before;
            EXPECT_EQ(EventsOf(1, 8).size(), done < 10 ? 1u : 0u) << fault << struck << Story();
            EXPECT_TRUE(executed == done || executed == done + 1) << fault << struck << Story();
            uint16_t words[2];
            EXPECT_EQ(CC_IO(1, 1, words), 1) << fault << struck;
            CC_DONE(1, 2);
            World::Instance().messageBoxes.clear();
        }
    }
}

}  // namespace
}  // namespace cc::test
