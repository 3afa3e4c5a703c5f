// The link on a port, byte by byte: start, reception, acknowledgement, repetition.
#include "link/link_control.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "support/inside.h"
#include "support/virtual_peer.h"

namespace cc::test {
namespace {

using platform::VirtualPort;
using platform::World;

constexpr int32_t kPort = 3;

uint16_t OpenOnPort(const char *portDef = "COM3", const char *ini = nullptr, uint16_t flags = 0) {
    return CC_INIT(nullptr, 1, Recorder(1), portDef, nullptr, 1, 0.001, 0.5, flags, ini);
}

class OpeningTest : public ArmTest {
  protected:
    void SetUp() override {
        ArmTest::SetUp();
        World::Instance().messageBoxes.clear();
    }
    void TearDown() override {
        VirtualPort::Number(kPort).refuseSettings = false;
        ArmTest::TearDown();
    }
    Wire wire{kPort};
};

TEST_F(OpeningTest, ASilentControllerIsAskedTwelveTimes) {
    EXPECT_EQ(OpenOnPort(), 515);
    ASSERT_EQ(wire.Timed().size(), 12u);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(wire.Timed()[i].bytes, Hex("09 08"));
        EXPECT_EQ(wire.Timed()[i].milliseconds, 500 * i);
    }
    EXPECT_FALSE(VirtualPort::Number(kPort).IsOpen());
    EXPECT_EQ(CC_GETSTATUS(1), -1);
}

TEST_F(OpeningTest, TheWholeStartOnTheWire) {
    // Acknowledges what comes; answers every N00 but the first: controller of type 1, level 16, in state 2.
    int asked = 0;
    wire.onFrame = [&](const Bytes &frame) {
        if (frame == Hex("09 08")) VirtualPort::Number(kPort).Send(Hex("06 08 09 08"));
        if (frame[0] == 3) VirtualPort::Number(kPort).Send(Hex("02 08"));
        if (frame[0] == 4) VirtualPort::Number(kPort).Send(Hex("05 08"));
        if (frame[0] != 3 && frame[0] != 4) return;
        if (++asked == 1) return;
        const std::string answer = " 0F 02 00 01 10 01 01 01 00 00 00 07 07 00 00 00 1D 08";
        // The sum of 0F, 02, 01, 10 and the rest is 1D.
        World::Instance().At(World::Instance().Now() + 5000, [answer, asked] {
            VirtualPort::Number(kPort).Send(Hex((asked % 2 == 0 ? "03" : "04") + answer));
        });
    };
    ASSERT_EQ(OpenOnPort("com3:1200,n,7,2"), 0);
    const Bytes even = Hex("03 04 01 'N' '0' '0' 4B 08"), odd = Hex("04 04 01 'N' '0' '0' 4B 08");
    EXPECT_EQ(wire.Take(),
              (Messages{Hex("09 08"), Hex("06 08"), even, odd, Hex("02 08"), even, Hex("05 08")}));
    EXPECT_EQ(CC_GETSTATUS(1), 2);
    ControllerInfo info{};
    EXPECT_EQ(CC_INFO(1, &info), 1);
    platform::Sleep(100);  // two ticks, for what should not come
    EXPECT_EQ(wire.Take(), (Messages{odd, Hex("02 08")}));
    EXPECT_EQ(info.controllerLevel, 16);
    const platform::LineSettings settings = VirtualPort::Number(kPort).Settings();
    EXPECT_EQ(settings.baud, 9600);
    EXPECT_EQ(settings.parity, 'E');
    EXPECT_EQ(settings.dataBits, 8);
    EXPECT_EQ(settings.stopBits, 1);
    EXPECT_EQ(settings.eventChar, 8);
    EXPECT_EQ(VirtualPort::Number(kPort).ReadTimeoutMs(), 25u);
    EXPECT_EQ(VirtualPort::Number(kPort).WriteTimeoutMs(), 1000u);
    EXPECT_EQ(arm1.motion.maxMovesInFlight, 14);
    EXPECT_TRUE(arm1.connection.ackEvent.IsOpen());
    CC_DONE(1, 2);
    EXPECT_FALSE(VirtualPort::Number(kPort).IsOpen());
    EXPECT_FALSE(arm1.connection.ackEvent.IsOpen());
}

TEST_F(OpeningTest, AHostThatStandsStillStartsTheLinkOnce) {
    wire.onFrame = [](const Bytes &frame) {
        if (frame != Hex("09 08")) return;
        World::Instance().StandStill(20000 * platform::kMillisecond);
        VirtualPort::Number(kPort).Send(Hex("06 08"));
    };
    EXPECT_EQ(OpenOnPort("COM3", IniFile("[Timers]\ntimeout=0\n")), 769);
    const Messages frames = wire.Take();
    EXPECT_EQ(std::count(frames.begin(), frames.end(), Hex("09 08")), 2);  // one, and one after five attempts
}

TEST_F(OpeningTest, FailuresHaveTheirCodes) {
    EXPECT_EQ(OpenOnPort("COM3:9600,q"), 526);
    VirtualPort::Number(kPort).present = false;
    EXPECT_EQ(OpenOnPort(), 527);
    VirtualPort::Number(kPort).present = true;
    VirtualPort::Number(kPort).refuseSettings = true;
    EXPECT_EQ(OpenOnPort(), 527);
    EXPECT_FALSE(VirtualPort::Number(kPort).IsOpen());
    VirtualPort::Number(kPort).refuseSettings = false;
    // The link starts, but nothing answers N00: five waits of 6 s, the last after a restart of the link.
    wire.onFrame = [](const Bytes &frame) {
        if (frame == Hex("09 08")) VirtualPort::Number(kPort).Send(Hex("06 08"));
    };
    EXPECT_EQ(OpenOnPort(), 769);
    EXPECT_EQ(arm1.queues.sendWrite, 6);  // once, four times again, once more on the new link
    EXPECT_FALSE(VirtualPort::Number(kPort).IsOpen());
    EXPECT_EQ(CC_LOOP_RUN(500), 0);
    EXPECT_FALSE(arm1.connection.ackEvent.IsOpen());
    CC_DONE(1, 0);
}

/// Arm 1 open on a wire, both sequences at 0, nothing under way. The tick is 50 ms, the time-out T 20 ticks.
class LinkTest : public OpeningTest {
  protected:
    void SetUp() override {
        OpeningTest::SetUp();
        // The opening itself goes over the simulator; then the port takes its place.
        ASSERT_EQ(OpenSimulated(1, IniFile("[Timers]\ntimeout=1\n")), 0);
        arm1.connection.simulationMode = 0;
        arm1.connection.ackEvent.OpenShared("AckwnoledgeReceived");
        ASSERT_EQ(arm1.port.Configure(kPort, 9600, 'E', 8, 1, 3, 8), 1);
        ASSERT_EQ(arm1.port.Open(8), 1);
        LinkReset(arm1);
        arm1.queues.replyRead = 0;
        arm1.connection.portOpen = arm1.connection.mmTimerRunning = 1;
        wire.Send("09 08");
        wire.Send("06 08");
        arm1.replies.controllerState = 3;
        ASSERT_EQ(wire.Take(), Messages{Hex("06 08")});
        World::Instance().Pass(1);
    }
    void TearDown() override {
        arm1.connection.simulationMode = 1;  // closing need not wait for a wire that does not answer
        wire.onFrame = nullptr;
        VirtualPort::Number(kPort).writeSpace = UINT32_MAX;
        arm1.port.Close();
        OpeningTest::TearDown();
    }

