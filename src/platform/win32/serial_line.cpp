#include "platform/serial_line.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/win32/line.h"

namespace cc::platform {
namespace {

constexpr DWORD kDriverBuffer = 1024;

// A controller and a head for each arm, and as many again for programs that use the seam by themselves.
constexpr size_t kLines = 8;
std::atomic<bool> taken[kLines];

// Made before the first user of a line is, so that they outlive all of them.
Line *Lines() {
    static Line lines[kLines];
    return lines;
}

void ClearError(HANDLE handle) {
    DWORD errors = 0;
    ClearCommError(handle, &errors, nullptr);
}

COMMTIMEOUTS Timeouts(uint32_t readMs, uint32_t writeMs) {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadTotalTimeoutConstant = readMs;
    timeouts.WriteTotalTimeoutConstant = writeMs;
    return timeouts;
}

}  // namespace

void Line::End() {
    if (!ending) closingUntil = GetTickCount64() + kClosingMs;
    ending = true;
    SetEvent(endEvent);
}

DWORD Line::ClosingTimeLeft() const {
    const ULONGLONG now = GetTickCount64();
    return now < closingUntil ? static_cast<DWORD>(closingUntil - now) : 0;
}

DWORD Line::ReadDevice(Overlapped &operation, uint8_t *buffer, DWORD count, bool &waited) {
    const DeviceUse use(*this);
    if (!use) return 0;
    DWORD read = 0;
    if (ReadFile(use.Device(), buffer, count, &read, &operation.data) != 0) return read;
    if (GetLastError() != ERROR_IO_PENDING) {
        ClearError(use.Device());
        return 0;
    }
    waited = true;
    WaitForSingleObject(operation.data.hEvent, INFINITE);
    GetOverlappedResult(use.Device(), &operation.data, &read, FALSE);
    return read;
}

bool Line::PullInput(Overlapped &operation) {
    uint8_t bytes[256];
    bool waited = false;
    DWORD count = ReadDevice(operation, bytes, 1, waited);
    if (count == 0) return waited;
    // What has come with it belongs to it.
    const DWORD more = std::min<DWORD>(PendingInput(), sizeof bytes - 1);
    if (more > 0) count += ReadDevice(operation, bytes + 1, more, waited);
    const Guard guard(pullLock);
    for (DWORD i = 0; i < count; ++i) {
        if (bytes[i] == settings.eventChar) eventPending = true;
        pulled[(pulledFirst + pulledCount) % sizeof pulled] = bytes[i];
        if (pulledCount < sizeof pulled) {
            ++pulledCount;
        } else {
            pulledFirst = (pulledFirst + 1) % sizeof pulled;
        }
    }
    SetEvent(pulledEvent);
    return true;
}

bool Line::TakeEvent() {
    const Guard guard(pullLock);
    return std::exchange(eventPending, false);
}

bool Line::HasPulledEventChar() {
    const Guard guard(pullLock);
    for (size_t i = 0; i < pulledCount; ++i) {
        if (pulled[(pulledFirst + i) % sizeof pulled] == settings.eventChar) return true;
    }
    return false;
}

void Line::Report() {
    reporting = true;
    procedure(user);
    reporting = false;
}

DWORD Line::PendingInput() {
    const DeviceUse use(*this);
    DWORD errors = 0;
    COMSTAT status{};
    return ClearCommError(use.Device(), &errors, &status) != 0 ? status.cbInQue : 0;
}

DWORD Line::TakePulled(uint8_t *buffer, DWORD count) {
    const Guard guard(pullLock);
    const auto moved = static_cast<DWORD>(std::min<size_t>(count, pulledCount));
    for (DWORD i = 0; i < moved; ++i) buffer[i] = pulled[(pulledFirst + i) % sizeof pulled];
    pulledFirst = (pulledFirst + moved) % sizeof pulled;
    pulledCount -= moved;
    return moved;
}

SerialLine::SerialLine() : line_(nullptr) {
    Line *const lines = Lines();
    for (size_t i = 0; i < kLines; ++i) {
        if (taken[i].exchange(true)) continue;
        line_ = &lines[i];
        return;
    }
    std::abort();  // more lines than the library and its tests together have
}

SerialLine::~SerialLine() {
    Close();
    taken[line_ - Lines()] = false;
}

bool SerialLine::Open(int32_t port) {
    char name[32];
    // Numbers above 9 are known by this longer name only.
    std::snprintf(name, sizeof name, "\\\\.\\COM%d", port);
    const HANDLE handle = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    Line &line = *line_;
    // A watcher that did not end in time may still use the line.
    if (line.IsOpen() || line.watched || SetupComm(handle, kDriverBuffer, kDriverBuffer) == 0) {
        CloseHandle(handle);
        return false;
    }
    line.ending = false;
    line.watchesInput = false;
    line.pulledFirst = line.pulledCount = 0;
    line.eventPending = false;
    ResetEvent(line.endEvent);
    ResetEvent(line.againEvent);
    line.postPending = false;
    line.handle = handle;
    return true;
}

bool SerialLine::Apply(const LineSettings &settings) {
    Line &line = *line_;
    if (!line.IsOpen()) return false;
    char text[96];
    std::snprintf(text, sizeof text, "baud=%d parity=%c data=%d stop=%d", settings.baud, settings.parity,
                  settings.dataBits, settings.stopBits);
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (BuildCommDCBA(text, &dcb) == 0) return false;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fRtsControl = settings.handshake == 1 ? RTS_CONTROL_HANDSHAKE : RTS_CONTROL_ENABLE;
    dcb.fOutxCtsFlow = settings.handshake == 1 ? 1 : 0;
    dcb.fOutX = dcb.fInX = settings.handshake == 2 ? 1 : 0;
    dcb.XonChar = 17;
    dcb.XoffChar = 19;
    dcb.EvtChar = static_cast<char>(settings.eventChar);
    line.settings = settings;
    return SetCommState(line.handle, &dcb) != 0;
}

bool SerialLine::SetTimeouts(uint32_t readMs, uint32_t writeMs) {
    if (!line_->IsOpen()) return false;
    COMMTIMEOUTS timeouts = Timeouts(readMs, writeMs);
    return SetCommTimeouts(line_->handle, &timeouts) != 0;
}

ReadResult SerialLine::Read(uint8_t *buffer, uint32_t count) {
    Line &line = *line_;
    bool waited = false;
    DWORD total = line.TakePulled(buffer, count);
    if (!line.watchesInput) {
        if (total < count) total += line.ReadDevice(line.reading, buffer + total, count - total, waited);
        return {total, waited};
    }
    COMMTIMEOUTS timeouts{};
    GetCommTimeouts(line.handle, &timeouts);
    const ULONGLONG deadline = GetTickCount64() + timeouts.ReadTotalTimeoutConstant;
    const bool onWatcher = GetCurrentThreadId() == line.threadId;
    while (total < count && !line.ending && line.IsOpen()) {
        const ULONGLONG now = GetTickCount64();
        if (now >= deadline) break;
        waited = true;
        // The watcher pulls what comes, unless this is the watcher.
        if (onWatcher) {
            if (!line.PullInput(line.reading)) break;
        } else {
            WaitForSingleObject(line.pulledEvent, static_cast<DWORD>(deadline - now));
        }
        total += line.TakePulled(buffer + total, count - total);
    }
    return {total, waited};
}

uint32_t SerialLine::Write(const uint8_t *bytes, uint32_t count) {
    Line &line = *line_;
    const DeviceUse use(line);
    if (!use) return 0;
    DWORD written = 0;
    if (WriteFile(use.Device(), bytes, count, &written, &line.writing.data) != 0) return written;
    if (GetLastError() != ERROR_IO_PENDING) {
        ClearError(use.Device());
        return 0;
    }
    WaitForSingleObject(line.writing.data.hEvent, INFINITE);
    GetOverlappedResult(use.Device(), &line.writing.data, &written, FALSE);
    return written;
}

uint32_t SerialLine::Post(const uint8_t *bytes, uint32_t count) {
    Line &line = *line_;
    const DeviceUse use(line);
    if (!use || count > sizeof line.posted) return 0;
    const HANDLE done = line.posting.data.hEvent;
    if (line.postPending && WaitForSingleObject(done, 0) != WAIT_OBJECT_0) return 0;
    std::copy_n(bytes, count, line.posted);
    DWORD written = 0;
    if (WriteFile(use.Device(), line.posted, count, &written, &line.posting.data) != 0) return written;
    line.postPending = GetLastError() == ERROR_IO_PENDING;
    if (line.postPending) return count;
    ClearError(use.Device());
    return 0;
}

bool SerialLine::HoldsEventChar() {
    Line &line = *line_;
    while (!line.HasPulledEventChar()) {
        if (line.PendingInput() == 0 || !line.PullInput(line.reading)) return false;
    }
    return true;
}

bool SerialLine::HasUnreadEvent() {
    Line &line = *line_;
    if (!line.IsOpen() || line.ending) return false;
    return line.reporting || line.PendingInput() > 0 || line.HasPulledEventChar();
}

void SerialLine::ReportAgain() {
    SetEvent(line_->againEvent);
}

bool SerialLine::IsLost() {
    const DeviceUse use(*line_);
    DWORD errors = 0;
    return use && ClearCommError(use.Device(), &errors, nullptr) == 0;
}

void SerialLine::Close() {
    const HANDLE handle = line_->handle.exchange(INVALID_HANDLE_VALUE);
    if (handle == INVALID_HANDLE_VALUE) return;
    line_->End();
    // An operation that begins just now is not among those cancelled yet.
    do {
        CancelIoEx(handle, nullptr);
    } while (line_->users > 0 && line_->ClosingTimeLeft() > 0 && (::Sleep(1), true));
    if (line_->postPending) WaitForSingleObject(line_->posting.data.hEvent, line_->ClosingTimeLeft());
    CloseHandle(handle);
}

}  // namespace cc::platform
