#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "device.h"

namespace emulator {
namespace {

// Descriptors are indexes.
std::vector<HANDLE> devices;

// Reads give what is there; writes end soon where the line takes nothing.
constexpr COMMTIMEOUTS kTimeouts{MAXDWORD, 0, 0, 0, 100};

bool HasInput(int descriptor) {
    DWORD errors = 0;
    COMSTAT status{};
    const HANDLE device = devices[static_cast<size_t>(descriptor)];
    return ClearCommError(device, &errors, &status) != 0 && status.cbInQue > 0;
}

// Sleeps of a millisecond last that long only while somebody wants it so.
struct FineTimer {
    FineTimer() { timeBeginPeriod(1); }
    ~FineTimer() { timeEndPeriod(1); }
};

}  // namespace

int OpenDevice(const std::string &name, const DeviceSettings &settings) {
    // Numbers above 9 are known by this longer name only.
    const std::string path = name.rfind("\\\\", 0) == 0 ? name : std::string("\\\\.\\").append(name);
    const HANDLE device = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (device == INVALID_HANDLE_VALUE)
        throw std::runtime_error("cannot open " + name + ": error " + std::to_string(GetLastError()));
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    GetCommState(device, &dcb);
    dcb.BaudRate = static_cast<DWORD>(settings.baud);
    dcb.fBinary = TRUE;
    dcb.fParity = settings.evenParity ? TRUE : FALSE;
    dcb.Parity = settings.evenParity ? EVENPARITY : NOPARITY;
    dcb.ByteSize = 8;
    dcb.StopBits = settings.stopBits == 2 ? TWOSTOPBITS : ONESTOPBIT;
    dcb.fOutxCtsFlow = dcb.fOutxDsrFlow = dcb.fOutX = dcb.fInX = FALSE;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fRtsControl = RTS_CONTROL_ENABLE;
    COMMTIMEOUTS timeouts = kTimeouts;
    if (SetCommState(device, &dcb) == 0 || SetCommTimeouts(device, &timeouts) == 0) {
        CloseHandle(device);
        throw std::runtime_error(name + " refuses its settings");
    }
    devices.push_back(device);
    return static_cast<int>(devices.size()) - 1;
}

void CloseDevice(int descriptor) {
    CloseHandle(devices[static_cast<size_t>(descriptor)]);
}

size_t ReadDevice(int descriptor, uint8_t *buffer, size_t capacity) {
    DWORD count = 0;
    ReadFile(devices[static_cast<size_t>(descriptor)], buffer, static_cast<DWORD>(capacity), &count, nullptr);
    return count;
}

size_t WriteDevice(int descriptor, const uint8_t *bytes, size_t count) {
    DWORD written = 0;
    WriteFile(devices[static_cast<size_t>(descriptor)], bytes, static_cast<DWORD>(count), &written, nullptr);
    return written;
}

// A driver can be asked for its input but not waited for without giving up the reads that take what is there.
void AwaitInput(const std::vector<int> &descriptors, int64_t microseconds) {
    static const FineTimer fine;
    const int64_t end = MonotonicMicroseconds() + microseconds;
    const auto hasInput = [](int descriptor) { return descriptor >= 0 && HasInput(descriptor); };
    while (MonotonicMicroseconds() < end && std::none_of(descriptors.begin(), descriptors.end(), hasInput))
        Sleep(1);
}

int64_t MonotonicMicroseconds() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<int64_t>(static_cast<double>(count.QuadPart) * 1e6 /
                                static_cast<double>(frequency.QuadPart));
}

}  // namespace emulator