    void Queue(const std::string &message, uint16_t priority = kNormal) {
        const Bytes bytes = Hex(message);
        ASSERT_EQ(QueueMessage(arm1, priority, static_cast<int32_t>(bytes.size()), bytes.data()), 0);
    }
    Messages Delivered() { return TakeReplies(arm1); }
    static void Pass(int milliseconds) { platform::Sleep(static_cast<uint32_t>(milliseconds)); }
};

TEST_F(LinkTest, ReceptionByFrame) {
    std::string longest, tooLong;
    for (int i = 0; i < 97; ++i) longest += " 20";
    for (int i = 0; i < 98; ++i) tooLong += " 20";
    const struct {
        const char *name;
        std::string sent;
        int32_t rx;  // sequence expected before
        Messages answer, delivered;
        int32_t rxAfter;
    } kCases[] = {
        {"data", "03 04 01 'N' '0' '0' 4B 08", 0, {Hex("02 08")}, {Hex("04 01 'N' '0' '0'")}, 1},
        {"repetition", "03 04 01 'N' '0' '0' 4B 08", 1, {}, {}, 1},
        {"data of sequence 1", "04 02 01 00 03 08", 1, {Hex("05 08")}, {Hex("02 01 00")}, 0},
        {"stuffed", "03 03 1B 28 1B 3B 01 11 08", 0, {Hex("02 08")}, {Hex("03 08 1B 01")}, 1},
        {"stuffed checksum", "04 1B 28 00 1B 28 08", 1, {Hex("05 08")}, {Hex("08 00")}, 0},
        {"wrong checksum", "03 04 01 'N' '0' '0' 4C 08", 0, {Hex("01 08")}, {}, 0},
        {"before the start-link", "03 02 01 00 03 08", -1, {Hex("01 08")}, {}, -1},
        {"two bytes", "03 08", 0, {Hex("01 08")}, {}, 0},
        {"empty message", "03 00 08", 0, {Hex("02 08")}, {}, 1},
        {"97 bytes, sum 20", "03" + longest + " 20 08", 0, {Hex("02 08")}, {Hex(longest)}, 1},
        {"101 bytes", "03" + tooLong + " 00 08", 0, {Hex("01 08")}, {}, 0},
        {"start-link", "09 08", 1, {Hex("06 08")}, {}, 0},
        {"terminator alone", "08", 0, {Hex("01 08")}, {}, 0},
        {"undefined", "07 08", 0, {Hex("01 08")}, {}, 0},
        {"undefined", "FF 01 02 08", 0, {Hex("01 08")}, {}, 0},
        {"stray acknowledgement", "02 08", 0, {}, {}, 0},
        {"line error", "01 08", 0, {}, {}, 0},
    };
    for (const auto &c : kCases) {
        arm1.link.rxSequence = c.rx;
        wire.Take();
        wire.Send(c.sent);
        EXPECT_EQ(wire.Take(), c.answer) << c.name;
        EXPECT_EQ(Delivered(), c.delivered) << c.name;
        EXPECT_EQ(arm1.link.rxSequence, c.rxAfter) << c.name;
    }
    EXPECT_EQ(arm1.link.txSequence, 0);
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
    EXPECT_EQ(arm1.link.statistics.framesDelivered, 5u);
}

TEST_F(LinkTest, AFrameWithoutTerminatorIsALineErrorOnceTheLineIsQuiet) {
    ProcessFrame(arm1, Hex("03 02 01 00 03").data(), 5);
    ProcessFrame(arm1, Hex("03").data(), 1);
    ProcessFrame(arm1, Hex("03 02 1B").data(), 3);
    Pass(1);
    EXPECT_EQ(wire.Take(), (Messages{Hex("01 08"), Hex("01 08"), Hex("01 08")}));
    EXPECT_TRUE(Delivered().empty());
}

TEST_F(LinkTest, OnTheWayToStatusZeroAloneTheInputIsDiscarded) {
    // In that state already: nothing is sent. Half of a frame has come before, the rest comes after.
    for (const auto &[status, state] : {std::pair{0, 1}, {1, 3}, {5, 2}}) {
        arm1.link.rxSequence = 0;
        arm1.replies.controllerState = state;
        wire.Send("03 02 01");
        EXPECT_EQ(CC_SETSTATUS(1, static_cast<int16_t>(status)), 1);
        wire.Send("00 03 08");
        EXPECT_EQ(Delivered().size(), status == 0 ? 0u : 1u) << status;
    }
}

TEST_F(LinkTest, FramesThatComeTogetherAreOneEvent) {
    VirtualPort::Number(kPort).SendTogether(Hex("03 02 01 00 03 08 04 02 02 00 00 08"));
    EXPECT_EQ(Delivered(), Messages{Hex("02 01 00")});
    wire.Send("03 02 03 00 01 08");  // brings the event for the second frame
    EXPECT_EQ(Delivered(), Messages{Hex("02 02 00")});
}

TEST_F(LinkTest, AReplyIsPublishedOnlyWithItsAcknowledgement) {
    VirtualPort::Number(kPort).writeSpace = 0;
    wire.Send("03 02 01 00 03 08");
    EXPECT_TRUE(Delivered().empty());
    EXPECT_EQ(arm1.link.rxSequence, 0);
    VirtualPort::Number(kPort).writeSpace = UINT32_MAX;
    wire.Send("03 02 01 00 03 08");
    EXPECT_EQ(Delivered(), Messages{Hex("02 01 00")});
}

TEST_F(LinkTest, ControlFramesThatCannotBeWrittenAreShown) {
    VirtualPort::Number(kPort).writeSpace = 0;
    wire.Send("09 08");
    wire.Send("07 08");
    wire.Send("03 00 01 08");  // a line error for data goes without a box
    EXPECT_EQ(World::Instance().messageBoxes,
              (std::vector<std::string>{"Error on send Start Link Control Message",
                                        "Error on send Line Error Control Message"}));
}

TEST_F(LinkTest, AFullReplyQueueIsALineError) {
    for (int i = 0; i < kReplySlots; ++i) arm1.queues.replyQueue[i].Publish(3);
    wire.Send("03 02 01 00 03 08");
    EXPECT_EQ(wire.Take(), Messages{Hex("01 08")});
    EXPECT_EQ(arm1.link.rxSequence, 0);
}

TEST_F(LinkTest, MessagesTravelOneATick) {
    Queue("02 08 1B");
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 02 1B 28 1B 3B 11 08")});
    wire.Send("05 08");  // of the other sequence
    EXPECT_EQ(arm1.link.txSequence, 0);
    wire.Send("02 08");
    EXPECT_TRUE(arm1.connection.ackEvent.Wait(0));
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{Hex("04 04 01 'N' '0' '0' 4B 08")});
    wire.Send("05 08");
    EXPECT_EQ(arm1.link.txSequence, 0);
    Pass(5000);
    EXPECT_TRUE(wire.Take().empty());
}

