#include "ping_pong.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <stdexcept>

namespace bench {
namespace {

constexpr uint8_t kEnd = 8;
constexpr uint8_t kStartLink = 9;
constexpr uint8_t kStartLinkAck = 6;
constexpr uint8_t kData[2] = {3, 4};
constexpr uint8_t kAck[2] = {2, 5};
constexpr uint8_t kChecksum = 0x52;  // exclusive-or of the command's bytes, none of which is stuffed

constexpr int64_t kPatience = 5'000'000'000;  // ns, for an exchange; longer than the controller repeats

}  // namespace

PingPong::PingPong(const FarEnd &farEnd)
    : device_(open((farEnd.Folder() + "/com1").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (device_ < 0) throw std::runtime_error("cannot open the line");
    const uint8_t start[] = {kStartLink, kEnd};
    Write(start, sizeof start);
    patience_ = Now() + kPatience;
    for (bool up = false, answered = false; !up || !answered;) {
        const uint8_t type = ReadFrame();
        up |= type == kStartLinkAck;
        answered |= type == kStartLink;
    }
}

PingPong::~PingPong() {
    close(device_);
}

void PingPong::Exchange() {
    const uint8_t frame[] = {kData[txSequence_], kCommand[0], kCommand[1], kCommand[2],
                             kCommand[3],        kCommand[4], kChecksum,   kEnd};
    Write(frame, sizeof frame);
    patience_ = Now() + kPatience;
    bool acknowledged = false, replied = false;
    while (!acknowledged || !replied) {
        const uint8_t type = ReadFrame();
        if (type == kAck[txSequence_]) acknowledged = true;
        if (type == kData[rxSequence_]) replied = true;
    }
    const uint8_t acknowledgement[] = {kAck[rxSequence_], kEnd};
    Write(acknowledgement, sizeof acknowledgement);
    txSequence_ ^= 1;
    rxSequence_ ^= 1;
}

void PingPong::Write(const uint8_t *bytes, size_t count) {
    if (write(device_, bytes, count) != static_cast<ssize_t>(count))
        throw std::runtime_error("the line takes nothing");
}

void PingPong::AnswerStart() {
    const uint8_t answer[] = {kStartLinkAck, kEnd};
    Write(answer, sizeof answer);
    rxSequence_ = 0;
}

uint8_t PingPong::ReadFrame() {
    uint8_t type = 0;
    for (;;) {
        if (first_ == count_) {
            pollfd input{device_, POLLIN, 0};
            const int left = static_cast<int>(Milliseconds(patience_ - Now()));
            const ssize_t taken =
                left > 0 && poll(&input, 1, left) == 1 ? read(device_, read_, sizeof read_) : ssize_t{-1};
            if (taken <= 0) throw std::runtime_error("the controller does not answer");
            first_ = 0;
            count_ = static_cast<size_t>(taken);
        }
        const uint8_t byte = read_[first_++];
        if (type == 0) type = byte;
        if (byte != kEnd) continue;
        if (type == kStartLink) AnswerStart();
        return type;
    }
}

}  // namespace bench
