#include "serial/serial_port.h"

#include <cstdio>

#include "platform/port_definition.h"

namespace cc {
namespace {

// Time-outs during a purge, which is to take what is there and not to wait for more.
constexpr uint32_t kPurgeTimeoutMs = 10;
constexpr uint32_t kPurgeChunk = 256;
// What a line can have pending, with much to spare; a line that goes on pouring is left alone after that.
constexpr uint32_t kMostPurged = 64 * kPurgeChunk;

}  // namespace

bool SerialPort::Configure(int32_t newPort, int32_t newBaud, char newParity, int32_t newDataBits,
                           int32_t newStopBits, int32_t newHandshake, uint8_t eventChar) {
    if (newBaud == 0) newBaud = baud;
    if (newParity == 0) newParity = parity;
    if (newDataBits == 0) newDataBits = dataBits;
    if (newStopBits == 0) newStopBits = stopBits;
    char text[96];
    std::snprintf(text, sizeof text, "com%d baud=%d parity=%c data=%d stop=%d", newPort, newBaud, newParity,
                  newDataBits, newStopBits);
    if (!platform::IsPortDefinition(text)) return false;
    const platform::LineSettings settings{newBaud,     newParity,    newDataBits,
                                          newStopBits, newHandshake, eventChar};
    if (IsOpen() && !line_.Apply(settings)) return false;
    port = newPort;
    baud = newBaud;
    parity = newParity;
    dataBits = newDataBits;
    stopBits = newStopBits;
    handshake = newHandshake;
    return true;
}

bool SerialPort::Open(uint8_t eventChar) {
    Close();
    if (!line_.Open(port)) return false;
    const bool ready = line_.Apply(Settings(eventChar)) && line_.SetTimeouts(readTimeout, writeTimeout);
    if (ready) open_.store(true, std::memory_order_release);
    const auto report = [](void *self) { static_cast<SerialPort *>(self)->OnEventChar(); };
    if (ready && watcher_.Start(line_, priority_, report, this)) return true;
    open_.store(false, std::memory_order_release);
    line_.Close();
    return false;
}

platform::LineSettings SerialPort::Settings(uint8_t eventChar) const {
    return {baud, parity, dataBits, stopBits, handshake, eventChar};
}

void SerialPort::SetTimeouts(uint32_t newReadTimeout, uint32_t newWriteTimeout) {
    readTimeout = newReadTimeout;
    writeTimeout = newWriteTimeout;
    if (IsOpen()) line_.SetTimeouts(readTimeout, writeTimeout);
}

uint32_t SerialPort::Read(uint8_t *buffer, uint32_t count) {
    if (!IsOpen()) return 0;
    const platform::Guard guard(readLock);
    const platform::ReadResult result = line_.Read(buffer, count);
    AfterRead(result.waited);
    return result.count;
}

uint32_t SerialPort::Write(const uint8_t *bytes, uint32_t count) {
    if (!IsOpen()) return 0;
    const platform::Guard guard(writeLock);
    uint32_t written = 0;
    for (int32_t attempt = 0; attempt <= writeAttemptLimit && written < count; ++attempt) {
        written += line_.Write(bytes + written, count - written);
    }
    return written;
}

uint32_t SerialPort::Post(const uint8_t *bytes, uint32_t count) {
    if (!IsOpen()) return 0;
    if (!writeLock.try_lock()) return 0;
    const platform::Guard guard(writeLock, std::adopt_lock);
    return line_.Post(bytes, count);
}

uint32_t SerialPort::Purge() {
    if (!IsOpen()) return 0;
    const platform::Guard guard(purgeLock);
    line_.SetTimeouts(kPurgeTimeoutMs, kPurgeTimeoutMs);
    uint8_t discarded[kPurgeChunk];
    uint32_t total = 0;
    uint32_t count = 0;
    do {
        count = Read(discarded, kPurgeChunk);
        total += count;
    } while (count == kPurgeChunk && total < kMostPurged);
    line_.SetTimeouts(readTimeout, writeTimeout);
    return total;
}

}  // namespace cc
