#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "machine/device.h"
#include "machine/port_names.h"

namespace cmm {
namespace {

// The name of a running program, or its number.
std::string ProgramName(int process) {
    std::string name;
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::getline(file, name);
    return name.empty() ? "process " + std::to_string(process)
                        : name + " (process " + std::to_string(process) + ")";
}

// Who holds a file lock on the device: lines of the system are "3: FLOCK ADVISORY WRITE 4711 00:19:5 0 EOF", with the
// last part of the third number as its inode. Empty: nobody is found.
std::string Holder(const struct stat &status) {
    std::ifstream locks("/proc/locks");
    std::string number, kind, mode, access, file, rest;
    int process = 0;
    while (locks >> number >> kind >> mode >> access >> process >> file && std::getline(locks, rest)) {
        const size_t inode = file.rfind(':') + 1;
        if (kind == "FLOCK" && process > 0 && file.substr(inode) == std::to_string(status.st_ino))
            return ProgramName(process);
    }
    return {};
}

Failure PermissionFailure(const std::string &device, const std::string &subject) {
    struct stat status {};
    if (stat(device.c_str(), &status) != 0)
        return {kNotReached, subject + " may not be looked at", "Ask who administers this computer."};
    const group *const owner = getgrgid(status.st_gid);
    const passwd *const user = getpwuid(geteuid());
    const std::string name = user != nullptr ? user->pw_name : "you";
    const std::string cause = subject + " may not be used by " + name;
    const bool groupMay = (status.st_mode & S_IRGRP) != 0 && (status.st_mode & S_IWGRP) != 0;
    if (owner == nullptr || status.st_gid == 0 || !groupMay)
        return {kNotReached, cause, "Ask who administers this computer."};
    const std::string group = owner->gr_name;
    return {kNotReached, cause,
            "It belongs to the group " + group + ": run 'sudo adduser " + name + " " + group +
                "', then log in anew."};
}

}  // namespace

std::string UserOf(const std::string &device) {
    struct stat status {};
    return stat(device.c_str(), &status) == 0 ? Holder(status) : "";
}

Failure PortFailure(const std::string &portText, const std::string &whose) {
    const std::string device = DeviceOf(portText);
    const std::string subject = "the " + whose + "'s port " + PortWords(portText);
    const int descriptor = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const int error = errno;
    if (descriptor < 0 && error == EACCES) return PermissionFailure(device, subject);
    if (descriptor < 0 && error == EBUSY)
        return {kNotReached, subject + " is busy", "Close the program that uses it."};
    if (descriptor < 0) {
        return {kNotReached,
                subject + ": " + (error == ENOENT ? "there is no such device" : std::strerror(error)),
                "'cmm ports' lists the serial devices: name one of them by its path."};
    }
    termios mode{};
    const bool isSerial = tcgetattr(descriptor, &mode) == 0;
    const bool isFree = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    const std::string holder = isFree ? "" : UserOf(device);
    close(descriptor);
    if (!isSerial) return {kNotReached, subject + " has no serial line behind it", "Is it the right port?"};
    if (!isFree)
        return {kNotReached,
                subject + " is busy: " + (holder.empty() ? "another program" : holder) + " uses it",
                "Close that program, or wait for it."};
    return {kNotReached, subject + " was not opened, but can be now", "Try once more."};
}

}  // namespace cmm
