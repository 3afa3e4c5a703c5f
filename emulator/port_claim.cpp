#include "port_claim.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace emulator {

// A name of the system's own for the folder and the port. It is no file, so nothing is left of a process that was killed.
PortClaim::PortClaim(const std::string &folder, int number) {
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0)
        throw std::runtime_error("no folder " + folder + ": " + std::strerror(errno));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length =
        std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "cmm-emulator/%llx/%llx/com%d",
                      static_cast<unsigned long long>(status.st_dev),
                      static_cast<unsigned long long>(status.st_ino), number);
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto bytes =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(length));
    if (socket_ >= 0 && bind(socket_, reinterpret_cast<const sockaddr *>(&address), bytes) == 0) return;
    const bool isTaken = errno == EADDRINUSE;
    const std::string reason = std::strerror(errno);
    if (socket_ >= 0) close(socket_);
    const std::string port = folder + "/com" + std::to_string(number);
    throw std::runtime_error(isTaken ? port + " is served by another emulator"
                                     : "cannot claim " + port + ": " + reason);
}

PortClaim::~PortClaim() {
    close(socket_);
}

}  // namespace emulator
