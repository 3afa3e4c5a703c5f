#include "probehead/head_protocol.h"

#include <cstdlib>

#include "cc_interface.h"
#include "platform/clock.h"
#include "platform/port_definition.h"
#include "probehead/head_answer.h"

namespace cc {
namespace {

constexpr uint8_t kCarriageReturn = 13;

constexpr int32_t kHeadBaud = 4800;
constexpr int32_t kHeadStopBits = 2;
constexpr int32_t kXonXoff = 2;

void InitHeadState(HeadRecord &head) {
    head.headEvent = kHeadNothing;
    head.headErrorCode = 0;
    head.headA = head.headB = head.headSimulated ? 0.0 : kHeadAngleUnknown;
    head.headReply[0] = '\0';
}

// Reads what has come. Result: whether anything had.
bool ReadHeadLine(ProbeHead &head) {
    if (!head.port.IsLineReady()) return false;
    char *const text = head.headReply;
    const uint32_t count = head.port.Read(reinterpret_cast<uint8_t *>(text), kHeadReplyBytes);
    text[count] = '\0';
    return count > 0;
}

bool OpenPort(CHeadPort &port, const char *settingsText) {
    const int32_t number = std::atoi(settingsText + 3);
    return port.Configure(number, kHeadBaud, 'N', 8, kHeadStopBits, kXonXoff, kCarriageReturn) &&
           port.Open(kCarriageReturn);
}

}  // namespace

uint16_t OpenHead(ProbeHead &head, const char *settingsText, bool simulated) {
    head.headSimulated = simulated;
    InitHeadState(head);
    if (simulated) return CC_OK;
    if (!platform::IsPortDefinition(settingsText)) return CC_BAD_HEAD_PORT;
    return OpenPort(head.port, settingsText) ? CC_OK : CC_PORT_NOT_OPENED;
}

void CloseHead(ProbeHead &head) {
    if (head.headSimulated) return;
    head.port.Purge();
    head.port.Close();
}

bool SendHeadCommand(ProbeHead &head, std::string_view text) {
    if (!head.port.IsOpen()) return true;
    const auto *const bytes = reinterpret_cast<const uint8_t *>(text.data());
    return head.port.Write(bytes, static_cast<uint32_t>(text.size())) == text.size();
}

void PollHead(ProbeHead &head) {
    if (head.headSimulated) return;
    head.headEvent = kHeadNothing;
    head.headErrorCode = 0;
    if (ReadHeadLine(head)) ClassifyHeadAnswer(head, head.headReply);
}

HeadWait WaitHead(ProbeHead &head, HeadAnswer awaited) {
    HeadWait result = HeadWait::Silent;
    head.headBusy = true;
    head.headEvent = kHeadNothing;
    for (int32_t polls = 0; polls < head.mostPolls && result == HeadWait::Silent; ++polls) {
        platform::Sleep(head.pollMs);
        PollHead(head);
        if (head.headEvent == kHeadError) {
            result = HeadWait::Error;
        } else if (head.headEvent == awaited) {
            result = HeadWait::Answered;
        }
    }
    if (result != HeadWait::Answered) head.headEvent = kHeadNothing;
    head.headBusy = false;
    return result;
}

}  // namespace cc
