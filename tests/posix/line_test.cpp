// The shipped library on pseudo-terminals, with real threads at both ends.
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <thread>

#include "controller.h"
#include "head.h"
#include "line_host.h"
#include "pseudo_terminal.h"
#include "support/client.h"
#include "support/port_folder.h"

namespace cc::test {
namespace {

using namespace emulator;

class PosixLine : public testing::Test {
  protected:
    void SetUp() override {
        CC_SET_MESSAGE_BOX([](const char *, void *) {}, nullptr);
    }
    void TearDown() override {
        CloseAll();
        StopHost();
        CC_SET_MESSAGE_BOX(nullptr, nullptr);
    }

    static ControllerOptions Quick() {
        ControllerOptions options;
        options.link.ackTimeout = 100 * kMillisecond;
        options.link.frameGap = 4 * kMillisecond;
        options.replyDelay = kMillisecond;
        options.zeroingTime = 50 * kMillisecond;
        return options;
    }

    /// Serves `count` controllers on COM1 and COM2.
    void Serve(int count, const ControllerOptions &options, decltype(Controller::onFrame) onFrame = nullptr) {
        for (int i = 0; i < count; ++i) {
            PseudoTerminal &terminal = terminals[i];
            terminal.LinkAs(folder.path, i + 1);
            Controller &controller = controllers.emplace_back(options);
            controller.onFrame = onFrame;
            host.Add(controller, terminal.Descriptor(), 0, [&terminal] { terminal.Unplug(); });
        }
        thread = std::thread([this] { host.Run(stop); });
    }
    void StopHost() {
        stop = true;
        if (thread.joinable()) thread.join();
    }

    static uint16_t Open(int16_t arm, const char *headPort = nullptr, bool extendedStart = true) {
        const char *const ini =
            IniFile("[Timers]\nLo Period=1\nHi Period=5\ntimeout=2\nPH9 timeout=2\n", arm);
        return CC_INIT(nullptr, arm, Recorder(arm), arm == 1 ? "COM1" : "COM2", headPort,
                       extendedStart ? 1 : 0, 0.0001, 1, 0, ini);
    }

