// The link on a port, byte by byte: start, reception, acknowledgement, repetition.
#include "support/link_on_wire.h"

namespace cc::test {
namespace {

uint16_t OpenOnPort(const char *portDef = "COM3", const char *ini = nullptr) {
    return CC_INIT(nullptr, 1, Recorder(1), portDef, nullptr, 1, 0.001, 0.5, 0, ini);
}

TEST_F(OpeningTest, TheWholeStartOnTheWire) {
    // Acknowledges what comes; answers every N00 but the first: controller of type 1, level 16, in state 2.
    int asked = 0;
    wire.onFrame = [&](const Bytes &frame) {
        if (frame == Hex("09 08")) port.Send(Hex("06 08 09 08"));
        if (frame[0] != 3 && frame[0] != 4) return;
        port.Send(Hex(frame[0] == 3 ? "02 08" : "05 08"));
        if (++asked == 1) return;
        // The sum of 0F, 02, 01, 10 and the rest is 1D.
        const std::string answer = " 0F 02 00 01 10 01 01 01 00 00 00 07 07 00 00 00 1D 08";
        World::Instance().At(World::Instance().Now() + 5000, [answer, asked, this] {
            port.Send(Hex((asked % 2 == 0 ? "03" : "04") + answer));
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
    const platform::LineSettings settings = port.Settings();
    EXPECT_EQ(
        std::tuple(settings.baud, settings.parity, settings.dataBits, settings.stopBits, settings.eventChar),
        std::tuple(9600, 'E', 8, 1, 8));
    EXPECT_EQ(std::pair(port.ReadTimeoutMs(), port.WriteTimeoutMs()), std::pair(25u, 1000u));
    EXPECT_EQ(arm1.motion.maxMovesInFlight, 14);
    EXPECT_TRUE(arm1.link.ackEvent.IsOpen());
    CC_DONE(1, 2);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_FALSE(arm1.link.ackEvent.IsOpen());
}

TEST_F(OpeningTest, AHostThatStandsStillStartsTheLinkOnce) {
    wire.onFrame = [this](const Bytes &frame) {
        if (frame != Hex("09 08")) return;
        World::Instance().StandStill(20000 * platform::kMillisecond);
        port.Send(Hex("06 08"));
    };
    EXPECT_EQ(OpenOnPort("COM3", IniFile("[Timers]\ntimeout=0\n")), 769);
    const Messages frames = wire.Take();
    EXPECT_EQ(std::count(frames.begin(), frames.end(), Hex("09 08")), 2);  // one, and one after five attempts
}

TEST_F(OpeningTest, FailuresHaveTheirCodes) {
    EXPECT_EQ(OpenOnPort(), 515);  // a silent controller is asked twelve times
    for (size_t i = 0; i < wire.Timed().size(); ++i) {
        EXPECT_EQ(wire.Timed()[i].milliseconds, 500 * static_cast<int64_t>(i));
    }
    EXPECT_EQ(wire.Take(), Messages(12, Hex("09 08")));
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(CC_GETSTATUS(1), -1);
    EXPECT_EQ(OpenOnPort("COM3:9600,q"), 526);
    port.present = false;
    EXPECT_EQ(OpenOnPort(), 527);
    port.present = true;
    port.refuseSettings = true;
    EXPECT_EQ(OpenOnPort(), 527);
    EXPECT_FALSE(port.IsOpen());
    port.refuseSettings = false;
    // The link starts, but nothing answers N00: five waits of 6 s, the last after a restart of the link.
    wire.onFrame = [this](const Bytes &frame) {
        if (frame == Hex("09 08")) port.Send(Hex("06 08"));
    };
    EXPECT_EQ(OpenOnPort(), 769);
    EXPECT_EQ(arm1.link.queues.sendWrite, 6);  // once, four times again, once more on the new link
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(CC_LOOP_RUN(500), 0);
    EXPECT_FALSE(arm1.link.ackEvent.IsOpen());
    CC_DONE(1, 0);
}

/// What holds on a classic and on a prompt line.
class LinkInBothModes : public LinkTest, public testing::WithParamInterface<bool> {
  protected:
    bool IsPrompt() const override { return GetParam(); }
};
INSTANTIATE_TEST_SUITE_P(LineModes, LinkInBothModes, testing::Bool());

TEST_P(LinkInBothModes, ReceptionByFrame) {
    std::string longest;
    for (int i = 0; i < 97; ++i) longest += " 20";
    const std::tuple<const char *, std::string, int32_t, std::string, std::string, int32_t> kCases[] = {
        {"data", "03 04 01 'N' '0' '0' 4B 08", 0, "02 08", "04 01 'N' '0' '0'", 1},
        {"repetition", "03 04 01 'N' '0' '0' 4B 08", 1, IsPrompt() ? "02 08" : "", "", 1},
        {"damaged repetition", "03 04 01 'N' '0' '0' 4C 08", 1, IsPrompt() ? "01 08" : "", "", 1},
        {"type of an acknowledgement", "02 04 01 'N' '0' '0' 4B 08", 0, IsPrompt() ? "01 08" : "", "", 0},
        {"data of sequence 1", "04 02 01 00 03 08", 1, "05 08", "02 01 00", 0},
        {"stuffed", "03 03 1B 28 1B 3B 01 11 08", 0, "02 08", "03 08 1B 01", 1},
        {"stuffed checksum", "04 1B 28 00 1B 28 08", 1, "05 08", "08 00", 0},
        {"wrong checksum", "03 04 01 'N' '0' '0' 4C 08", 0, "01 08", "", 0},
        {"before the start-link", "03 02 01 00 03 08", -1, "01 08", "", -1},
        {"two bytes", "03 08", 0, "01 08", "", 0},
        {"empty message", "03 00 08", 0, "02 08", "", 1},
        {"97 bytes, sum 20", "03" + longest + " 20 08", 0, "02 08", longest, 1},
        {"101 bytes", "03" + longest + " 20 00 08", 0, "01 08", "", 0},
        {"start-link", "09 08", 1, "06 08", "", 0},
        {"sent before the start-link", "04 02 01 00 03 08", 0, "", "", 0},
        {"terminator alone", "08", 0, "01 08", "", 0},
        {"undefined", "07 08", 0, "01 08", "", 0},
        {"undefined", "FF 01 02 08", 0, "01 08", "", 0},
        {"stray acknowledgement", "02 08", 0, "", "", 0},
        {"line error", "01 08", 0, "", "", 0},
    };
    for (const auto &[name, sent, rx, answer, delivered, rxAfter] : kCases) {
        arm1.link.rxSequence = rx;
        wire.Take();
        wire.Send(sent);
        EXPECT_EQ(wire.Take(), Hexes(answer)) << name;
        EXPECT_EQ(TakeReplies(arm1), Hexes(delivered)) << name;
        EXPECT_EQ(arm1.link.rxSequence, rxAfter) << name;
    }
    // Without a terminator.
    for (const Bytes &frame : Hexes("03 02 01 00 03 | 03 | 03 02 1B")) {
        ProcessFrame(arm1.link, frame.data(), static_cast<int32_t>(frame.size()));
    }
    Pass(1);
    EXPECT_EQ(wire.Take(), Messages(3, Hex("01 08")));
    EXPECT_EQ(arm1.link.txSequence, 0);
    EXPECT_TRUE(World::Instance().messageBoxes.empty());
    EXPECT_EQ(arm1.link.statistics.framesDelivered, 5u);
}

TEST_P(LinkInBothModes, OnTheWayToStatusZeroAloneTheInputIsDiscarded) {
    // In that state already: nothing is sent. Half of a frame has come before, the rest comes after.
    for (const auto &[status, state] : {std::pair{0, 1}, {1, 3}, {5, 2}}) {
        arm1.link.rxSequence = 0;
        arm1.replies.controllerState = state;
        wire.Send("03 02 01");
        EXPECT_EQ(CC_SETSTATUS(1, static_cast<int16_t>(status)), 1);
        wire.Send("00 03 08");
        EXPECT_EQ(TakeReplies(arm1).size(), status == 0 && !IsPrompt() ? 0u : 1u) << status;
    }
}

TEST_P(LinkInBothModes, AReplyIsPublishedIntoAFreeSlotWithItsAcknowledgementAndByItsEvent) {
    for (MessageSlot &slot : arm1.link.queues.replyQueue) slot.Publish(3);
    wire.Send("03 02 01 00 03 08");
    EXPECT_EQ(wire.Take(), Messages{Hex("01 08")});
    EXPECT_EQ(arm1.link.rxSequence, 0);
    TakeReplies(arm1);
    port.writeSpace = 0;
    wire.Send("03 02 01 00 03 08");
    EXPECT_TRUE(TakeReplies(arm1).empty());
    port.writeSpace = UINT32_MAX;
    wire.Send("03 02 01 00 03 08");
    EXPECT_EQ(TakeReplies(arm1), Messages{Hex("02 01 00")});
    port.SendTogether(Hex("04 02 01 00 03 08 03 02 02 00 00 08"));
    EXPECT_EQ(TakeReplies(arm1), Hexes(IsPrompt() ? "02 01 00 | 02 02 00" : "02 01 00"));
    wire.Send("04 02 03 00 01 08");  // brings the event for the second frame
    EXPECT_EQ(TakeReplies(arm1), Messages{Hex(IsPrompt() ? "02 03 00" : "02 02 00")});
}

TEST_P(LinkInBothModes, ControlFramesThatCannotBeWrittenAreShown) {
    port.writeSpace = 0;
    for (const char *const frame : {"09 08", "07 08", "03 00 01 08"}) wire.Send(frame);
    EXPECT_EQ(World::Instance().messageBoxes,  // a line error for data goes without a box
              (std::vector<std::string>{"Error on send Start Link Control Message",
                                        "Error on send Line Error Control Message"}));
}

TEST_F(LinkTest, MessagesTravelOneATickAndAnAcknowledgementCountsForAFrameThatWasSent) {
    arm1.link.queues.sendQueue[arm1.link.queues.sendWrite].data[0] =
        3;  // of the frame that was in the slot before
    Queue("02 08 1B");
    Queue("04 01 'N' '0' '0'");
    wire.Send("02 08");  // before it went out
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 02 1B 28 1B 3B 11 08")});
    wire.Send("05 08");  // of the other sequence
    wire.Send("06 08");  // the second answer to a start-link
    EXPECT_EQ(arm1.link.txSequence, 0);
    wire.Send("02 08");
    EXPECT_TRUE(arm1.link.ackEvent.Wait(0));
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
    wire.Take();
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

TEST_P(LinkInBothModes, AFrameThatTheLineTookAPartOfIsFinishedFirst) {
    port.writeSpace = 3;
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    port.writeSpace = UINT32_MAX;
    Pass(1100);
    EXPECT_EQ(wire.Take(), Messages(2, Hex("03 04 01 'N' '0' '0' 4B 08")));
}

// The answer comes a millisecond after the frame, while the host stands still: alone, behind another frame, and
// behind more that came together.
TEST_P(LinkInBothModes, AHostThatStoodStillReceivesBeforeItCountsTime) {
    World &world = World::Instance();
    for (const int milliseconds : {60, 500, 2000, 5000, 20000}) {
        for (const std::string before : {"", "01 09 08 ", "09 08 09 08 09 08 "}) {
            arm1.link.txSequence = 0;
            wire.Take();
            wire.onFrame = [&](const Bytes &frame) {
                if (frame[0] != 3) return;
                world.StandStill(milliseconds * platform::kMillisecond);
                world.At(world.Now() + 1000, [before, this] { port.SendTogether(Hex(before + "02 08")); });
            };
            EXPECT_EQ(CC_FEED(1, 5), 1) << milliseconds << before;
            Pass(5000);
            Messages commands;  // and start-links, but no acknowledgements
            for (const Bytes &frame : wire.Take()) {
                if (frame[0] == 3 || frame[0] == 9) commands.push_back(frame);
            }
            EXPECT_EQ(commands, Messages{Hex("03 09 01 'F' '3' '4' 'F' 05 00 00 00 0A 08")})
                << milliseconds << before;
        }
    }
    // Before the frame went out.
    wire.onFrame = [this](const Bytes &frame) {
        if (frame[0] == 3 || frame[0] == 4) port.Send(Hex(frame[0] == 3 ? "02 08" : "05 08"));
    };
    world.StandStill(20000 * platform::kMillisecond);
    EXPECT_EQ(CC_FEED(1, 5), 1);
    EXPECT_TRUE(world.messageBoxes.empty());
}

TEST_P(LinkInBothModes, ALineErrorRepeatsAtTheNextTickAndCounts) {
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(wire.Take(), Messages{Hex("03 04 01 'N' '0' '0' 4B 08")}) << i;
        wire.Send("01 08");
        EXPECT_TRUE(wire.Take().empty());
        Pass(50);
    }
    EXPECT_EQ(arm1.link.txSequence, -1);
}

TEST_P(LinkInBothModes, AnAnswerToOneStartLinkTooMany) {
    arm1.link.txSequence = 1;
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    EXPECT_EQ(wire.Take(), Messages{Hex("04 04 01 'N' '0' '0' 4B 08")});
    wire.Send("06 08");
    Pass(50);
    // A classic line takes it for a new start, and the frame runs twice.
    EXPECT_EQ(wire.Take(), Hexes(IsPrompt() ? "" : "03 04 01 'N' '0' '0' 4B 08"));
}

TEST_P(LinkInBothModes, APriorityMessageOvertakesAtTheNextExpiry) {
    Queue("04 01 'S' '1' '5'");
    Pass(50);
    Queue("04 01 'P' '0' '2'", kPriority);
    Pass(50 * 21);
    // On a prompt line the frame in flight goes first.
    const Bytes normal = Hex("03 04 01 'S' '1' '5' 52 08");
    EXPECT_EQ(wire.Take(), (Messages{normal, IsPrompt() ? normal : Hex("03 04 01 'P' '0' '2' 57 08")}));
    wire.Send("02 08");
    Pass(50);
    EXPECT_EQ(wire.Take(), Hexes(IsPrompt() ? "04 04 01 'P' '0' '2' 57 08" : "04 04 01 'S' '1' '5' 52 08"));
    wire.Send("05 08");
    EXPECT_EQ(arm1.link.queues.priorityRead, 1);
    EXPECT_EQ(arm1.link.priorityInFlight, 0u);
}

TEST_P(LinkInBothModes, WithoutAcknowledgementTheOperatorSeesABox) {
    const std::pair<std::function<int()>, int> kCases[] = {
        {[] { return CC_NCONOFF(1, 1); }, 1},   {[] { return CC_OPBUF(1, 1); }, 1},
        {[] { return CC_SETSTATUS(1, 5); }, 1}, {[] { return CC_FEED(1, 1); }, 0},
        {[] { return CC_GETCOORD(1); }, 0},     {[] { return CC_ENDIS_TP200(1, 1); }, 0}};
    for (const auto &[call, result] : kCases) {
        World::Instance().messageBoxes.clear();
        const double before = Seconds();
        // The first one's message is on its way for 4 s; the next ones are never sent.
        EXPECT_EQ(call(), IsPrompt() && &result != &kCases[0].second ? 0 : result);
        EXPECT_EQ(World::Instance().messageBoxes, std::vector<std::string>{" No ACK Received "});
        EXPECT_NEAR(Seconds() - before, 3, IsPrompt() ? 0.051 : 1e-6);
    }
    const double before = Seconds();
    EXPECT_EQ(CC_NCONWAITSTART(1, 1), 0);
    EXPECT_NEAR(Seconds() - before, 10, IsPrompt() ? 0.051 : 1e-6);
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
    EXPECT_EQ(arm1.link.queues.sendWrite, NextIndex(arm1.link.queues.sendRead, kSendSlots));
    EXPECT_EQ(arm1.motion.movesInFlight, 0);
    // The acknowledgement comes while nobody waits; the next flush sees it without waiting.
    arm1.link.queues.sendQueue[arm1.link.queues.sendRead].data[0] = 3;
    arm1.link.txSequence = 0;
    wire.Send("02 08");
    arm1.link.ackEvent.Wait(0);
    CC_LOOP_RUN(50);
    EXPECT_EQ(World::Instance().messageBoxes.size(), 2u);
    EXPECT_EQ(arm1.motion.movesInFlight, 1);
    EXPECT_EQ(CC_MOVING(1), 1);
}

TEST_P(LinkInBothModes, NoiseWithoutEndIsALineErrorOnceATerminatorComes) {
    for (const size_t noise : {101, 4095, 4096, 4097, 9000}) {
        port.SendTogether(Bytes(noise, 0x20));
        wire.Send("08");
        wire.Send("09 08");
        EXPECT_EQ(wire.Take(), Hexes("01 08 | 06 08")) << noise;
    }
}

// However many messages are filed meanwhile, which all look whether something may be sent.
TEST_P(LinkInBothModes, WhatIsDueWaitsASecondForReception) {
    arm1.link.port.SetReceiver([](LinkState &) {});
    Queue("04 01 'N' '0' '0'");
    Pass(50);
    wire.Send("07 08");
    Pass(1200);
    for (int i = 0; i < 40; ++i) Queue("04 01 'F' '3' '4'");
    Pass(600);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 04 01 'N' '0' '0' 4B 08")});
    Pass(400);
    EXPECT_EQ(wire.Take(), Messages{Hex("03 04 01 'N' '0' '0' 4B 08")});
    arm1.link.port.SetReceiver(OnFrameReceived);
}

TEST_P(LinkInBothModes, FramesThatFitNoSlotAreRefused) {
    const Bytes message(128, 8);
    // 126: 252 stuffed bytes, type, sum 00 and terminator are 255.
    for (const auto &[length, result] : {std::pair{126, true}, {128, false}, {-1, false}, {0, true}}) {
        EXPECT_EQ(QueueMessage(arm1.link, kNormal, length, message.data()), result) << length;
    }
    EXPECT_EQ(arm1.link.queues.sendQueue[arm1.link.queues.sendWrite - 1].length, 3);
}

}  // namespace
}  // namespace cc::test
