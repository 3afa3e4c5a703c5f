// A command and its reply without the library: what the line and the system allow.
#pragma once

#include <cstddef>
#include <cstdint>

#include "far_end.h"

namespace bench {

/// The command whose reply is waited for: S26, a buffer operation that the controller only acknowledges. Count,
/// class and name.
inline constexpr uint8_t kCommand[] = {4, 1, 'S', '2', '6'};
inline constexpr int16_t kCommandReply = 26;
/// Bytes on the line: the command's frame, its acknowledgement, the frame of the reply.
inline constexpr int kCommandBytes = 8 + 2 + 9;

/// The user of a line that does nothing but write a command's frame, read until acknowledgement and reply have
/// come, and acknowledge the reply. It never repeats a frame. Failures are thrown as std::runtime_error.
class PingPong {
  public:
    /// Opens the line and starts the link.
    explicit PingPong(const FarEnd &farEnd);
    ~PingPong();
    PingPong(const PingPong &) = delete;
    PingPong &operator=(const PingPong &) = delete;

    /// One command, until its reply has been acknowledged.
    void Exchange();

  private:
    void Write(const uint8_t *bytes, size_t count);
    /// The controller starts the link when it has given up a reply.
    void AnswerStart();
    /// Type of the next frame, whose bytes are dropped. Start-links are answered.
    uint8_t ReadFrame();

    int device_;
    int64_t patience_ = 0;  // until then frames are waited for, Now()'s time
    uint8_t read_[512];
    size_t first_ = 0;
    size_t count_ = 0;
    int txSequence_ = 0;
    int rxSequence_ = 0;
};

}  // namespace bench
