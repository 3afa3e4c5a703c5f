#include <winsock2.h>  // brings windows.h

#include <cstdlib>
#include <stdexcept>

#include "conformance/backend.h"
#include "platform/serial_line.h"

namespace cc::test {
namespace {

// A connection to the server that makes a new COM9 for each, whose far end the connection is, and unplugs it
// when the connection is closed. The server's port on this machine is in the environment.
class ServedFarEnd final : public FarEnd {
  public:
    ServedFarEnd() {
        WSADATA data{};
        const char *const port = std::getenv("CC_FAR_END_PORT");
        if (port == nullptr || WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("no server");
        socket_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in server{};
        server.sin_family = AF_INET;
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        server.sin_port = htons(static_cast<u_short>(std::atoi(port)));
        if (connect(socket_, reinterpret_cast<sockaddr *>(&server), sizeof server) != 0) {
            throw std::runtime_error("nobody serves the far end");
        }
        u_long atOnce = 1;
        ioctlsocket(socket_, FIONBIO, &atOnce);
        platform::SerialLine probe;
        if (!Eventually([&probe] { return probe.Open(kPort); })) throw std::runtime_error("no COM9");
    }
    ~ServedFarEnd() override {
        ServedFarEnd::Unplug();
        platform::SerialLine probe;
        Eventually([&probe] {
            const bool there = probe.Open(kPort);
            probe.Close();
            return !there;
        });
    }
    void Send(const Bytes &bytes) override {
        const auto count = static_cast<int>(bytes.size());
        if (send(socket_, reinterpret_cast<const char *>(bytes.data()), count, 0) != count) {
            throw std::runtime_error("the far end took less");
        }
    }
    Bytes Received() override {
        char chunk[256];
        const int count = recv(socket_, chunk, sizeof chunk, 0);
        if (count > 0) received_.insert(received_.end(), chunk, chunk + count);
        return received_;
    }
    void Unplug() override {
        if (socket_ != INVALID_SOCKET) closesocket(socket_);
        socket_ = INVALID_SOCKET;
    }

  private:
    SOCKET socket_ = INVALID_SOCKET;
    Bytes received_;
};

// Wine, which has this function, shares its COM ports.
const bool isWine = devicesAreShared =
    GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;

}  // namespace

std::unique_ptr<FarEnd> FarEnd::Create() {
    return std::make_unique<ServedFarEnd>();
}

}  // namespace cc::test
