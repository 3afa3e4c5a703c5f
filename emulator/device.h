// Serial devices and time, as the far end of a line needs them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace emulator {

/// How a device is set: always 8 data bits, no flow control.
struct DeviceSettings {
    int baud;  // 4800 or 9600
    bool evenParity;
    int stopBits;  // 1 or 2
};

inline constexpr DeviceSettings kControllerSettings{9600, true, 1};
inline constexpr DeviceSettings kHeadSettings{4800, false, 2};

/// Opens a serial device, "/dev/ttyUSB0" or "COM3". Result: its descriptor, for the functions below; throws
/// std::runtime_error on failure.
int OpenDevice(const std::string &name, const DeviceSettings &settings);
void CloseDevice(int descriptor);

/// Takes what has come, without waiting. Result: bytes taken.
size_t ReadDevice(int descriptor, uint8_t *buffer, size_t capacity);
/// Hands over as much as the device takes at once. Result: bytes taken.
size_t WriteDevice(int descriptor, const uint8_t *bytes, size_t count);

/// Waits until one of the devices has input, at most that many µs; a descriptor below 0 is none.
void AwaitInput(const std::vector<int> &descriptors, int64_t microseconds);

/// Time on a clock that no one sets, µs.
int64_t MonotonicMicroseconds();

}  // namespace emulator
