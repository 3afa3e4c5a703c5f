#include "probehead/head_protocol.h"

#include <cstdlib>

#include "cc_interface.h"
#include "platform/clock.h"
#include "platform/port_definition.h"
#include "probehead/head_answer.h"

namespace cc {
namespace {

constexpr int kResends = 10;
constexpr uint8_t kCarriageReturn = 13;
constexpr int16_t kHeadErrorBase = 100;  // added to the error letter in the emergency code

constexpr int32_t kHeadBaud = 4800;
constexpr int32_t kHeadStopBits = 2;
constexpr int32_t kXonXoff = 2;

void InitHeadState(HeadRecord &head) {
    head.headEvent = kHeadNothing;
    head.headErrorCode = 0;
    head.headA = head.headB = head.headSimulated != 0 ? 0.0 : kHeadAngleUnknown;
    head.headReply[0] = '\0';
}

int32_t ReadHeadLine(ArmContext &context) {
    if (context.headPort.IsLineReady() == 0) return 0;
    char *const text = context.head.headReply;
    const uint32_t count = context.headPort.Read(reinterpret_cast<uint8_t *>(text), kHeadReplyBytes);
    text[count] = '\0';
    return static_cast<int32_t>(count);
}

bool OpenPort(ArmContext &context, const char *settingsText) {
    const int32_t port = std::atoi(settingsText + 3);
    CHeadPort &headPort = context.headPort;
    return headPort.Configure(port, kHeadBaud, 'N', 8, kHeadStopBits, kXonXoff, kCarriageReturn) != 0 &&
           headPort.Open(kCarriageReturn) != 0;
}

// Waits for the answer to a text just sent, sending it again while none comes.
void WaitWithResends(ArmContext &context, int16_t arm, std::string_view text, HeadAnswer awaited) {
    for (int resends = 0; WaitHead(arm, awaited) == 0 && resends < kResends; ++resends) {
        SendHeadCommand(context, text);
    }
}

}  // namespace

uint16_t OpenHead(ArmContext &context, int16_t arm, const char *settingsText, bool simulated) {
    context.head.headSimulated = simulated ? 1 : 0;
    InitHeadState(context.head);
    if (simulated) return CC_OK;
    if (!platform::IsPortDefinition(settingsText)) return CC_BAD_HEAD_PORT;
    if (!OpenPort(context, settingsText)) return CC_PORT_NOT_OPENED;
    // The first question may meet a head that is still starting.
    SendHeadCommand(context, kHeadStatus);
    WaitHead(arm, kHeadPosition);
    if (SendHeadCommand(context, kHeadStatus) == 0) {
        context.headPort.Close();
        return CC_PORT_NOT_OPENED;
    }
    WaitWithResends(context, arm, kHeadStatus, kHeadPosition);
    return CC_OK;
}

void CloseHead(ArmContext &context) {
    if (context.head.headSimulated != 0) return;
    context.headPort.Purge();
    context.headPort.Close();
}

int16_t SendHeadCommand(ArmContext &context, std::string_view text) {
    if (context.headPort.IsOpen() == 0) return 1;
    const auto *const bytes = reinterpret_cast<const uint8_t *>(text.data());
    return context.headPort.Write(bytes, static_cast<uint32_t>(text.size())) == text.size() ? 1 : 0;
}

void PollHead(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    HeadRecord &head = context.head;
    if (head.headSimulated != 0) return;
    head.headEvent = kHeadNothing;
    head.headErrorCode = 0;
    const int32_t count = ReadHeadLine(context);
    if (count > 0) ClassifyHeadAnswer(head, head.headReply);
}

int16_t WaitHead(int16_t arm, HeadAnswer awaited) {
    ArmContext &context = SelectArm(arm);
    HeadRecord &head = context.head;
    head.headBusy = 1;
    head.headEvent = kHeadNothing;
    int16_t came = 0;
    for (int32_t polls = 0; polls < context.settings.headTimeoutTicks && came == 0; ++polls) {
        platform::Sleep(static_cast<uint32_t>(context.settings.loPeriodMs));
        PollHead(arm);
        if (head.headEvent == kHeadError) {
            RaiseHeadError(context, arm);
            break;
        }
        came = head.headEvent == awaited ? 1 : 0;
    }
    if (came == 0) head.headEvent = kHeadNothing;
    head.headBusy = 0;
    return came;
}

int16_t CommandHead(int16_t arm, std::string_view text, HeadAnswer awaited) {
    ArmContext &context = SelectArm(arm);
    if (SendHeadCommand(context, text) == 0) return 0;
    WaitWithResends(context, arm, text, awaited);
    return 1;
}

void RaiseHeadError(const ArmContext &context, int16_t arm) {
    CC_EMERGENCY(arm, static_cast<int16_t>(context.head.headErrorCode + kHeadErrorBase));
}

}  // namespace cc
