#include <thread>
#include <vector>

#include "cc_interface_posix.h"
#include "watch/told_state.h"

namespace cmm {
namespace {

constexpr auto kTurn = std::chrono::milliseconds(5);
constexpr uint8_t kStuffed = 0x1B;
constexpr uint8_t kStuffing = 0x20;  // added to the byte behind it

// The state that a data frame brings, if its reply is 0 or 13. Bytes: type, count, state, reply.
std::optional<int> StateIn(const CC_LinkFrame &frame) {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < CC_LINK_FRAME_BYTES && i < frame.length; ++i) {
        const bool stuffed = frame.bytes[i] == kStuffed && i + 1 < CC_LINK_FRAME_BYTES;
        bytes.push_back(stuffed ? static_cast<uint8_t>(frame.bytes[++i] - kStuffing) : frame.bytes[i]);
    }
    const bool isState =
        bytes.size() > 3 && (bytes[0] == 3 || bytes[0] == 4) && (bytes[3] == 0 || bytes[3] == 13);
    return isState ? std::optional<int>(static_cast<int8_t>(bytes[2])) : std::nullopt;
}

// The last one that has come, if any.
std::optional<int> ToldState() {
    CC_LinkFrame frames[CC_LINK_FRAMES];
    const int count = CC_LINK_HISTORY(1, frames, CC_LINK_FRAMES);
    std::optional<int> state, received;
    for (int i = 0; i < count; ++i) {
        const CC_LinkFrame &frame = frames[i];
        if (frame.sent == 0) {
            if (const auto told = StateIn(frame)) received = told;
            continue;
        }
        // A frame that the library takes for damaged is not acknowledged.
        const bool acknowledges = frame.length == 2 && (frame.bytes[0] == 2 || frame.bytes[0] == 5);
        if (acknowledges && received) state = received;
        if (frame.length == 2) received.reset();
    }
    return state;
}

}  // namespace

std::optional<int> AwaitState(std::chrono::milliseconds longest) {
    const auto end = std::chrono::steady_clock::now() + longest;
    std::optional<int> state = ToldState();
    while (!state && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kTurn);
        state = ToldState();
    }
    return state;
}

bool CanTellState() {
    return true;
}

}  // namespace cmm
