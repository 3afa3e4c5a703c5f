#include "replies/notifications.h"

#include "replies/worker_hold.h"

namespace cc {

void Notify(ReplyState &replies, int32_t event, uint16_t infoWord, void *data) {
    if (replies.notifyCallback == nullptr) return;
    const WorkerHold hold(replies);
    replies.notifyCallback(event, infoWord, data);
}

void NotifyHold(ReplyState &replies, uint8_t word) {
    uint8_t data[] = {word, 0};
    Notify(replies, CC_EVENT_HOLD, info::kHold, data);
}

void NotifyResume(ReplyState &replies, uint8_t word) {
    uint8_t data[] = {word, 0};
    Notify(replies, CC_EVENT_RESUME, info::kResume, data);
}

}  // namespace cc
