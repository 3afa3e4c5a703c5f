#include "dme/connection.h"

namespace cmm::dme {
namespace {

using std::chrono::seconds;

constexpr auto kLongestStall = seconds(60);
constexpr auto kFarewell = seconds(2);
constexpr size_t kMostOutgoing = 4 << 20;
// A command and an event command that wait to be taken; a client that has more under way does not wait.
constexpr size_t kMostIncoming = 4 * 65536;

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, ConnectionHost &host)
    : socket_(std::move(socket)), farewell_(socket_.get_executor()), host_(&host) {
    asio::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    WatchPeer(socket_);
}

void Connection::Start() {
    Read();
}

void Connection::Read() {
    socket_.async_read_some(
        asio::buffer(incoming_), [self = shared_from_this()](asio::error_code error, size_t count) {
            if (!self->host_) return;
            if (error == asio::error::eof) return self->Drop("the client has closed the connection");
            if (error) return self->Drop("the connection is lost: " + error.message());
            if (!self->lines_.IsInside()) self->lineBegan_ = Clock::now();
            self->lines_.Feed({self->incoming_.data(), count});
            self->Deliver();
            if (!self->host_) return;
            if (self->lines_.Size() > kMostIncoming)
                return self->Drop("the client sends without waiting for acknowledgements");
            self->Read();
        });
}

void Connection::Deliver() {
    if (delivering_) return;
    delivering_ = true;
    while (host_ && host_->MayTake()) {
        const auto line = lines_.Next();
        if (!line) break;
        lineBegan_ = Clock::now();
        host_->OnLine(line->text, line->early);
    }
    delivering_ = false;
}

void Connection::Send(const std::string &line) {
    if (!host_ || waiting_.size() > kMostOutgoing) return;
    waiting_ += line;
    waiting_ += "\r\n";
    if (outgoing_.empty()) Write();
}

void Connection::Write() {
    if (outgoing_.empty()) {
        if (waiting_.empty()) {
            if (!host_) farewell_.cancel();
            return;
        }
        lastTaken_ = Clock::now();
        outgoing_.swap(waiting_);
    }
    socket_.async_write_some(asio::buffer(outgoing_),
                             [self = shared_from_this()](asio::error_code error, size_t count) {
                                 if (error) return;  // the end of reading tells of it
                                 self->lastTaken_ = Clock::now();
                                 self->outgoing_.erase(0, count);
                                 self->Write();
                             });
}

void Connection::Turn() {
    Deliver();
    if (!host_) return;
    const auto now = Clock::now();
    if (waiting_.size() > kMostOutgoing) return Drop("the client is too slow to take what it asked for");
    if (!outgoing_.empty() && now - lastTaken_ > kLongestStall)
        return Drop("the client has taken nothing for 60 s");
    if (lines_.IsInside() && now - lineBegan_ > kLongestStall)
        return Drop("the client has left a line unfinished for 60 s");
}

void Connection::Drop(const std::string &why) {
    ConnectionHost &host = *host_;
    Close();
    host.OnGone(why);
}

void Connection::Close() {
    if (!host_) return;
    host_ = nullptr;
    farewell_.expires_after(outgoing_.empty() ? Clock::duration(0) : kFarewell);
    farewell_.async_wait([self = shared_from_this()](asio::error_code) {
        asio::error_code ignored;
        self->socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
        self->socket_.close(ignored);
    });
}

}  // namespace cmm::dme
