// Commands that change the controller's modes: numeric control, buffering, status, emergency, zeroing.
#include "cc_interface.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "replies/notifications.h"

using namespace cc;

namespace {

constexpr uint32_t kStartAckTimeoutMs = 10000;

bool IsMeasuring(const ArmContext &context) {
    return context.replies.controllerState == state::kMeasuring;
}

// P10 is for older controllers with this option only; the client is told of the hold that it brings.
bool NeedsP10(const ReplyState &replies) {
    return replies.extendedInfo == 0 && replies.controllerInfo.optionCode == kOptionP10;
}

void NoteP10(ReplyState &replies) {
    NotifyHold(replies, kWordStart);
    replies.p10Sent = 1;
}

// The two commands of a status: the client's number, the command and the controller state that it leads to.
constexpr struct StatusOrder {
    int16_t status;
    CommandName name;
    int32_t state;
} kStatusOrders[] = {
    {CC_ORDER_READY, command::S71, state::kReady},
    {CC_ORDER_MEASURING, command::S73, state::kMeasuring},
    {CC_ORDER_STOPPED, command::S72, state::kStopped},
};

const StatusOrder *FindStatusOrder(int16_t status) {
    for (const StatusOrder &order : kStatusOrders) {
        if (order.status == status) return &order;
    }
    return nullptr;
}

int16_t OrderStatus(ArmContext &context, int16_t arm, const StatusOrder &order) {
    ReplyState &replies = context.replies;
    replies.awaitedReply = order.state;
    // Reports of the time before are of no use to a controller that becomes ready.
    if (order.status == CC_ORDER_READY) context.port.Purge();
    if (replies.controllerState == order.state) {
        replies.awaitedReply = kNothingAwaited;
        return 1;
    }
    if (QueueMessage(context, kNormal, CommandMessage(order.name)) != 0) return 0;
    if (WaitForAck(context) == 0) return 1;
    return WaitForCompletion(arm);
}

int16_t StartZeroing(int16_t arm, const CommandMessage &zeroing) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    ReplyState &replies = context->replies;
    replies.awaitedReply = kAnyStateReply;
    if (QueueMessage(*context, kNormal, CommandMessage(command::S70)) != 0) return 0;
    if (WaitForCompletion(arm) == 0) return 0;
    replies.awaitedReply = 1;
    if (QueueMessage(*context, kNormal, zeroing) != 0) return 0;
    if (!NeedsP10(replies)) return 1;
    if (QueueMessage(*context, kPriority, CommandMessage(command::P10)) != 0) return 0;
    NoteP10(replies);
    return 1;
}

}  // namespace

int16_t CC_CALL CC_NCONOFF(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    const CommandMessage message(on != 0 ? command::P02 : command::P03);
    if (QueueMessage(*context, kPriority, message) != 0) return 0;
    WaitForAck(*context);
    return 1;
}

int16_t CC_CALL CC_OPBUF(int16_t arm, int16_t n) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    context->replies.awaitedReply = n + DigitsNumber(command::S25);
    if (n == 0) CC_BUFFRESET(arm);
    CommandName name = command::S25;
    name.digit2 = static_cast<char>(name.digit2 + n);
    if (QueueMessage(*context, kNormal, CommandMessage(name)) != 0) return 0;
    if (WaitForAck(*context) == 0) return 1;
    return WaitForCompletion(arm);
}

int16_t CC_CALL CC_SETSTATUS(int16_t arm, int16_t s) {
    ArmContext *const context = OpenArm(arm);
    const StatusOrder *const order = FindStatusOrder(s);
    if (context == nullptr || order == nullptr) return 0;
    const bool askedForCoordinates = context->session.askCoordMode != 0;
    if (askedForCoordinates) CC_ASKCOORD(arm, 0);
    const int16_t result = OrderStatus(*context, arm, *order);
    if (askedForCoordinates) CC_ASKCOORD(arm, 1);
    return result;
}

int16_t CC_CALL CC_EMERGENCY(int16_t arm, int16_t code) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    const ReplyState &replies = context->replies;
    if (replies.controllerState == state::kEmergency && context->session.extendedStart != 0) return 1;
    const bool knowsLongCodes = replies.extendedInfo == 1 || replies.controllerInfo.optionCode == kOptionP10;
    CommandMessage message(code / 256 != 0 && knowsLongCodes ? command::P01 : command::P00);
    message.Byte(static_cast<uint8_t>(code));
    return QueueMessage(*context, kPriority, message) == 0 ? 1 : 0;
}

int16_t CC_CALL CC_ZEROES(int16_t arm) {
    return StartZeroing(arm, CommandMessage(command::S15));
}

int16_t CC_CALL CC_ZEROESAB(int16_t arm) {
    return StartZeroing(arm, CommandMessage(command::S15).Letter('A').Letter('B'));
}

int16_t CC_CALL CC_NCONWAITSTART(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    ReplyState &replies = context->replies;
    const bool waits =
        on != 0 && (replies.extendedInfo == 1 || replies.controllerInfo.optionCode == kOptionP10);
    const CommandMessage message(waits ? command::P10 : command::P02);
    if (QueueMessage(*context, kPriority, message) != 0) return 0;
    if (WaitForAck(*context, kStartAckTimeoutMs) == 0) return 0;
    if (on != 0 && NeedsP10(replies)) NoteP10(replies);
    return 1;
}
