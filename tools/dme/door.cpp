#include "dme/door.h"

#include <charconv>
#include <stdexcept>

#include "machine/failure.h"

namespace cmm::dme {
namespace {

// A client that has just gone may not have been seen to go.
constexpr auto kPatience = std::chrono::milliseconds(100);

std::string Words(const asio::ip::tcp::endpoint &endpoint) {
    const std::string address = endpoint.address().to_string();
    const std::string port = std::to_string(endpoint.port());
    return endpoint.address().is_v6() ? "[" + address + "]:" + port : address + ":" + port;
}

}  // namespace

ListenAddress ParseListenAddress(const std::string &text) {
    const size_t colon = text.rfind(':');
    ListenAddress address;
    const char *const end = text.data() + text.size();
    const char *const digits = colon == std::string::npos ? end : text.data() + colon + 1;
    const auto [behind, error] = std::from_chars(digits, end, address.port);
    if (colon == 0 || digits == end || error != std::errc() || behind != end)
        throw std::invalid_argument(text + " is not HOST:PORT with a port from 0 to 65535");
    address.host = text.substr(0, colon);
    if (address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    return address;
}

Door::Door(asio::io_context &context, const ListenAddress &address, ConnectionHost &host,
           std::function<void(const std::string &)> onClient)
    : context_(context), acceptor_(context), host_(host), onClient_(std::move(onClient)) {
    try {
        asio::ip::tcp::resolver resolver(context);
        const auto found =
            resolver.resolve(address.host, std::to_string(address.port), asio::ip::resolver_base::passive);
        const asio::ip::tcp::endpoint endpoint = *found.begin();
        acceptor_.open(endpoint.protocol());
        acceptor_.set_option(asio::socket_base::reuse_address(true));
        acceptor_.bind(endpoint);
        acceptor_.listen();
    } catch (const asio::system_error &error) {
        throw Failure(kWorkFailed,
                      "cannot listen on " + address.host + ":" + std::to_string(address.port) + ": " +
                          error.code().message(),
                      "Does another program listen there? --listen takes another address.");
    }
    Accept();
}

std::string Door::Address() const {
    return Words(acceptor_.local_endpoint());
}

void Door::Accept() {
    acceptor_.async_accept([this](asio::error_code error, asio::ip::tcp::socket socket) {
        if (error == asio::error::operation_aborted) return;
        if (!error) {
            Receive(std::move(socket));
            return Accept();
        }
        const auto pause = std::make_shared<asio::steady_timer>(context_, kPatience);
        pause->async_wait([this, pause](asio::error_code) {
            if (acceptor_.is_open()) Accept();
        });
    });
}

void Door::Receive(asio::ip::tcp::socket socket) {
    if (!client_) return Serve(std::move(socket));
    const auto second = std::make_shared<asio::ip::tcp::socket>(std::move(socket));
    const auto patience = std::make_shared<asio::steady_timer>(context_, kPatience);
    patience->async_wait([this, second, patience](asio::error_code) {
        if (!client_ && acceptor_.is_open()) Serve(std::move(*second));
    });
}

void Door::Serve(asio::ip::tcp::socket socket) {
    asio::error_code gone;
    const auto peer = socket.remote_endpoint(gone);
    if (gone) return;
    client_ = std::make_shared<Connection>(std::move(socket), host_);
    onClient_(Words(peer));
    client_->Start();
}

void Door::Send(const std::string &line) {
    if (client_) client_->Send(line);
}

void Door::Turn() {
    // It may be gone, and freed, while it works.
    if (const auto client = client_) client->Turn();
}

void Door::Close() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    if (client_) client_->Close();
    client_.reset();
}

}  // namespace cmm::dme
