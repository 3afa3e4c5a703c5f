// What a link did: counts of what went over the wire, and the last frames both ways.
#pragma once

#include <cstdint>

namespace cc {

/// Since the link was reset. A frame that the line did not take is not counted. CC_LinkStatistics has the same layout.
struct LinkStatistics {
    uint32_t framesSent = 0;  // data frames, for the first time
    uint32_t framesRepeated = 0;
    uint32_t framesGivenUp = 0;
    uint32_t framesDelivered = 0;  // data frames received, right and new
    uint32_t framesIgnored = 0;    // data frames received once more
    uint32_t acknowledgementsSent = 0;
    uint32_t acknowledgements = 0;  // received, of the frame in flight
    uint32_t lineErrorsSent = 0;
    uint32_t lineErrorsReceived = 0;
    uint32_t startLinksSent = 0;
    uint32_t startLinksReceived = 0;
    uint32_t startAcksSent = 0;
    uint32_t startAcksReceived = 0;
};

/// The beginnings of the last frames both ways, for a look after a failure.
struct FrameHistory {
    static constexpr int32_t kFrames = 32;
    static constexpr int32_t kBytes = 14;

    /// CC_LinkFrame has the same layout.
    struct Frame {
        uint8_t sent;    // 1: by the host
        uint8_t length;  // of the whole frame, 255 for a longer one
        uint8_t bytes[kBytes];
    };
    Frame frames[kFrames]{};
    int32_t next = 0;   // index of the frame to write next, the oldest once all are filled
    int32_t count = 0;  // frames that are filled

    void Add(bool sent, const uint8_t *bytes, int32_t length);
    /// The frame that is `index` frames younger than the oldest.
    const Frame &At(int32_t index) const { return frames[(next - count + index + kFrames) % kFrames]; }
};

}  // namespace cc
