#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "dme/connection.h"

namespace cmm::dme {

void WatchPeer(asio::ip::tcp::socket &socket) {
    const auto set = [&socket](int level, int option, int value) {
        setsockopt(socket.native_handle(), level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 20);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(IPPROTO_TCP, TCP_KEEPCNT, 4);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, 60000);
}

}  // namespace cmm::dme
