#include "exchange/decoder.h"

#include <cstring>

#include "exchange/point_reports.h"
#include "link/send_path.h"
#include "protocol/little_endian.h"
#include "replies/notifications.h"

namespace cc {
namespace {

constexpr uint16_t kShortestReply = 3;

// One reply and the arm that it is applied to.
struct Reply {
    ArmContext &context;
    int16_t arm;      // number that the caller of the decoder gave
    uint16_t length;  // of the whole reply
    uint8_t *bytes;   // zero behind the end

    ReplyState &State() const { return context.replies; }
    uint8_t Code() const { return bytes[at::kReplyCode]; }
    int32_t ControllerState() const { return static_cast<int8_t>(bytes[at::kReplyState]); }
    uint8_t *Payload() const { return bytes + at::kReplyPayload; }
    int8_t SignedByte(int index) const { return static_cast<int8_t>(bytes[index]); }
};

// ---- controller information, part of longer state replies

void FillControllerInfo(ControllerInfo &information, const uint8_t *bytes) {
    information.controllerType = bytes[3];
    information.controllerLevel = bytes[3] == 255 && bytes[4] == 2 ? 7 : bytes[4];
    for (int axis = 0; axis < 6; ++axis) {
        information.axes[axis].kind = bytes[5 + axis];
        information.axes[axis].flags =
            static_cast<uint16_t>((bytes[11] >> axis & 1) | (bytes[12] >> axis & 1) << 1);
    }
    information.optionCode = bytes[13];
}

bool IsExtendedType(uint16_t type) {
    return type == 2 || type == 4 || type == 5 || type == 16;
}

void DecodeInformation(const Reply &reply) {
    ReplyState &replies = reply.State();
    const bool seenBefore = replies.infoSeen;
    replies.infoSeen = true;
    if (replies.awaitedReply == awaited::kZeroing) return;
    ControllerInfo &information = replies.controllerInfo;
    FillControllerInfo(information, reply.bytes);
    replies.extendedInfo = IsExtendedType(information.controllerType);
    if (!replies.extendedInfo) return;
    information.extra[0] = reply.bytes[14];
    information.extra[1] = reply.bytes[15];
    replies.resetStatusPending = false;
    if (!seenBefore && replies.controllerState == state::kEmergency) NotifyHold(replies, kWordReset);
}

void OnState(const Reply &reply) {
    ReplyState &replies = reply.State();
    const int32_t newState = reply.ControllerState();
    TakeState(replies, newState);
    if (replies.awaitedReply == awaited::kAnyState || newState == state::kStopped) {
        replies.awaitedReply = awaited::kNothing;
    } else {
        FoldAnswer(replies, newState);
    }
    const bool switchedOn = !replies.extendedInfo && reply.context.session.ClientActs() &&
                            newState == state::kStopped && !replies.resumeNotifyPending;
    if (switchedOn) Notify(replies, CC_EVENT_CONTROLLER_ON, CC_EVENT_CONTROLLER_ON);
    if (reply.length != kShortestReply) DecodeInformation(reply);
    if (replies.resumeNotifyPending) {
        replies.resumeNotifyPending = false;
        NotifyResume(replies, kWordStart);
    }
}

// ---- reports with a payload

void NotifyPayload(const Reply &reply, int32_t event) {
    ReplyState &replies = reply.State();
    const int payloadBytes = reply.length - at::kReplyPayload;
    std::memcpy(replies.notifyPayload, reply.Payload(), static_cast<size_t>(payloadBytes));
    const bool byteAsInfo = event != CC_EVENT_REPORT_1 && reply.context.session.ClientActs();
    const auto infoWord =
        static_cast<uint16_t>(byteAsInfo ? reply.SignedByte(4) : payloadBytes / 2 * 256 + event);
    Notify(replies, event, infoWord, replies.notifyPayload);
}

void OnReport1(const Reply &reply) {
    NotifyPayload(reply, CC_EVENT_REPORT_1);
}

void OnReport3(const Reply &reply) {
    NotifyPayload(reply, CC_EVENT_REPORT_3);
}

void OnEmergency(const Reply &reply) {
    ReplyState &replies = reply.State();
    TakeState(replies, reply.ControllerState());
    replies.awaitedReply = replies.awaitedReply == state::kEmergency ? awaited::kNothing : awaited::kAnyState;
    replies.coordAnswered = true;
    replies.coordQuery = CoordQuery::None;
    NotifyPayload(reply, reply.Code() == reply::kEmergency ? CC_EVENT_EMERGENCY : CC_EVENT_EMERGENCY_51);
}

// ---- completions

void OnDone(const Reply &reply) {
    reply.State().awaitedReply = awaited::kNothing;
}

void OnSetting(const Reply &reply) {
    if (reply.State().awaitedReply == reply.SignedByte(3)) OnDone(reply);
}

void OnZeroing(const Reply &reply) {
    ReplyState &replies = reply.State();
    if (replies.awaitedReply != reply.SignedByte(3)) return;
    if (replies.awaitedReply == awaited::kZeroing) {
        replies.zeroingDone = true;
        if (reply.context.session.ClientActs()) {
            Notify(replies, CC_EVENT_ZEROING_DONE, CC_EVENT_ZEROING_DONE);
            TraceEndOfZeroing(reply.context.trace, reply.arm);
        }
    }
    OnDone(reply);
}

void OnIoWords(const Reply &reply) {
    for (int i = 0; i < 2; ++i) reply.State().ioWords[i] = ReadU16(reply.Payload() + 2 * i);
    OnDone(reply);
}

void OnStoredInfo(const Reply &reply) {
    ReplyState &replies = reply.State();
    std::memcpy(replies.storedInfo, reply.Payload(), sizeof replies.storedInfo);
    OnDone(reply);
}

void OnParameters(const Reply &reply) {
    FoldAnswer(reply.State(), reply.Code());
}

void OnTemperatures(const Reply &reply) {
    ReplyState &replies = reply.State();
    const bool second = reply.Code() == reply::kTemperatures2;
    uint16_t *const words = replies.temperatureWords + (second ? 16 : 0);
    for (int i = 0; i < 16; ++i) words[i] = ReadU16(reply.Payload() + 2 * i);
    if (!second) return;
    replies.temperatureWords[32] = reply.bytes[35];
    Notify(replies, CC_EVENT_TEMPERATURES, reply.bytes[35], replies.temperatureWords);
    OnDone(reply);
}

// ---- motion

// Releases the oldest entry once the client has been told of it, unless the client has reset the buffer
// meanwhile: what lies there then was filed anew.
class AcknowledgedEntry {
  public:
    explicit AcknowledgedEntry(MoveBuffer &moves) : moves_(moves), resets_(moves.resets) {}
    ~AcknowledgedEntry() {
        if (moves_.resets != resets_) return;
        ConsumeOldestEntry(moves_);
        // The drain of a scan start sends moves without counting them.
        if (moves_.movesInFlight > 0) --moves_.movesInFlight;
    }
    AcknowledgedEntry(const AcknowledgedEntry &) = delete;
    AcknowledgedEntry &operator=(const AcknowledgedEntry &) = delete;

