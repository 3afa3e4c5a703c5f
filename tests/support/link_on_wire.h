// An arm's link on a wire whose far end is the test.
#pragma once

#include "link/link_control.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "support/inside.h"
#include "support/wire.h"

namespace cc::test {

using platform::VirtualPort;
using platform::World;

class OpeningTest : public ArmTest {
  protected:
    static constexpr int32_t kPort = 3;

    Wire wire{kPort};
    VirtualPort &port = VirtualPort::Number(kPort);
};

/// Arm 1 open on a wire, both sequences at 0, nothing under way. The tick is 50 ms, the time-out T 20 ticks.
class LinkTest : public OpeningTest {
  protected:
    void SetUp() override {
        OpeningTest::SetUp();
        // The opening itself goes over the simulator; then the port takes its place.
        ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1\n")), 0);
        arm1.link.simulationMode = false;
        arm1.link.promptLine = IsPrompt();
        if (IsPrompt()) arm1.link.progress.OpenPrivate();
        arm1.link.ackEvent.OpenShared("AckwnoledgeReceived");
        ASSERT_TRUE(arm1.link.port.Configure(kPort, 9600, 'E', 8, 1, 3, 8));
        ASSERT_TRUE(arm1.link.port.Open(8));
        LinkReset(arm1.link);
        arm1.link.queues.replyRead = 0;
        arm1.connection.portOpen = arm1.link.mmTimerRunning = true;
        if (IsPrompt()) StartPromptly(arm1.link);
        wire.Send("09 08");
        wire.Send("06 08");
        arm1.replies.controllerState = 3;
        ASSERT_EQ(wire.Take().back(), Hex("06 08"));
        World::Instance().Pass(1);
    }
    void TearDown() override {
        arm1.link.simulationMode = true;  // closing need not wait for a wire that does not answer
        wire.onFrame = nullptr;
        arm1.link.port.Close();
        OpeningTest::TearDown();
    }

    virtual bool IsPrompt() const { return false; }

    void Queue(const std::string &message, Priority priority = kNormal) {
        const Bytes bytes = Hex(message);
        ASSERT_TRUE(QueueMessage(arm1.link, priority, static_cast<int32_t>(bytes.size()), bytes.data()));
    }
    static void Pass(int milliseconds) { platform::Sleep(static_cast<uint32_t>(milliseconds)); }
    /// Prompt line: a start-link, and its answer.
    void StartAnew() {
        StartPromptly(arm1.link);
        World::Instance().Pass(1);
        EXPECT_EQ(wire.Take().back(), Hex("09 08"));
        wire.Send("06 08");
    }
};

}  // namespace cc::test
