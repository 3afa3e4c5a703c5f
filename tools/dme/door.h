// Where clients come in: one is served at a time.
#pragma once

#include <asio.hpp>
#include <functional>
#include <memory>
#include <string>

#include "dme/connection.h"

namespace cmm::dme {

/// A host and a port, "127.0.0.1:1294" or "[::1]:1294".
struct ListenAddress {
    std::string host;
    uint16_t port = 0;  // 0: any free one
};

/// Failures are thrown as std::invalid_argument with the reason.
ListenAddress ParseListenAddress(const std::string &text);

class Door {
  public:
    /// Listens from now on. `onClient`: one is served now; its address. Failures are thrown as Failure.
    Door(asio::io_context &context, const ListenAddress &address, ConnectionHost &host,
         std::function<void(const std::string &)> onClient);

    /// "127.0.0.1:1294", with the port that it is.
    std::string Address() const;
    /// Whether only programs of this computer can come in.
    bool IsLocal() const { return acceptor_.local_endpoint().address().is_loopback(); }

    /// Nobody there: nothing happens.
    void Send(const std::string &line);
    void Turn();
    /// The next one is welcome. By the host in OnGone.
    void Free() { client_.reset(); }
    /// Nobody comes in any more, and who is there is sent away.
    void Close();

  private:
    void Accept();
    void Receive(asio::ip::tcp::socket socket);
    void Serve(asio::ip::tcp::socket socket);

    asio::io_context &context_;
    asio::ip::tcp::acceptor acceptor_;
    ConnectionHost &host_;
    std::function<void(const std::string &)> onClient_;
    std::shared_ptr<Connection> client_;
};

}  // namespace cmm::dme