    PortFolder folder;
    PseudoTerminal terminals[3];
    std::deque<Controller> controllers;
    Head head{HeadOptions{.speed = 720, .answerDelay = 5 * kMillisecond}};
    LineHost host;
    std::atomic<bool> stop{false};
    std::thread thread;
};

TEST_F(PosixLine, BothArmsProbeWhileTheHeadTurns) {
    ControllerOptions options = Quick();
    options.part = std::make_shared<SpherePart>();
    options.speed = options.probingSpeed = 1000;
    terminals[2].LinkAs(folder.path, 3);
    host.Add(head, terminals[2].Descriptor(), 0, [this] { terminals[2].Unplug(); });
    Serve(2, options);
    for (const int16_t arm : {1, 2}) {
        ASSERT_EQ(Open(arm, arm == 1 ? "COM3" : nullptr), CC_OK);
        ASSERT_EQ(CC_SETSTATUS(arm, 1), 1);
    }
    const double above[6] = {100, 80, 75, 0, 0, -1};
    const double inside[6] = {100, 80, 60, 0, 0, -1};
    for (uint32_t id = 1; id <= 10; ++id) {
        for (const int16_t arm : {1, 2}) {
            while (CC_CANSEND(arm, 3) == 0) CC_LOOP_RUN(5);
            CC_MOVE(arm, 0, above, 0, 0, nullptr, nullptr, 0);
            CC_MOVE(arm, 2, inside, id, 1, nullptr, nullptr, 0);
            CC_MOVE(arm, 0, above, 0, 0, nullptr, nullptr, 0);
        }
        CC_LOOP_RUN(5);
        EXPECT_EQ(CC_PHSetPosition(1, 7.5 * id, -7.5 * id, 0, 0), 1) << id;
        double a = 0, b = 0;
        CC_PHGetPosition(1, &a, &b);
        EXPECT_EQ(std::pair(a, b), std::pair(7.5 * id, -7.5 * id));
    }
    const auto done = [] { return EventsOf(1, 16).size() == 30 && EventsOf(2, 16).size() == 30; };
    for (int i = 0; i < 6000 && !done(); ++i) CC_LOOP_RUN(5);
    for (const int arm : {1, 2}) {
        ASSERT_EQ(EventsOf(arm, 5).size(), 10u);
        EXPECT_NEAR(EventsOf(arm, 5)[0].point.position[2], 65, 0.001);
        EXPECT_EQ(EventsOf(arm, 5)[9].point.tag, 10u);
    }
}

TEST_F(PosixLine, EmergencyOfAnotherThreadOvertakesTheWaitsOfItsArm) {
    ControllerOptions options = Quick();
    options.emergencyTime = 20 * kMillisecond;
    // Once while a call waits for the status that it ordered, once while the closing waits.
    std::atomic<int> ordered{0};
    Serve(1, options, [&ordered](int64_t, Direction direction, const Bytes &frame) {
        const std::string text(frame.begin(), frame.end());
        const bool isOrder = text.find("S73") != std::string::npos || text.find("P12") != std::string::npos;
        if (direction == Direction::ToController && isOrder) ordered += CC_EMERGENCY(1, 5);
    });
    ASSERT_EQ(Open(1), CC_OK);
    CC_SETSTATUS(1, CC_ORDER_MEASURING);
    for (int i = 0; i < 400 && CC_GETSTATUS(1) != CC_STATUS_READY; ++i) CC_LOOP_RUN(5);  // the worker's doing
    EXPECT_EQ(EventsOf(1, CC_EVENT_EMERGENCY).size(), 1u);
    CC_DONE(1, CC_SHUTDOWN_P12);
    EXPECT_EQ(ordered + CC_EMERGENCY(1, 5), 2);  // none on a closed arm
    StopHost();
    EXPECT_EQ(controllers[0].Commands().at(300), 2);
}

TEST_F(PosixLine, EmergenciesOfManyThreadsAreExecutedOnceEach) {
    Serve(1, Quick());
    // With an extended start none goes out in emergency.
    ASSERT_EQ(Open(1, nullptr, false), CC_OK);
    std::atomic<int> ordered{0};
    const auto order = [&ordered] {
        while (ordered < 100) ordered += CC_EMERGENCY(1, 5);  // 0 while ten wait
    };
    std::thread second(order), third(order);
    while (ordered < 100) CC_LOOP_RUN(1);
    second.join();
    third.join();
    for (int i = 0; i < 2000 && CC_READTEMP(1) == 0; ++i) CC_LOOP_RUN(5);
    CC_DONE(1, CC_SHUTDOWN_READY);
    StopHost();
    EXPECT_EQ(controllers[0].Commands().at(300), ordered);
}

TEST_F(PosixLine, ClosesWhileDataPoursIn) {
    Serve(1, Quick());
    ASSERT_EQ(Open(1), CC_OK);
    StopHost();
    std::atomic<bool> pouring{true};
    // Frames, halves of frames and noise, without a pause.
    std::thread flood([this, &pouring] {
        const Bytes noise = Hex("09 08 03 02 01 00 03 08 55 AA 1B 08 08 03 04 FF 00");
        while (pouring) {
            pollfd room{terminals[0].Descriptor(), POLLOUT, 0};
            poll(&room, 1, 10);
            terminals[0].Write(noise.data(), noise.size());
        }
    });
    CC_LOOP_RUN(200);
    CC_DONE(1, 2);  // ends, although nobody takes what the host answers
    pouring = false;
    flood.join();
    EXPECT_EQ(CC_GETSTATUS(1), -1);
}

}  // namespace
}  // namespace cc::test
