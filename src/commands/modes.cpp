// Commands that change the controller's modes: numeric control, buffering, status, emergency, zeroing.
#include "commands/modes.h"

#include <atomic>

#include "cc_interface.h"
#include "commands/queries.h"
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
    return !replies.extendedInfo && replies.controllerInfo.optionCode == kOptionP10;
}

void NoteP10(ReplyState &replies) {
    NotifyHold(replies, kWordStart);
    replies.p10Sent = true;
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

// Waits for the answer to the message queued last. Without an acknowledgement it stays queued, and the call succeeds all
// the same; what is lost is no longer awaited.
bool CompleteOrLeaveQueued(ArmContext &context, int16_t arm) {
    switch (WaitForAckOrLoss(context)) {
        case Delivery::Acknowledged:
            return WaitForCompletion(context, arm);
        case Delivery::Queued:
            return true;
        case Delivery::Lost:
            break;
    }
    context.replies.awaitedReply = awaited::kNothing;
    return false;
}

bool SendStatusOrder(ArmContext &context, int16_t arm, const StatusOrder &order) {
    ReplyState &replies = context.replies;
    replies.awaitedReply = order.state;
    // Reports of the time before are of no use to a controller that becomes ready. On a prompt line none lies unread, and
    // a purge would only tear a frame.
    if (order.status == CC_ORDER_READY && !context.link.promptLine) context.link.port.Purge();
    if (replies.controllerState == order.state) {
        replies.awaitedReply = awaited::kNothing;
        return true;
    }
    if (!QueueMessage(context.link, kNormal, CommandMessage(order.name))) return false;
    return CompleteOrLeaveQueued(context, arm);
}

bool StartZeroing(ArmContext *context, int16_t arm, const CommandMessage &zeroing) {
    if (context == nullptr) return false;
    ReplyState &replies = context->replies;
    replies.awaitedReply = awaited::kAnyState;
    if (!QueueMessage(context->link, kNormal, CommandMessage(command::S70))) return false;
    if (!WaitForCompletion(*context, arm)) return false;
    replies.awaitedReply = awaited::kZeroing;
    if (!QueueMessage(context->link, kNormal, zeroing)) return false;
    if (!NeedsP10(replies)) return true;
    if (!QueueMessage(context->link, kPriority, CommandMessage(command::P10))) return false;
    NoteP10(replies);
    return true;
}

}  // namespace

namespace cc {

bool OrderStatus(ArmContext &context, int16_t arm, int16_t status) {
    const StatusOrder *const order = FindStatusOrder(status);
    if (order == nullptr) return false;
    const bool askedForCoordinates = context.session.askCoordMode != 0;
    if (askedForCoordinates) ReportCoordinatesPeriodically(context, 0);
    const bool reached = SendStatusOrder(context, arm, *order);
    // The client may have closed the arm in its callback.
    if (askedForCoordinates && context.connection.connectionOpen) ReportCoordinatesPeriodically(context, 1);
    return reached;
}

bool OrderEmergency(ArmContext &context, int16_t code) {
    ReplyState &replies = context.replies;
    const int32_t current = std::atomic_ref(replies.controllerState).load(std::memory_order_relaxed);
    if (current == state::kEmergency && context.session.extendedStart) return true;
    // What is known of the controller belongs to the caller's thread, so a short code must not look at it.
    const bool isLong =
        code / 256 != 0 && (replies.extendedInfo || replies.controllerInfo.optionCode == kOptionP10);
    CommandMessage message(isLong ? command::P01 : command::P00);
    message.Byte(static_cast<uint8_t>(code));
    return QueueEmergency(context.link, message);
}

}  // namespace cc

int16_t CC_CALL CC_NCONOFF(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    const CommandMessage message(on != 0 ? command::P02 : command::P03);
    if (!QueueMessage(context->link, kPriority, message)) return 0;
    return WaitForAckOrLoss(*context) != Delivery::Lost;
}

int16_t CC_CALL CC_OPBUF(int16_t arm, int16_t n) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    context->replies.awaitedReply = n + awaited::Setting(command::S25);
    if (n == 0) ResetMoveBuffer(context->motion);
    CommandName name = command::S25;
    name.digit2 = static_cast<char>(name.digit2 + n);
    if (!QueueMessage(context->link, kNormal, CommandMessage(name))) return 0;
    return CompleteOrLeaveQueued(*context, arm);
}

int16_t CC_CALL CC_SETSTATUS(int16_t arm, int16_t s) {
    ArmContext *const context = OpenArm(arm);
    return context != nullptr && OrderStatus(*context, arm, s);
}

int16_t CC_CALL CC_EMERGENCY(int16_t arm, int16_t code) {
    ArmContext *const context = OpenArm(arm);
    return context != nullptr && OrderEmergency(*context, code);
}

int16_t CC_CALL CC_ZEROES(int16_t arm) {
    return StartZeroing(OpenArm(arm), arm, CommandMessage(command::S15));
}

int16_t CC_CALL CC_ZEROESAB(int16_t arm) {
    return StartZeroing(OpenArm(arm), arm, CommandMessage(command::S15).Letter('A').Letter('B'));
}

int16_t CC_CALL CC_NCONWAITSTART(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !IsMeasuring(*context)) return 0;
    ReplyState &replies = context->replies;
    const bool waits = on != 0 && (replies.extendedInfo || replies.controllerInfo.optionCode == kOptionP10);
    const CommandMessage message(waits ? command::P10 : command::P02);
    if (!QueueMessage(context->link, kPriority, message)) return 0;
    if (!WaitForAck(*context, kStartAckTimeoutMs)) return 0;
    if (on != 0 && NeedsP10(replies)) NoteP10(replies);
    return 1;
}
