// The exports by which a program outside Windows looks at the link.
#include <algorithm>
#include <cstring>

#include "arm/arm_context.h"
#include "cc_interface_posix.h"
#include "link/link_guard.h"

using namespace cc;

static_assert(sizeof(CC_LinkStatistics) == sizeof(LinkStatistics) &&
              CC_LINK_FRAMES == FrameHistory::kFrames && sizeof(CC_LinkFrame) == sizeof(FrameHistory::Frame));

namespace {

// The records of both sides hold the same values in the same order.
void Copy(LinkState &link, CC_LinkStatistics *out) {
    const LinkGuard guard(link);
    std::memcpy(out, &link.statistics, sizeof *out);
}

int32_t CopyLast(LinkState &link, CC_LinkFrame *out, int32_t capacity) {
    const LinkGuard guard(link);
    const int32_t count = std::min(capacity, link.history.count);
    const int32_t first = link.history.count - count;
    for (int32_t i = 0; i < count; ++i) std::memcpy(out + i, &link.history.At(first + i), sizeof *out);
    return count;
}

}  // namespace

int16_t CC_LINK_STATISTICS(int16_t arm, CC_LinkStatistics *out) {
    if (out == nullptr) return 0;
    Copy(SelectArm(arm).link, out);
    return 1;
}

int16_t CC_LINK_HISTORY(int16_t arm, CC_LinkFrame *out, int16_t capacity) {
    if (out == nullptr || capacity < 1) return 0;
    return static_cast<int16_t>(CopyLast(SelectArm(arm).link, out, capacity));
}
