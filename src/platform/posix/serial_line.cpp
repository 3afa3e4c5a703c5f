#include "platform/serial_line.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/posix/line.h"

namespace cc::platform {
namespace {

// A controller and a head for each arm, and as many again for programs that use the seam by themselves.
Line lines[8];

// "com3" in CC_PORT_DIR, or the third serial device of the system.
void DevicePath(int32_t port, char *path, size_t capacity) {
    const char *const folder = std::getenv("CC_PORT_DIR");
    if (folder != nullptr && *folder != '\0') {
        std::snprintf(path, capacity, "%s/com%d", folder, port);
    } else {
        std::snprintf(path, capacity, "/dev/ttyS%d", port - 1);
    }
}

speed_t Speed(int32_t baud) {
    constexpr struct {
        int32_t baud;
        speed_t speed;
    } kSpeeds[] = {{110, B110},     {150, B150},     {300, B300},     {600, B600},
                   {1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
                   {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};
    for (const auto &entry : kSpeeds) {
        if (entry.baud == baud) return entry.speed;
    }
    return B0;
}

tcflag_t ParityFlags(char parity) {
    switch (parity) {
        case 'E':
        case 'e':
            return PARENB;
        case 'O':
        case 'o':
            return PARENB | PARODD;
        case 'M':
        case 'm':
            return PARENB | PARODD | CMSPAR;
        case 'S':
        case 's':
            return PARENB | CMSPAR;
        default:
            return 0;
    }
}

tcflag_t SizeFlags(int32_t dataBits) {
    constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
    return kSizes[std::clamp(dataBits, 5, 8) - 5];
}

termios RawMode(const LineSettings &settings, speed_t speed) {
    termios mode{};
    mode.c_cflag = CREAD | CLOCAL | SizeFlags(settings.dataBits) | ParityFlags(settings.parity);
    if (settings.stopBits == 2) mode.c_cflag |= CSTOPB;
    if (settings.handshake == 1) mode.c_cflag |= CRTSCTS;
    if (settings.handshake == 2) mode.c_iflag |= IXON | IXOFF;
    mode.c_cc[VSTART] = 17;
    mode.c_cc[VSTOP] = 19;
    mode.c_cc[VMIN] = 1;
    cfsetispeed(&mode, speed);
    cfsetospeed(&mode, speed);
    return mode;
}

// Waits without the line's lock; the first of `waits` is the device.
void PollUnlocked(Line &line, pollfd *waits, nfds_t count, const timespec *limit) CC_REQUIRES(line.monitor) {
    line.monitor.unlock();
    ppoll(waits, count, limit, nullptr);
    line.monitor.lock();
    // A line that has hung up stays ready for ever; it is lost once its last bytes have been pulled.
    const short ready = waits[0].revents;
    if ((ready & POLLIN) == 0 && (ready & (POLLHUP | POLLERR | POLLNVAL)) != 0) line.lost = true;
}

void SetEventDescriptor(int descriptor) {
    const uint64_t one = 1;
    if (write(descriptor, &one, sizeof one) != sizeof one)
        std::abort();  // an eventfd of our own takes a 1 at any time
}

void CloseAll(std::initializer_list<int> descriptors) {
    for (const int descriptor : descriptors) {
        if (descriptor >= 0) close(descriptor);
    }
}

// Whether another program may be kept from the device for good by a mark on it. The mark on a pseudo-terminal
// would outlive a program that is killed, for as long as its far end holds the terminal; there the file lock,
// which ends with the process, must do.
bool MayBeMarkedExclusive(int device) {
    constexpr unsigned kFirstPseudoTerminal = 136, kLastPseudoTerminal = 143;  // device numbers of the kernel
    struct stat status {};
    if (fstat(device, &status) != 0) return false;
    const unsigned number = major(status.st_rdev);
    return number < kFirstPseudoTerminal || number > kLastPseudoTerminal;
}

}  // namespace

void Line::Pull() {
    // Bounded, as a device may deliver faster than this loop takes.
    for (size_t total = 0; device >= 0 && !lost && total < sizeof pulled;) {
        uint8_t chunk[512];
        const ssize_t count = read(device, chunk, sizeof chunk);
        if (count <= 0) {
            lost = count == 0 || (errno != EAGAIN && errno != EINTR);
            return;
        }
        total += static_cast<size_t>(count);
        for (ssize_t i = 0; i < count; ++i) {
            if (chunk[i] == eventChar) eventPending = true;
            pulled[(pulledFirst + pulledCount) % sizeof pulled] = chunk[i];
            if (pulledCount < sizeof pulled) {
                ++pulledCount;
            } else {
                pulledFirst = (pulledFirst + 1) % sizeof pulled;
            }
        }
    }
}

size_t Line::TakePulled(uint8_t *buffer, size_t count) {
    const size_t moved = std::min(count, pulledCount);
    for (size_t i = 0; i < moved; ++i) buffer[i] = pulled[(pulledFirst + i) % sizeof pulled];
    pulledFirst = (pulledFirst + moved) % sizeof pulled;
    pulledCount -= moved;
    return moved;
}

void Line::Poll(short events, int64_t deadline) {
    const timespec limit = ToTimespec(std::max<int64_t>(deadline - MonotonicNow(), 0));
    pollfd waits[] = {{lost ? -1 : device, events, 0}, {wake, POLLIN, 0}};
    PollUnlocked(*this, waits, 2, &limit);
}

void Line::PollForWatcher() {
    pollfd waits[] = {{lost ? -1 : device, POLLIN, 0}, {wake, POLLIN, 0}, {nudge, POLLIN, 0}};
    PollUnlocked(*this, waits, 3, nullptr);
    uint64_t wanted = 0;
    const bool again = read(nudge, &wanted, sizeof wanted) == sizeof wanted;
    Pull();
    if (again && HasPulledEventChar()) eventPending = true;
}

bool Line::HasPulledEventChar() const {
    for (size_t i = 0; i < pulledCount; ++i) {
        if (pulled[(pulledFirst + i) % sizeof pulled] == eventChar) return true;
    }
    return false;
}

int64_t Line::WriteSome(const uint8_t *bytes, uint32_t count) {
    const ssize_t written = write(device, bytes, count);
    return written < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : written;
}

void Line::End() {
    if (ending || device < 0) return;
    ending = true;
    SetEventDescriptor(wake);
    monitor.NotifyAll();
}

void Line::Release() {
    --users;
    monitor.NotifyAll();
}

SerialLine::SerialLine() : line_(nullptr) {
    for (Line &line : lines) {
        const Guard guard(line.monitor);
        if (line.taken) continue;
        line.taken = true;
        line_ = &line;
        return;
    }
    std::abort();  // more lines than the library and its tests together have
}

SerialLine::~SerialLine() {
    Close();
    const Guard guard(line_->monitor);
    line_->taken = false;
}

bool SerialLine::Open(int32_t port) {
    char path[512];
    DevicePath(port, path, sizeof path);
    const int device = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (device < 0) return false;
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const int nudge = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const bool exclusive = isatty(device) != 0 && flock(device, LOCK_EX | LOCK_NB) == 0;
    const Guard guard(line_->monitor);
    // A watcher that did not end in time may still use the line.
    if (wake < 0 || nudge < 0 || !exclusive || line_->watched || line_->device >= 0) {
        CloseAll({device, wake, nudge});
        return false;
    }
    if (MayBeMarkedExclusive(device)) ioctl(device, TIOCEXCL);
    tcflush(device, TCIFLUSH);  // what came before belongs to nobody
    line_->device = device;
    line_->wake = wake;
    line_->nudge = nudge;
    line_->ending = line_->lost = line_->eventPending = false;
    line_->pulledFirst = line_->pulledCount = 0;
    return true;
}

bool SerialLine::Apply(const LineSettings &settings) {
    const Guard guard(line_->monitor);
    const speed_t speed = Speed(settings.baud);
    if (line_->device < 0 || speed == B0) return false;
    termios mode = RawMode(settings, speed);
    if (tcsetattr(line_->device, TCSANOW, &mode) != 0) {
        // The C library reads the settings back, and takes a device that knows no parity, such as a
        // pseudo-terminal, for one that refused all of them.
        mode.c_cflag &= ~static_cast<tcflag_t>(PARENB | PARODD | CMSPAR);
        if (errno != EINVAL || tcsetattr(line_->device, TCSANOW, &mode) != 0) return false;
    }
    // A device without modem lines, such as a pseudo-terminal, refuses this and works all the same.
    const int ready = TIOCM_DTR | TIOCM_RTS;
    ioctl(line_->device, TIOCMBIS, &ready);
    line_->eventChar = settings.eventChar;
    return true;
}

bool SerialLine::SetTimeouts(uint32_t readMs, uint32_t writeMs) {
    const Guard guard(line_->monitor);
    line_->readTimeoutMs = readMs;
    line_->writeTimeoutMs = writeMs;
    return line_->device >= 0;
}

ReadResult SerialLine::Read(uint8_t *buffer, uint32_t count) {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0 || line.ending) return {0, false};
    ++line.users;
    const int64_t deadline = MonotonicNow() + int64_t{line.readTimeoutMs} * 1'000'000;
    const bool watchedElsewhere = line.watched && pthread_equal(line.watcher, pthread_self()) == 0;
    size_t taken = 0;
    bool waited = false;
    for (;;) {
        if (line.pulledCount < count - taken) line.Pull();
        taken += line.TakePulled(buffer + taken, count - taken);
        if (taken == count || line.lost || line.ending || MonotonicNow() >= deadline) break;
        waited = true;
        if (watchedElsewhere) {
            line.monitor.WaitUntil(deadline);  // the watcher pulls what comes
        } else {
            line.Poll(POLLIN, deadline);
        }
    }
    line.Release();
    return {static_cast<uint32_t>(taken), waited};
}

uint32_t SerialLine::Write(const uint8_t *bytes, uint32_t count) {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0 || line.ending) return 0;
    ++line.users;
    const int64_t deadline = MonotonicNow() + int64_t{line.writeTimeoutMs} * 1'000'000;
    uint32_t written = 0;
    while (!line.lost && !line.ending) {
        const int64_t step = line.WriteSome(bytes + written, count - written);
        if (step < 0) break;
        written += static_cast<uint32_t>(step);
        if (written == count || MonotonicNow() >= deadline) break;
        line.Poll(POLLOUT, deadline);
    }
    line.Release();
    return written;
}

uint32_t SerialLine::Post(const uint8_t *bytes, uint32_t count) {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0 || line.ending || line.lost) return 0;
    return static_cast<uint32_t>(std::max<int64_t>(line.WriteSome(bytes, count), 0));
}

bool SerialLine::HoldsEventChar() {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0 || line.ending) return false;
    line.Pull();
    return line.HasPulledEventChar();
}

bool SerialLine::HasUnreadEvent() {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0 || line.ending) return false;
    // The watcher alone pulls what it then reports; bytes in the device wake it.
    int inDevice = 0;
    if (!line.lost && ioctl(line.device, FIONREAD, &inDevice) == 0 && inDevice > 0) return true;
    return line.eventPending || line.reporting || line.HasPulledEventChar();
}

void SerialLine::ReportAgain() {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device >= 0 && !line.ending) SetEventDescriptor(line.nudge);
}

bool SerialLine::IsLost() {
    const Guard guard(line_->monitor);
    return line_->device >= 0 && line_->lost;
}

void SerialLine::Close() {
    Line &line = *line_;
    const Guard guard(line.monitor);
    if (line.device < 0) return;
    line.End();
    while (line.users > 0) line.monitor.Wait();
    ioctl(line.device, TIOCNXCL);  // would outlast this descriptor if another one is open
    CloseAll({line.device, line.wake, line.nudge});
    line.device = line.wake = line.nudge = -1;
}

}  // namespace cc::platform
