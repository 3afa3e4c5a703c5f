#include "line_host.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <vector>

namespace emulator {
namespace {

// Between two pieces, so that their ends do not reach a busy host together.
constexpr int64_t kPieceGap = 2 * kMillisecond;
constexpr int64_t kLongestTurn = 20 * kMillisecond;

}  // namespace

int64_t LineHost::MonotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * kSecond + now.tv_nsec / 1000;
}

int64_t LineHost::Now() const {
    return MonotonicMicroseconds() - begin_;
}

void LineHost::Add(Peer &peer, int descriptor, int64_t byteTime, std::function<void()> unplug) {
    lanes_.push_back({&peer, descriptor, byteTime, std::move(unplug), {}, 0, 0});
}

void LineHost::ReadFrom(Lane &lane) {
    uint8_t bytes[512];
    const ssize_t count = read(lane.descriptor, bytes, sizeof bytes);
    for (ssize_t i = 0; i < count; ++i) lane.peer->Receive(bytes[i]);
}

void LineHost::WriteTo(Lane &lane) {
    for (Bytes piece = lane.peer->TakeOutput(); !piece.empty(); piece = lane.peer->TakeOutput()) {
        lane.pieces.push_back(std::move(piece));
    }
    const int64_t now = Now();
    while (!lane.pieces.empty() && lane.nextWrite <= now) {
        const Bytes &piece = lane.pieces.front();
        const size_t step = lane.byteTime != 0 ? 1 : piece.size() - lane.written;
        const ssize_t count = write(lane.descriptor, piece.data() + lane.written, step);
        // A line that nobody reads overflows, as a line does.
        lane.written += count > 0 ? static_cast<size_t>(count) : step;
        lane.nextWrite = std::max(lane.nextWrite + lane.byteTime, now - lane.byteTime);
        if (lane.written < piece.size()) continue;
        lane.pieces.pop_front();
        lane.written = 0;
        lane.nextWrite = std::max(lane.nextWrite, now + kPieceGap);
    }
}

int64_t LineHost::NextTime(const Lane &lane) const {
    return lane.pieces.empty() ? lane.peer->NextDue() : std::min(lane.peer->NextDue(), lane.nextWrite);
}

void LineHost::RunOnce(int64_t longest) {
    std::vector<pollfd> waits;
    int64_t next = Now() + longest;
    for (Lane &lane : lanes_) {
        waits.push_back({lane.descriptor, POLLIN, 0});
        if (lane.descriptor >= 0) next = std::min(next, NextTime(lane));
    }
    const int64_t wait = std::max<int64_t>(next - Now(), 0);
    const timespec limit{static_cast<time_t>(wait / kSecond), static_cast<long>(wait % kSecond * 1000)};
    ppoll(waits.data(), waits.size(), &limit, nullptr);
    for (size_t i = 0; i < lanes_.size(); ++i) {
        Lane &lane = lanes_[i];
        if (lane.descriptor < 0) continue;
        lane.peer->AdvanceTo(Now());
        if ((waits[i].revents & POLLIN) != 0) ReadFrom(lane);
        WriteTo(lane);
        if (!lane.peer->IsUnplugged()) continue;
        lane.unplug();
        lane.descriptor = -1;
    }
}

void LineHost::Run(const std::atomic<bool> &stop) {
    while (!stop) RunOnce(kLongestTurn);
}

int OpenDevice(const std::string &path, int baud, bool evenParity, int stopBits) {
    const int descriptor = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios mode{};
    if (descriptor < 0 || tcgetattr(descriptor, &mode) != 0) {
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    }
    cfmakeraw(&mode);
    mode.c_cflag |= CLOCAL | CREAD | (evenParity ? PARENB : 0u) | (stopBits == 2 ? CSTOPB : 0u);
    const speed_t speed = baud == 4800 ? B4800 : B9600;
    cfsetispeed(&mode, speed);
    cfsetospeed(&mode, speed);
    tcsetattr(descriptor, TCSANOW, &mode);
    return descriptor;
}

}  // namespace emulator
