#include "line_host.h"

#include <algorithm>
#include <vector>

#include "device.h"

namespace emulator {
namespace {

constexpr int64_t kLongestTurn = 20 * kMillisecond;

}  // namespace

int64_t LineHost::Now() const {
    return MonotonicMicroseconds() - begin_;
}

void LineHost::Add(Peer &peer, int descriptor, int64_t byteTime, std::function<void()> unplug,
                   int64_t pieceGap) {
    lanes_.push_back({&peer, descriptor, byteTime, pieceGap, std::move(unplug)});
}

void LineHost::ReadFrom(Lane &lane) {
    uint8_t bytes[512];
    const size_t count = ReadDevice(lane.descriptor, bytes, sizeof bytes);
    if (count == 0) return;
    if (onBytes) onBytes(Direction::ToController, bytes, count);
    int64_t due = Now();
    if (!lane.arrivals.empty()) due = std::max(due, lane.arrivals.back().due);
    for (size_t i = 0; i < count; ++i) lane.arrivals.push_back({bytes[i], due += lane.byteTime});
}

// Gives the peer what has come by now.
void LineHost::Deliver(Lane &lane) {
    const int64_t now = Now();
    while (!lane.arrivals.empty() && lane.arrivals.front().due <= now) {
        const uint8_t byte = lane.arrivals.front().byte;
        lane.arrivals.pop_front();
        lane.peer->Receive(byte);
    }
}

// When the next byte to the host has gone over the line, which is when the host sees it.
int64_t LineHost::NextWrite(const Lane &lane) {
    return std::max(lane.writeFree, lane.pieces.front().ready) + lane.byteTime;
}

void LineHost::WriteTo(Lane &lane) {
    const int64_t now = Now();
    for (Bytes piece = lane.peer->TakeOutput(); !piece.empty(); piece = lane.peer->TakeOutput()) {
        lane.pieces.push_back({std::move(piece), now});
    }
    while (!lane.pieces.empty() && NextWrite(lane) <= now) {
        const Bytes &piece = lane.pieces.front().bytes;
        const size_t step = lane.byteTime != 0 ? 1 : piece.size() - lane.written;
        if (onBytes) onBytes(Direction::ToHost, piece.data() + lane.written, step);
        const size_t count = WriteDevice(lane.descriptor, piece.data() + lane.written, step);
        // Bytes that are late do not come in a bunch.
        lane.writeFree = std::max(NextWrite(lane), now - lane.byteTime);
        // A line that nobody reads overflows, as a line does.
        lane.written += count > 0 ? count : step;
        if (lane.written < piece.size()) continue;
        lane.pieces.pop_front();
        lane.written = 0;
        if (lane.pieceGap != 0) lane.writeFree = now + lane.pieceGap;
    }
}

int64_t LineHost::NextTime(const Lane &lane) {
    int64_t next = lane.peer->NextDue();
    if (!lane.pieces.empty()) next = std::min(next, NextWrite(lane));
    if (!lane.arrivals.empty()) next = std::min(next, lane.arrivals.front().due);
    return next;
}

void LineHost::RunOnce(int64_t longest) {
    std::vector<int> waits;
    int64_t next = Now() + longest;
    for (Lane &lane : lanes_) {
        waits.push_back(lane.descriptor);
        if (lane.descriptor >= 0) next = std::min(next, NextTime(lane));
    }
    AwaitInput(waits, next - Now());
    for (Lane &lane : lanes_) {
        if (lane.descriptor < 0) continue;
        lane.peer->AdvanceTo(Now());
        ReadFrom(lane);
        Deliver(lane);
        WriteTo(lane);
        if (!lane.peer->IsUnplugged()) continue;
        lane.unplug();
        lane.descriptor = -1;
    }
}

void LineHost::Run(const std::atomic<bool> &stop) {
    while (!stop) RunOnce(kLongestTurn);
}

}  // namespace emulator
