// Frames and replies one by one, apart from the line that brings them.
#include "arm_records.h"
#include "exchange/decoder.h"
#include "input.h"
#include "link/link_control.h"
#include "targets.h"

namespace cc::fuzz {

// Frames, each ended by its terminator or by the end of the data, on a closed port: what is answered goes
// nowhere.
void ReceivedFrames(const uint8_t *data, size_t size) {
    ArmContext &arm = RenewArm(User::Frames);
    arm.link.rxSequence = size > 0 ? data[0] % 3 - 1 : 0;
    MessageQueues &queues = arm.link.queues;
    MessageSlot &inFlight = queues.sendQueue[queues.sendWrite];
    inFlight.data[0] = kData0;
    inFlight.Publish(kReceiveBytes);
    queues.sendWrite = NextIndex(queues.sendWrite, kSendSlots);
    while (size > 0) {
        const uint8_t *const end = std::find(data, data + size, kTerminator);
        const size_t count = std::min<size_t>(end - data + (end == data + size ? 0 : 1), size);
        if (count <= kReceiveBytes) ProcessFrame(arm.link, data, static_cast<uint32_t>(count));
        data += count;
        size -= count;
    }
    CheckRecords(arm);
}

// Bytes 0 and 1: state and what is awaited. Then replies, each after a byte with its length.
void Replies(const uint8_t *data, size_t size) {
    ArmContext &arm = RenewArm(User::Replies);
    const double approach[3] = {};
    for (const uint16_t tag : {65504, 7, 65505, 65520}) FileHistory(arm.motion, tag, approach);
    Input input(data, size);
    arm.replies.controllerState = input.Number<int8_t>();
    arm.replies.awaitedReply = input.Number<int8_t>();
    arm.link.simulationMode = true;
    MessageQueues &queues = arm.link.queues;
    while (!input.IsEmpty()) {
        const uint8_t *const reply = input.Rest();
        const size_t length = input.Skip(size_t{*reply} + 1);
        MessageSlot &slot = queues.replyQueue[queues.simReplyWrite];
        std::copy_n(reply, length, slot.data);
        slot.Publish(static_cast<uint16_t>(length));
        queues.simReplyWrite = NextIndex(queues.simReplyWrite, kReplySlots);
        DecodeReplies(arm, 1);
        Check(!slot.IsBusy());
    }
    CheckRecords(arm);
}

}  // namespace cc::fuzz
