// The whole way of what a controller sends: bytes on the port of an open arm, reception, reply queue, decoder, callback,
// while the client files moves and orders, time passes, and the line is pulled and put in again.
#include <iterator>
#include <vector>

#include "arm_records.h"
#include "cc_interface.h"
#include "exchange/decoder.h"
#include "input.h"
#include "link/link_control.h"
#include "link/send_path.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"
#include "session/connection.h"
#include "session/worker.h"
#include "targets.h"

namespace cc::fuzz {
namespace {

using Bytes = std::vector<uint8_t>;
using platform::kMillisecond;
using platform::VirtualPort;
using platform::World;

constexpr int16_t kArm = 1;
constexpr int32_t kLongestDelayMs = 640;  // of bytes that come while something else is done

// Bits of the first byte.
enum Start : uint8_t {
    kPrompt = 1,
    kClientActs = 2,
    kNotUp = 4,          // the host has not been answered
    kPeerNotUp = 8,      // nor has the controller begun
    kAtEnds = 16,        // the queues begin right before their ends
    kNewer = 32,         // a controller of the newer types
    kClosedPort = 64,    // frames are handed to the link past the port
    kStopsTaking = 128,  // the line takes a few bytes more, and then nothing
};

// What the callback does at every fourth event, by bits.
enum Act : uint8_t { kFiles = 1, kResets = 2, kAsks = 4, kCloses = 8 };

struct Client {
    uint8_t acts = 0;
    int quietEvents = 0;
    int waits = 0;  // what may still wait in this run: a wait costs as much as all the rest
} client;

constexpr int kMostWaits = 2;
constexpr unsigned kFirstWaitingOrder = 9;

const double kPosition[6] = {1, 2, 3, 0, 0, -1};

void OnEvent(int32_t, uint32_t, void *) {
    if (client.quietEvents-- > 0) return;
    client.quietEvents = 3;
    if ((client.acts & kFiles) != 0) CC_MOVE(kArm, 2, kPosition, 7, 1, nullptr, nullptr, 0);
    if ((client.acts & kResets) != 0) CC_BUFFRESET(kArm);
    if ((client.acts & kAsks) != 0) Check(CC_CANSEND(kArm, 1) <= 1 && CC_GETSTATUS(kArm) <= 4);
    // Only with all others: it costs the next run an opening.
    if (client.acts == (kFiles | kResets | kAsks | kCloses)) CC_DONE(kArm, 2);
}

// An opened arm whose waits are short; it stays open for the runs that follow.
void Open(ArmContext &arm) {
    VirtualPort &port = VirtualPort::Number(1);
    port.present = true;
    port.writeSpace = UINT32_MAX;
    port.farEnd = [&port](uint8_t byte) {
        if (byte == kStartLink) port.SendTogether({kStartLinkAck, kTerminator});
    };
    ReadSettings(arm.settings, nullptr);
    arm.settings.timeoutTicks = 4;
    arm.settings.promptLine = true;
    Check(OpenConnection(arm, "COM1", false, nullptr) == CC_OK);
    port.farEnd = nullptr;
    arm.link.ackEvent.OpenShared("acknowledged");
    arm.connection.connectionOpen = true;
}

ArmContext &Renew(uint8_t start) {
    ArmContext &arm = RenewArm(User::Stream, (start & kAtEnds) != 0 ? -2 : 0);
    if (!arm.connection.connectionOpen) {
        Open(arm);
        RenewArm(User::Stream, (start & kAtEnds) != 0 ? -2 : 0);
    }
    arm.connection.workerActive = true;
    arm.connection.lineTriedTick = arm.link.ticks;
    LinkState &link = arm.link;
    VirtualPort &port = VirtualPort::Number(1);
    port.present = true;
    port.writeSpace = (start & kStopsTaking) != 0 ? 20 : UINT32_MAX;
    link.port.Close();
    if ((start & kClosedPort) == 0) Check(link.port.Open(kTerminator));
    link.promptLine = (start & kPrompt) != 0;
    if ((start & kNotUp) != 0) link.txSequence = kLinkDown;
    if ((start & kPeerNotUp) != 0) link.rxSequence = kNotStarted;
    link.awaitingStartAck = (start & kNotUp) != 0;
    link.awaitingPeerStart = (start & kPeerNotUp) != 0;
    link.ackEvent.Wait(0);
    link.progress.Wait(0);
    arm.replies.extendedInfo = (start & kNewer) != 0;
    arm.replies.controllerInfo.optionCode = kOptionP10;
    arm.session.startMode = (start & kClientActs) != 0 ? 1 : 0;
    arm.replies.notifyCallback = OnEvent;
    arm.replies.linkFaultNotified = true;
    return arm;
}

// Bytes of a line, in pieces as they are, or frame by frame where the port is closed.
void Receive(ArmContext &arm, const Bytes &bytes) {
    if (arm.link.port.IsOpen()) return VirtualPort::Number(1).SendTogether(bytes);
    const size_t count = std::min<size_t>(bytes.size(), kReceiveBytes);
    if (count > 0) ProcessFrame(arm.link, bytes.data(), static_cast<uint32_t>(count));
}

// A good data frame around a message, in the sequence that the host expects or in the other.
Bytes DataFrame(const LinkState &link, const uint8_t *message, size_t count, bool repeated) {
    const int sequence = (link.rxSequence == 1) != repeated ? 1 : 0;
    Bytes frame{link.dataTypeBySeq[sequence]};
    uint8_t sum = 0;
    const auto put = [&frame](uint8_t byte) {
        if (byte == kTerminator || byte == kEscape) {
            frame.push_back(kEscape);
            byte = static_cast<uint8_t>(byte + kStuffing);
        }
        frame.push_back(byte);
    };
    for (size_t i = 0; i < count; ++i) {
        put(message[i]);
        sum = static_cast<uint8_t>(sum ^ message[i]);
    }
    put(sum);
    frame.push_back(kTerminator);
    return frame;
}

Bytes ControlFrame(const LinkState &link, unsigned which) {
    const bool second = link.txSequence == 1;
    const uint8_t types[] = {link.ackTypeBySeq[second ? 1 : 0], link.ackTypeBySeq[second ? 0 : 1], kLineError,
                             kStartLinkAck, kStartLink};
    return {types[which % std::size(types)], kTerminator};
}

void GiveOrder(ArmContext &arm, unsigned which, Input &input) {
    double position[6];
    std::copy_n(kPosition, 6, position);
    uint16_t words[2] = {input.Number<uint16_t>(), 8};
    double values[5];
    uint8_t bytes[64] = {3, 1, 'N', '0', '0'};
    which %= 16;
    if (which >= kFirstWaitingOrder && which < 15 && client.waits-- <= 0) return;
    switch (which) {
        case 0:
        case 1:
            return CC_MOVE(kArm, words[0] % 4, position, words[0], 1, nullptr, nullptr, words[0] & 1);
        case 2:
            return CC_MOVEINCR(kArm, position, 0, words[0] & 1);
        case 3:
            return CC_FLYONOFF(kArm, words[0] & 1);
        case 4:
            return CC_BUFFRESET(kArm);
        case 5:
            CC_FREEFRAME(kArm, bytes, words[0] % 65, CC_FRAME_BUFFERED, static_cast<int16_t>(words[0]));
            return;
        case 6:
            CC_EMERGENCY(kArm, static_cast<int16_t>(words[0]));
            return;
        case 7:
            CC_READTEMP(kArm);
            return;
        case 8:
            return CC_ASKCOORD(kArm, words[0] & 1);
        case 9:
            CC_IO(kArm, words[0] & 1, words);
            return;
        case 10:
            CC_READ_PARAM(kArm, static_cast<int16_t>(words[0] % 10), values);
            return;
        case 11:
            CC_SETSTATUS(kArm, words[0] % 6);
            return;
        case 12:
            CC_GETCOORD(kArm);
            return;
        case 13:
            CC_ZEROES(kArm);
            return;
        case 14:
            L2S_StartScan();
            return;
        default:
            arm.replies.controllerState = static_cast<int8_t>(words[0]);
            arm.replies.awaitedReply = static_cast<int8_t>(words[0] / 256);
    }
}

void ChangeLine(ArmContext &arm, unsigned which, Input &input) {
    VirtualPort &port = VirtualPort::Number(1);
    switch (which % 6) {
        case 0:
            port.present = false;
            return;
        case 1:
            port.present = true;
            return;
        case 2:
            port.writeSpace = input.Byte();
            return;
        case 3:
            port.writeSpace = UINT32_MAX;
            return;
        case 4:
            return World::Instance().StandStill(input.Byte() * 10 * kMillisecond);
        default:
            ForceLinkDown(arm.link);
    }
}

// One step: what it is in the low three bits, how much or which in the others.
void Step(ArmContext &arm, Input &input) {
    World &world = World::Instance();
    const uint8_t step = input.Byte();
    const unsigned more = step >> 3;
    const uint8_t *const rest = input.Rest();
    switch (step & 7) {
        case 0: {
            const size_t count = input.Skip(more + 1);
            return Receive(arm, Bytes(rest, rest + count));
        }
        case 1: {
            const size_t count = input.Skip((more & 15) * 4 + 3);
            return Receive(arm, DataFrame(arm.link, rest, count, more > 15));
        }
        case 2:
            return Receive(arm, ControlFrame(arm.link, more));
        case 3: {
            // While something else is done.
            const size_t wanted = input.Byte() % 32;
            const uint8_t *const message = input.Rest();
            const size_t count = input.Skip(wanted);
            Bytes frame =
                more < 8 ? ControlFrame(arm.link, more) : DataFrame(arm.link, message, count, false);
            world.At(world.Now() + (more % 8 + 1) * kLongestDelayMs / 8 * kMillisecond,
                     [&arm, frame = std::move(frame)] { Receive(arm, frame); });
            return;
        }
        case 4:
            return client.waits-- > 0 ? world.Pass((int64_t{1} << (more % 12)) * kMillisecond) : void();
        case 5:
            if (more > 15) return client.waits-- > 0 ? WorkerStep(arm, kArm, more > 23) : void();
            for (unsigned replies = 0; replies <= more; ++replies) DecodeReplies(arm, kArm);
            return;
        case 6:
            return GiveOrder(arm, more, input);
        default:
            return ChangeLine(arm, more, input);
    }
}

}  // namespace

// Byte 0: how the arm is found; byte 1: its state in the low four bits, what the callback does in the high ones. Then steps.
void Stream(const uint8_t *data, size_t size) {
    Input input(data, size);
    ArmContext &arm = Renew(input.Byte());
    const uint8_t second = input.Byte();
    arm.replies.controllerState = second % 16 - 1;
    client = {static_cast<uint8_t>(second >> 4), 0, kMostWaits};
    while (!input.IsEmpty() && arm.connection.connectionOpen) {
        Step(arm, input);
        CheckRecords(arm);
    }
    VirtualPort::Number(1).present = true;
    World::Instance().Pass(kLongestDelayMs * kMillisecond);
    for (int replies = 0; replies < 1000 && DecodeReplies(arm, kArm); ++replies) continue;
    CheckRecords(arm);
}

}  // namespace cc::fuzz
