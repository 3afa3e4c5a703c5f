#include "link/link_history.h"

#include <algorithm>

namespace cc {

void FrameHistory::Add(bool sent, const uint8_t *bytes, int32_t length) {
    Frame &frame = frames[next];
    frame = {};
    frame.sent = sent ? 1 : 0;
    frame.length = static_cast<uint8_t>(std::min(length, 255));
    std::copy_n(bytes, std::min(length, kBytes), frame.bytes);
    next = (next + 1) % kFrames;
    count = std::min(count + 1, kFrames);
}

}  // namespace cc
