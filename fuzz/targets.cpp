#include "targets.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "arm/arm_context.h"
#include "exchange/decoder.h"
#include "link/link_control.h"
#include "platform/port_definition.h"
#include "platform/portable/profile_scanner.h"
#include "probehead/head_answer.h"

namespace cc::fuzz {
namespace {

// Ends the run where a property does not hold, so that the fuzzer keeps the input.
void Check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

// Frames, each ended by its terminator or by the end of the data, on a closed port: what is answered goes
// nowhere.
void ReceivedFrames(const uint8_t *data, size_t size) {
    ArmContext &arm = SelectArm(1);
    arm.link.rxSequence = size > 0 ? data[0] % 3 - 1 : 0;
    arm.link.txSequence = 0;
    MessageSlot &inFlight = arm.link.queues.sendQueue[arm.link.queues.sendRead];
    inFlight.data[0] = kData0;
    inFlight.Publish(kReceiveBytes);
    while (size > 0) {
        const uint8_t *const end = std::find(data, data + size, kTerminator);
        const size_t count = std::min<size_t>(end - data + (end == data + size ? 0 : 1), size);
        if (count <= kReceiveBytes) ProcessFrame(arm.link, data, static_cast<uint32_t>(count));
        data += count;
        size -= count;
    }
    Check(arm.link.rxSequence >= -1 && arm.link.rxSequence <= 1);
    for (MessageSlot &slot : arm.link.linkRxSlots) Check(!slot.IsBusy());
}

// Bytes 0 and 1: state and what is awaited. Then replies, each after a byte with its length.
void Replies(const uint8_t *data, size_t size) {
    ArmContext &arm = SelectArm(1);
    ResetMoveBuffer(arm.motion);
    const double approach[3] = {};
    for (const uint16_t tag : {65504, 7, 65505, 65520}) FileHistory(arm.motion, tag, approach);
    if (size < 2) return;
    arm.replies.controllerState = static_cast<int8_t>(data[0]);
    arm.replies.awaitedReply = static_cast<int8_t>(data[1]);
    arm.link.simulationMode = true;
    arm.link.mmTimerRunning = true;
    for (size_t at = 2; at < size;) {
        const size_t length = std::min<size_t>(data[at] + 1, size - at);
        MessageSlot &slot = arm.link.queues.replyQueue[arm.link.queues.replyRead];
        std::copy_n(data + at, length, slot.data);
        slot.Publish(static_cast<uint16_t>(length));
        DecodeReplies(SelectArm(1), 1);
        Check(!slot.IsBusy());
        at += length;
    }
    Check(arm.motion.moveHistoryRead >= 0 && arm.motion.moveHistoryRead < kHistoryEntries);
}

void PortDefinition(const uint8_t *data, size_t size) {
    platform::IsPortDefinition(std::string(reinterpret_cast<const char *>(data), size).c_str());
}

void Profile(const uint8_t *data, size_t size) {
    platform::ProfileScanner scanner("Timers", "Lo Period");
    scanner.Feed(reinterpret_cast<const char *>(data), size);
    if (!scanner.Finish()) return;
    platform::LeadingInteger(scanner.Value());
    char text[40];
    platform::CopyText(scanner.Value(), text, sizeof text);
}

void HeadAnswer(const uint8_t *data, size_t size) {
    cc::HeadRecord head;
    ClassifyHeadAnswer(head, {reinterpret_cast<const char *>(data), std::min<size_t>(size, kHeadReplyBytes)});
    Check(head.headEvent >= kHeadNothing && head.headEvent <= kHeadPosition);
}

}  // namespace cc::fuzz
