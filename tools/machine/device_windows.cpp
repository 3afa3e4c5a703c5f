#include <windows.h>

#include "machine/device.h"
#include "machine/port_names.h"

namespace cmm {

std::string UserOf(const std::string &) {
    return {};
}

Failure PortFailure(const std::string &portText, const std::string &whose) {
    const std::string device = DeviceOf(portText);
    const std::string subject = "the " + whose + "'s port " + device;
    const HANDLE handle = CreateFileA(("\\\\.\\" + device).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    const DWORD error = GetLastError();
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
        return {kNotReached, subject + " was not opened, but can be now", "Try once more."};
    }
    if (error == ERROR_FILE_NOT_FOUND)
        return {kNotReached, subject + ": there is no such device", "'cmm ports' lists the serial devices."};
    if (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION)
        return {kNotReached, subject + " is busy, or may not be used", "Close the program that uses it."};
    return {kNotReached, subject + " cannot be opened: error " + std::to_string(error) + " of the system",
            "Look for that number in the system's list of errors."};
}

}  // namespace cmm
