#include <windows.h>

#include <algorithm>

#include "ports/serial_devices.h"

namespace cmm {

std::vector<SerialDevice> ListSerialDevices() {
    std::vector<SerialDevice> devices;
    HKEY key = nullptr;
    // The key is missing while there is no serial device.
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_READ, &key) !=
        ERROR_SUCCESS)
        return devices;
    for (DWORD index = 0;; ++index) {
        char name[256], port[256];
        DWORD nameLength = sizeof name, portLength = sizeof port - 1, type = 0;
        const LSTATUS status = RegEnumValueA(key, index, name, &nameLength, nullptr, &type,
                                             reinterpret_cast<BYTE *>(port), &portLength);
        if (status == ERROR_NO_MORE_ITEMS) break;
        if (status != ERROR_SUCCESS || type != REG_SZ) continue;
        port[portLength] = '\0';
        SerialDevice device;
        device.device = device.comName = port;
        device.description = name;
        devices.push_back(device);
    }
    RegCloseKey(key);
    std::sort(devices.begin(), devices.end(), [](const SerialDevice &a, const SerialDevice &b) {
        return std::pair(a.device.size(), a.device) < std::pair(b.device.size(), b.device);
    });
    return devices;
}

}  // namespace cmm
