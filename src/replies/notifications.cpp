#include "replies/notifications.h"

namespace cc {

void Notify(const ReplyState &replies, int32_t event, uint16_t infoWord, void *data) {
    if (replies.notifyCallback != nullptr) replies.notifyCallback(event, infoWord, data);
}

void NotifyHold(const ReplyState &replies, uint8_t word) {
    uint8_t data[] = {word, 0};
    Notify(replies, CC_EVENT_HOLD, info::kHold, data);
}

void NotifyResume(const ReplyState &replies, uint8_t word) {
    uint8_t data[] = {word, 0};
    Notify(replies, CC_EVENT_RESUME, info::kResume, data);
}

}  // namespace cc
