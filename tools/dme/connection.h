// One client's connection: lines in, lines out, nothing kept without bound.
#pragma once

#include <array>
#include <asio.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "dme/client_lines.h"

namespace cmm::dme {

/// What a connection tells. Not told from inside a call of the connection.
class ConnectionHost {
  public:
    virtual ~ConnectionHost() = default;
    virtual void OnLine(const std::string &text, bool early) = 0;
    /// Whether a line can be taken now.
    virtual bool MayTake() const = 0;
    /// The client went away, or was sent away: nothing more is told. `why`: in words.
    virtual void OnGone(const std::string &why) = 0;
};

/// Ends by itself when the client closes it, in one direction or both; when it answers nothing on the network, takes
/// nothing of what is sent to it, or leaves a line unfinished, for 60 s; and when it floods the server without waiting.
class Connection : public std::enable_shared_from_this<Connection> {
  public:
    using Clock = std::chrono::steady_clock;

    Connection(asio::ip::tcp::socket socket, ConnectionHost &host);

    void Start();
    /// A line without its CR LF. What the client is slow to take is kept, up to 4 MiB.
    void Send(const std::string &line);
    /// Hands on lines that could not be taken before, and looks whether the client has stalled.
    void Turn();
    /// Says no more to the host. What was sent still goes out, as far as the client takes it within 2 s.
    void Close();

  private:
    void Read();
    void Deliver();
    void Write();
    void Drop(const std::string &why);

    asio::ip::tcp::socket socket_;
    asio::steady_timer farewell_;
    ConnectionHost *host_;  // null: closed
    std::array<char, 65536> incoming_{};
    ClientLines lines_;
    Clock::time_point lastTaken_ = Clock::now();  // by the client
    Clock::time_point lineBegan_ = Clock::now();
    std::string outgoing_, waiting_;  // under way; behind it
    bool delivering_ = false;
};

/// Has the system find out within a minute that the computer at the other end is gone.
void WatchPeer(asio::ip::tcp::socket &socket);

}  // namespace cmm::dme
