// Commands that change the controller's settings, and messages that the client composes itself.
#include "commands/settings.h"

#include <cstring>

#include "cc_interface.h"
#include "commands/modes.h"
#include "exchange/flush.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "motion/move_buffer.h"

using namespace cc;

namespace {

constexpr int32_t kHeadBytes = 5;  // count, class, letter, two digits

uint8_t Flag(int16_t on) {
    return on != 0 ? 1 : 0;
}

// Newer controllers switch axes by S commands, in stopped status; older ones by P commands that end in an
// emergency state.
struct AxesOrder {
    CommandName name;
    int32_t awaited;
};

AxesOrder ChooseAxesOrder(bool newer, bool on) {
    if (newer)
        return on ? AxesOrder{command::S13, awaited::kAxesEnabled}
                  : AxesOrder{command::S12, awaited::kAxesDisabled};
    return {on ? command::P08 : command::P07, state::kEmergency};
}

bool FileBuffered(ArmContext &context, const void *bytes, int16_t length, int16_t value) {
    // An empty message would free a slot that the flush waits at, and stop it for good.
    if (length <= 0 || length > kMoveSlotBytes) return false;
    FileHistory(context.motion, static_cast<uint16_t>(value - 32), nullptr);
    FileMove(context, static_cast<const uint8_t *>(bytes), length);
    return true;
}

bool SendAndWait(ArmContext &context, int16_t arm, const void *bytes, int16_t length) {
    return QueueMessage(context.link, kNormal, length, static_cast<const uint8_t *>(bytes)) &&
           WaitForCompletion(context, arm);
}

// The same with the link acknowledgement waited for first.
bool SendAcknowledged(ArmContext &context, int16_t arm, const CommandMessage &message) {
    return QueueMessage(context.link, kNormal, message) && WaitForAck(context) &&
           WaitForCompletion(context, arm);
}

}  // namespace

namespace cc {

bool ReadStoredInfo(ArmContext &context, int16_t arm) {
    context.replies.awaitedReply = awaited::kAnyState;
    return SendAcknowledged(context, arm, CommandMessage(command::S19));
}

bool WriteStoredInfo(ArmContext &context, int16_t arm, const void *info) {
    context.replies.awaitedReply = awaited::Setting(command::S20);
    return SendAcknowledged(context, arm, CommandMessage(command::S20).Bytes(info, kInfoBytes));
}

}  // namespace cc

int16_t CC_CALL CC_FEED(int16_t arm, int16_t feed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    return QueueMessage(context->link, kNormal, CommandMessage(command::F34).Field('F', feed)) &&
           WaitForAck(*context);
}

int16_t CC_CALL CC_ENDIS_AXES(int16_t arm, int16_t on, int16_t n, const void *bytes) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || n < 0 || (n > 0 && bytes == nullptr)) return 0;
    if (n > CommandMessage::kCapacity - kHeadBytes) return 0;
    ReplyState &replies = context->replies;
    const bool newer = context->session.controllerClass == ControllerClass::Newer &&
                       replies.controllerInfo.controllerType != 0;
    if (newer && !OrderStatus(*context, arm, CC_ORDER_STOPPED)) return 0;
    const AxesOrder order = ChooseAxesOrder(newer, on != 0);
    replies.awaitedReply = order.awaited;
    CommandMessage message(order.name);
    if (n > 0) message.Bytes(bytes, n);
    if (!QueueMessage(context->link, kNormal, message)) return 0;
    replies.resetStatusPending = true;
    return WaitForCompletion(*context, arm);
}

int16_t CC_CALL CC_ENDIS_STARTHOLD_MSG(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    if (!context->replies.extendedInfo) return 1;
    context->replies.awaitedReply = awaited::kAnyState;
    return QueueMessage(context->link, kNormal, CommandMessage(command::S49).Byte(Flag(on))) &&
           WaitForCompletion(*context, arm);
}

int16_t CC_CALL CC_ENDIS_TP200(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    const CommandMessage message = CommandMessage(command::S54).Letter('M').Byte(Flag(on)).Byte(0);
    if (!QueueMessage(context->link, kNormal, message) || !WaitForAck(*context)) return 0;
    context->replies.awaitedReply = awaited::Setting(command::S54);
    return WaitForCompletion(*context, arm);
}

int16_t CC_CALL CC_TFMODE(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    // The byte sent and the code reported cross: on is sent as 9 and reported as 8, off the other way round.
    const CommandMessage message(on != 0 ? command::G3On : command::G3Off);
    FileHistory(context->motion, ReportTag(on != 0 ? CC_REPORT_TF_ON : CC_REPORT_TF_OFF), nullptr);
    FileMove(*context, message.Data(), message.Size());
    return 1;
}

int16_t CC_CALL CC_SETINFO(int16_t arm, const void *record) {
    ArmContext *const context = OpenArm(arm);
    return context != nullptr && record != nullptr && WriteStoredInfo(*context, arm, record);
}

int16_t CC_CALL CC_GETINFO(int16_t arm, void *out) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || out == nullptr || !ReadStoredInfo(*context, arm)) return 0;
    std::memcpy(out, context->replies.storedInfo, kInfoBytes);
    return 1;
}

void CC_CALL CC_STORE_COSDAT(int16_t arm, const uint32_t *table) {
    SessionState &session = SelectArm(arm).session;
    if (table != nullptr) std::memcpy(session.cosDat, table, sizeof session.cosDat);
}

int16_t CC_CALL CC_FREEFRAME(int16_t arm, const void *bytes, int16_t length, int16_t kind, int16_t value) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || bytes == nullptr || length < 0) return 0;
    switch (kind) {
        case CC_FRAME_BUFFERED:
            return FileBuffered(*context, bytes, length, value);
        case CC_FRAME_AWAITED:
        case 8:
            context->replies.awaitedReply = value;
            [[fallthrough]];
        case CC_FRAME_QUEUED:
            return SendAndWait(*context, arm, bytes, length);
        default:
            return 0;
    }
}