TEST_F(LinkTest, ASilentControllerBringsTheLinkDownAndUpAgain) {
    Queue("04 01 'N' '0' '0'");
    const Bytes frame = Hex("03 04 01 'N' '0' '0' 4B 08");
    wire.Clear();
    Pass(50 * 120);
    std::vector<int64_t> ticks;
    for (const Wire::Frame &sent : wire.Timed()) {
        ticks.push_back(sent.milliseconds / 50);
        EXPECT_EQ(sent.bytes, ticks.size() <= 4 ? frame : Hex("09 08"));
    }
    // Four transmissions T apart; down at the next expiry; start-links from the tick after that on.
    const int64_t first = ticks.front();
    EXPECT_EQ(ticks,
              (std::vector<int64_t>{first, first + 20, first + 40, first + 60, first + 81, first + 101}));
    EXPECT_EQ(arm1.link.awaitingStartAck, 1u);
    wire.Take();
    wire.Send("06 08");
    EXPECT_EQ(arm1.link.awaitingStartAck, 0u);
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{frame});
    EXPECT_EQ(arm1.link.statistics.framesGivenUp, 1u);
}

TEST_F(LinkTest, AFrameThatTheLineTookAPartOfIsFinishedFirst) {
    VirtualPort::Number(kPort).writeSpace = 3;
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    VirtualPort::Number(kPort).writeSpace = UINT32_MAX;
    Pass(1000);
    EXPECT_EQ(wire.Take(), Messages(2, Hex("03 04 01 'N' '0' '0' 4B 08")));
}