  private:
    MoveBuffer &moves_;
    const uint32_t resets_;
};

void OnBuffered(const Reply &reply) {
    ReplyState &replies = reply.State();
    MoveBuffer &moves = reply.context.motion;
    if (replies.controllerState == state::kUnknown) return;
    OnDone(reply);
    const MoveHistoryEntry &entry = OldestEntry(moves);
    if (!entry.inUse) return;  // of a message from before a reset
    const uint16_t tag = entry.tag;
    if (tag < kFirstReportTag) {
        // A probing move that is acknowledged before its point was rejected, and with it all that follows.
        if (replies.controllerState == state::kStopped) return;
        ResetMoveBuffer(moves);
        Notify(replies, CC_EVENT_MOVE_REJECTED, static_cast<uint16_t>(reply.SignedByte(4)));
        return;
    }
    const AcknowledgedEntry acknowledged(moves);
    if (tag == kScanTag) {
        moves.scanActive = false;
        Notify(replies, CC_EVENT_SCAN_END, 0);
    } else {
        Notify(replies, CC_EVENT_MOVE_DONE, static_cast<uint16_t>(tag - kFirstReportTag));
    }
}

void OnPoint(const Reply &reply) {
    ReportPoint(reply.context, reply.bytes, reply.length);
}

void OnPosition(const Reply &reply) {
    ReportPosition(reply.context, reply.bytes);
}

// While both the worker's request and the client's are out, the first report ends the client's query.
void OnCoordinates(const Reply &reply) {
    ReplyState &replies = reply.State();
    if (replies.coordQuery != CoordQuery::OwnReport) replies.coordAnswered = true;
    replies.coordQuery = CoordQuery::None;
    ReportCoordinates(reply.context, reply.bytes);
}

// ---- controller events

void OnHostAnswer(const Reply &reply) {
    const ReplyState &replies = reply.State();
    const bool busy =
        replies.controllerState == state::kMeasuring || replies.controllerState == state::kZeroing;
    if (!replies.extendedInfo && busy) return;
    const CommandMessage answer(reply.Code() == reply::kHostAnswer5 ? command::P05 : command::P06);
    QueueMessage(reply.context.link, kPriority, answer);
}

void OnEvent17(const Reply &reply) {
    Notify(reply.State(), CC_EVENT_17, info::kEvent17, reply.Payload());
}

void OnHold(const Reply &reply) {
    Notify(reply.State(), CC_EVENT_HOLD, info::kHold, reply.Payload());
}

void OnResume(const Reply &reply) {
    Notify(reply.State(), CC_EVENT_RESUME, info::kResume, reply.Payload());
}

void OnEvent21(const Reply &reply) {
    Notify(reply.State(), CC_EVENT_21, info::kEvent21, reply.Payload());
}

void OnEvent22(const Reply &reply) {
    ReplyState &replies = reply.State();
    if (replies.p10Sent && !replies.extendedInfo && replies.controllerInfo.optionCode == kOptionP10) {
        replies.p10Sent = false;
        NotifyResume(replies, kWordStart);
    }
    Notify(replies, CC_EVENT_22, CC_EVENT_22);
}

void OnEvent23(const Reply &reply) {
    Notify(reply.State(), CC_EVENT_23, CC_EVENT_23);
}

void OnControllerOn(const Reply &reply) {
    ReplyState &replies = reply.State();
    replies.resumeNotifyPending = true;
    if (reply.context.session.ClientActs()) {
        Notify(replies, CC_EVENT_CONTROLLER_ON, CC_EVENT_CONTROLLER_ON);
    } else {
        replies.resetStatusPending = true;
        NotifyResume(replies, kWordReset);
    }
}

// What is done with each reply code. Codes that do not stand here are ignored.
constexpr struct {
    uint8_t first;
    uint8_t last;
    void (*act)(const Reply &);
} kHandlers[] = {
    {reply::kState, reply::kState, OnState},
    {reply::kReport1, reply::kReport1, OnReport1},
    {reply::kEmergency, reply::kEmergency, OnEmergency},
    {reply::kReport3, reply::kReport3, OnReport3},
    {reply::kBuffered, reply::kBuffered, OnBuffered},
    {reply::kTableEntry, reply::kTableEntry, OnDone},
    {reply::kZeroing, reply::kZeroing, OnZeroing},
    {reply::kDone7, reply::kDone7, OnDone},
    {reply::kSetting, reply::kSetting, OnSetting},
    {reply::kPoint, reply::kPoint, OnPoint},
    {reply::kIoWords, reply::kIoWords, OnIoWords},
    {reply::kPosition, reply::kPosition, OnPosition},
    {reply::kState13, reply::kState13, OnState},
    {reply::kStarted, reply::kStarted, OnDone},
    {21, 21, OnPoint},
    {reply::kParameters1, reply::kParameters1 + 4, OnParameters},
    {reply::kHostAnswer5, reply::kHostAnswer6, OnHostAnswer},
    {reply::kEvent17, reply::kEvent17, OnEvent17},
    {reply::kStoredInfo, reply::kStoredInfo, OnStoredInfo},
    {reply::kParameters6, reply::kParameters7, OnParameters},
    {40, 41, OnPoint},
    {reply::kHold, reply::kHold, OnHold},
    {reply::kResume, reply::kResume, OnResume},
    {reply::kEmergency51, reply::kEmergency51, OnEmergency},
    {reply::kEvent21, reply::kEvent21, OnEvent21},
    {reply::kEvent22, reply::kEvent22, OnEvent22},
    {reply::kEvent23, reply::kEvent23, OnEvent23},
    {reply::kControllerOn, reply::kControllerOn, OnControllerOn},
    {reply::kTemperatures1, reply::kTemperatures2, OnTemperatures},
    {70, 71, OnPoint},
    {reply::kCoordinates, reply::kCoordinates, OnCoordinates},
};

// Reports changes of the link. Result: whether the reply just taken must be dropped.
bool ReportLink(ReplyState &replies, uint16_t linkState) {
    if (linkState != 0 && !replies.linkFaultNotified) {
        replies.linkFaultNotified = true;
        Notify(replies, CC_EVENT_LINK, info::kLinkLost);
        return true;
    }
    if (linkState == 0 && replies.linkFaultNotified) {
        replies.linkFaultNotified = false;
        Notify(replies, CC_EVENT_LINK, info::kLinkInOrder);
    }
    return false;
}

// The same on a prompt line, which tells of every loss, in order, whether a reply comes or not, and drops none.
void ReportPromptLink(ArmContext &context) {
    ReplyState &replies = context.replies;
    LinkState &link = context.link;
    const uint32_t losses = link.losses.load(std::memory_order_acquire);
    if (losses != replies.lossesReported) {
        replies.lossesReported = losses;
        replies.linkFaultNotified = true;
        Notify(replies, CC_EVENT_LINK, info::kLinkLost);
        const int32_t move = link.lostMove.exchange(kNoMove, std::memory_order_relaxed);
        if (move != kNoMove && RejectFrom(context.motion, move))
            Notify(replies, CC_EVENT_MOVE_REJECTED, info::kLinkLost);
    }
    if (LinkFault(link) != 0 || !replies.linkFaultNotified) return;
    replies.linkFaultNotified = false;
    Notify(replies, CC_EVENT_LINK, info::kLinkInOrder);
}

}  // namespace

bool DecodeReplies(ArmContext &context, int16_t arm) {
    LinkState &link = context.link;
    if (link.promptLine) ReportPromptLink(context);
    if (!link.mmTimerRunning) return false;  // the client closed the arm in its callback
    uint16_t length = 0;
    const uint16_t linkFault = TakeReply(link, length, context.replies.replyBuffer);
    if (!link.promptLine && ReportLink(context.replies, linkFault)) return length != 0;
    if (length < kShortestReply) return length != 0;
    const Reply reply{context, arm, length, context.replies.replyBuffer};
    for (const auto &handler : kHandlers) {
        if (reply.Code() < handler.first || reply.Code() > handler.last) continue;
        handler.act(reply);
        return true;
    }
    return true;
}

}  // namespace cc
