#include "platform/serial_line.h"

#include <algorithm>
#include <cstddef>
#include <map>

#include "platform/line_watcher.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"

namespace cc::platform {

// Of the input, as on the systems that ship; what comes beyond them replaces the oldest.
constexpr size_t kInputBytes = 4096;

/// A line is a plug: it is in one port or in none.
struct Line {
    VirtualPort *port = nullptr;
};

VirtualPort &VirtualPort::Number(int32_t port) {
    // Never destroyed: static ports may still be closed while the process ends.
    static auto &ports = *new std::map<int32_t, VirtualPort>;
    return ports[port];
}

void VirtualPort::Send(const std::vector<uint8_t> &bytes) {
    World &world = World::Instance();
    toHostFree_ = std::max(toHostFree_, world.Now());
    for (const uint8_t byte : bytes) {
        toHostFree_ += byteTime;
        world.At(toHostFree_, [this, byte] {
            Arrive(byte);
            ReportEvents();
        });
    }
}

void VirtualPort::SendTogether(const std::vector<uint8_t> &bytes) {
    for (const uint8_t byte : bytes) Arrive(byte);
    ReportEvents();
}

void VirtualPort::Arrive(uint8_t byte) {
    if (!open_ || !present || lost_) return;
    if (received_.size() == kInputBytes) received_.pop_front();
    received_.push_back(byte);
    if (byte == settings_.eventChar) eventPending_ = true;
    if (onInput) onInput(byte);
}

bool VirtualPort::HoldsEventChar() const {
    return std::find(received_.begin(), received_.end(), settings_.eventChar) != received_.end();
}

void VirtualPort::ReportEvents() {
    if (reporting_ || reading_) return;
    World &world = World::Instance();
    if (world.StandsStill()) {
        world.At(world.StillUntil() + 1, [this] { ReportEvents(); });
        return;
    }
    reporting_ = true;
    while (eventPending_ && procedure_ != nullptr) {
        eventPending_ = false;
        procedure_(user_);
    }
    reporting_ = false;
}

SerialLine::SerialLine() : line_(new Line) {}

SerialLine::~SerialLine() {
    Close();
    delete line_;
}

bool SerialLine::Open(int32_t port) {
    VirtualPort &opened = VirtualPort::Number(port);
    if (!opened.present || opened.open_ || World::Instance().CallFails()) return false;
    opened.open_ = true;
    opened.lost_ = false;
    opened.received_.clear();
    opened.eventPending_ = false;
    line_->port = &opened;
    return true;
}

bool SerialLine::Apply(const LineSettings &settings) {
    if (line_->port == nullptr || line_->port->refuseSettings || World::Instance().CallFails()) return false;
    line_->port->settings_ = settings;
    return true;
}

bool SerialLine::SetTimeouts(uint32_t readMs, uint32_t writeMs) {
    if (line_->port == nullptr || World::Instance().CallFails()) return false;
    line_->port->readTimeoutMs_ = readMs;
    line_->port->writeTimeoutMs_ = writeMs;
    return true;
}

ReadResult SerialLine::Read(uint8_t *buffer, uint32_t count) {
    VirtualPort *const port = line_->port;
    World &world = World::Instance();
    if (port == nullptr || !port->present || port->lost_ || world.CallFails()) return {0, false};
    const auto enough = [port, count] {
        return port->received_.size() >= count || !port->open_ || !port->present;
    };
    const bool waited = !enough();
    if (waited) {
        port->reading_ = !port->reporting_;
        world.PassUntil(world.Now() + port->readTimeoutMs_ * kMillisecond, enough);
        port->reading_ = false;
        world.At(world.Now(), [port] { port->ReportEvents(); });
    }
    const size_t taken = std::min<size_t>(count, port->received_.size());
    std::copy_n(port->received_.begin(), taken, buffer);
    port->received_.erase(port->received_.begin(),
                          port->received_.begin() + static_cast<std::ptrdiff_t>(taken));
    return {static_cast<uint32_t>(taken), waited};
}

uint32_t SerialLine::Write(const uint8_t *bytes, uint32_t count) {
    VirtualPort *const port = line_->port;
    World &world = World::Instance();
    if (port == nullptr || !port->present || port->lost_ || world.CallFails()) return 0;
    const uint32_t written = std::min(count, port->writeSpace);
    if (port->writeSpace != UINT32_MAX) port->writeSpace -= written;
    port->toFarEndFree_ = std::max(port->toFarEndFree_, world.Now());
    for (uint32_t i = 0; i < written; ++i) {
        port->toFarEndFree_ += port->byteTime;
        world.At(port->toFarEndFree_, [port, byte = bytes[i]] {
            if (port->farEnd && port->present) port->farEnd(byte);
        });
    }
    return written;
}

uint32_t SerialLine::Post(const uint8_t *bytes, uint32_t count) {
    return Write(bytes, count);
}

bool SerialLine::HoldsEventChar() {
    return line_->port != nullptr && line_->port->HoldsEventChar();
}

bool SerialLine::HasUnreadEvent() {
    const VirtualPort *const port = line_->port;
    return port != nullptr && (port->eventPending_ || port->reporting_ || port->HoldsEventChar());
}

void SerialLine::ReportAgain() {
    VirtualPort *const port = line_->port;
    if (port == nullptr) return;
    World &world = World::Instance();
    world.At(world.Now(), [port] {
        if (port->HoldsEventChar()) port->eventPending_ = true;
        port->ReportEvents();
    });
}

bool SerialLine::IsLost() {
    VirtualPort *const port = line_->port;
    if (port != nullptr && !port->present) port->lost_ = true;
    return port != nullptr && port->lost_;
}

void SerialLine::Close() {
    if (line_->port != nullptr) line_->port->open_ = false;
    line_->port = nullptr;
}

bool LineWatcher::Start(SerialLine &line, WatcherPriority, LineEventProcedure procedure, void *user) {
    VirtualPort *const port = line.State()->port;
    if (port == nullptr || World::Instance().CallFails()) return false;
    port->procedure_ = procedure;
    port->user_ = user;
    line_ = line.State();
    return true;
}

void LineWatcher::Rearm() {}

bool LineWatcher::Stop(uint32_t) {
    // The line may have been closed first; its port is then known no more, and a closed port reports nothing.
    if (line_ != nullptr && line_->port != nullptr) line_->port->procedure_ = nullptr;
    line_ = nullptr;
    return true;
}

}  // namespace cc::platform