TEST_F(LinkTest, AnAcknowledgementCountsForAFrameThatWasSent) {
    Queue("04 01 'N' '0' '0'");
    wire.Send("02 08");  // before it went out
    Pass(50);
    wire.Send("06 08");  // the second answer to a start-link
    wire.Send("02 08");
    Pass(3000);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 04 01 'N' '0' '0' 4B 08")});
    EXPECT_EQ(arm1.link.txSequence, 1);
}

// The answer comes a millisecond after the frame, while the host stands still: alone, behind another frame, and
// behind more that came together.
TEST_F(LinkTest, AHostThatStoodStillReceivesBeforeItCountsTime) {
    for (const int milliseconds : {60, 500, 2000, 5000, 20000}) {
        for (const char *const before : {"", "01 09 08 ", "09 08 09 08 09 08 "}) {
            arm1.link.txSequence = 0;
            wire.Take();
            wire.onFrame = [&](const Bytes &frame) {
                if (frame[0] != 3) return;
                World &world = World::Instance();
                world.StandStill(milliseconds * platform::kMillisecond);
                world.At(world.Now() + 1000, [before] {
                    VirtualPort::Number(kPort).SendTogether(Hex(before + std::string("02 08")));
                });
            };
            EXPECT_EQ(CC_FEED(1, 5), 1) << milliseconds << before;
            Pass(5000);
            const Messages frames = wire.Take();
            EXPECT_EQ(
                std::count(frames.begin(), frames.end(), Hex("03 09 01 'F' '3' '4' 'F' 05 00 00 00 0A 08")),
                1)
                << milliseconds << before;
            EXPECT_EQ(std::count(frames.begin(), frames.end(), Hex("09 08")), 0) << milliseconds << before;
        }
    }
    // Before the frame went out.
    wire.onFrame = [](const Bytes &frame) {
        if (frame[0] == 3 || frame[0] == 4)
            VirtualPort::Number(kPort).Send(Hex(frame[0] == 3 ? "02 08" : "05 08"));
    };
    World::Instance().StandStill(20000 * platform::kMillisecond);
    EXPECT_EQ(CC_FEED(1, 5), 1);
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
}

