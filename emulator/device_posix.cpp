#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "device.h"

namespace emulator {

int OpenDevice(const std::string &name, const DeviceSettings &settings) {
    const int descriptor = open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios mode{};
    if (descriptor < 0 || tcgetattr(descriptor, &mode) != 0)
        throw std::runtime_error("cannot open " + name + ": " + std::strerror(errno));
    cfmakeraw(&mode);
    mode.c_cflag |=
        CLOCAL | CREAD | (settings.evenParity ? PARENB : 0u) | (settings.stopBits == 2 ? CSTOPB : 0u);
    const speed_t speed = settings.baud == 4800 ? B4800 : B9600;
    cfsetispeed(&mode, speed);
    cfsetospeed(&mode, speed);
    tcsetattr(descriptor, TCSANOW, &mode);
    return descriptor;
}

void CloseDevice(int descriptor) {
    close(descriptor);
}

size_t ReadDevice(int descriptor, uint8_t *buffer, size_t capacity) {
    return static_cast<size_t>(std::max<ssize_t>(read(descriptor, buffer, capacity), 0));
}

size_t WriteDevice(int descriptor, const uint8_t *bytes, size_t count) {
    return static_cast<size_t>(std::max<ssize_t>(write(descriptor, bytes, count), 0));
}

void AwaitInput(const std::vector<int> &descriptors, int64_t microseconds) {
    std::vector<pollfd> waits;
    waits.reserve(descriptors.size());
    for (const int descriptor : descriptors) waits.push_back({descriptor, POLLIN, 0});
    const int64_t wait = std::max<int64_t>(microseconds, 0);
    const timespec limit{static_cast<time_t>(wait / 1000000), static_cast<long>(wait % 1000000 * 1000)};
    ppoll(waits.data(), waits.size(), &limit, nullptr);
}

int64_t MonotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

}  // namespace emulator