TEST_F(LinkTest, ALineErrorRepeatsAtTheNextTickAndCounts) {
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    for (int i = 0; i < 3; ++i) {
        wire.Send("01 08");
        Pass(50);
    }
    EXPECT_EQ(wire.Take().size(), 4u);
    wire.Send("01 08");
    Pass(50);
    EXPECT_EQ(arm1.link.txSequence, -1);
}

TEST_F(LinkTest, APriorityMessageOvertakesAtTheNextExpiry) {
    Queue("04 01 'S' '1' '5'");
    Pass(50);
    Queue("04 01 'P' '0' '2'", kPriority);
    Pass(50 * 20);
    EXPECT_EQ(wire.Take(), (Messages{Hex("03 04 01 'S' '1' '5' 52 08"), Hex("03 04 01 'P' '0' '2' 57 08")}));
    wire.Send("02 08");
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{Hex("04 04 01 'S' '1' '5' 52 08")});
    wire.Send("05 08");
    EXPECT_EQ(arm1.queues.priorityRead, 1);
    EXPECT_EQ(arm1.link.priorityInFlight, 0u);
}

TEST_F(LinkTest, WithoutAcknowledgementTheOperatorSeesABox) {
    const struct {
        std::function<int()> call;
        int result;
    } kCases[] = {{[] { return CC_NCONOFF(1, 1); }, 1},   {[] { return CC_OPBUF(1, 1); }, 1},
                  {[] { return CC_SETSTATUS(1, 5); }, 1}, {[] { return CC_FEED(1, 1); }, 0},
                  {[] { return CC_GETCOORD(1); }, 0},     {[] { return CC_ENDIS_TP200(1, 1); }, 0}};
    for (const auto &c : kCases) {
        World::Instance().messageBoxes.clear();
        const int64_t before = World::Instance().Now();
        EXPECT_EQ(c.call(), c.result);
        EXPECT_EQ(World::Instance().messageBoxes, std::vector<std::string>{" No ACK Received "});
        EXPECT_EQ(World::Instance().Now() - before, 3000 * platform::kMillisecond);
    }
    const int64_t before = World::Instance().Now();
    EXPECT_EQ(CC_NCONWAITSTART(1, 1), 0);
    EXPECT_EQ(World::Instance().Now() - before, 10000 * platform::kMillisecond);
    // Where nothing is sent there is no acknowledgement to wait for.
    World::Instance().messageBoxes.clear();
    arm1.replies.controllerState = 7;
    EXPECT_EQ(CC_GETCOORD(1), 1);
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
}

TEST_F(LinkTest, AnUnacknowledgedMoveIsNotQueuedTwice) {
    const double position[6] = {1, 2, 3};
    CC_MOVEINCR(1, position, 0, 0);
    EXPECT_EQ(CC_MOVING(1), 1);
    CC_LOOP_RUN(50);  // the flush waits 3 s
    CC_LOOP_RUN(50);
    EXPECT_EQ(World::Instance().messageBoxes.size(), 2u);
    EXPECT_EQ(arm1.queues.sendWrite, NextIndex(arm1.queues.sendRead, kSendSlots));
    EXPECT_EQ(arm1.motion.movesInFlight, 0);
    // The acknowledgement comes while nobody waits; the next flush sees it without waiting.
    arm1.queues.sendQueue[arm1.queues.sendRead].data[0] = 3;
    arm1.link.txSequence = 0;
    wire.Send("02 08");
    arm1.connection.ackEvent.Wait(0);
    CC_LOOP_RUN(50);
    EXPECT_EQ(World::Instance().messageBoxes.size(), 2u);
    EXPECT_EQ(arm1.motion.movesInFlight, 1);
    EXPECT_EQ(CC_MOVING(1), 1);
}

TEST_F(LinkTest, FramesThatFitNoSlotAreRefused) {
    Bytes message(126, 8);  // 252 stuffed bytes, type, sum 00 and terminator: 255
    EXPECT_EQ(QueueMessage(arm1, kNormal, 126, message.data()), 0);
    message.resize(128, 8);
    EXPECT_EQ(QueueMessage(arm1, kNormal, 128, message.data()), -1);
    EXPECT_EQ(QueueMessage(arm1, kNormal, -1, message.data()), -1);
    EXPECT_EQ(QueueMessage(arm1, kNormal, 0, message.data()), 0);
    EXPECT_EQ(arm1.queues.sendQueue[arm1.queues.sendWrite - 1].length, 3);
}

}  // namespace
}  // namespace cc::test
