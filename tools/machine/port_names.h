// Ports as the operator names them, and as the library knows them.
#pragma once

#include <memory>
#include <string>

namespace cmm {

/// The ports of a session: "COM3", or the path of a serial device, for which the library has no name of its own. Paths get
/// one while this object lives. One at a time, made before a port is opened. Failures are thrown as std::runtime_error.
class PortNames {
  public:
    /// Texts of --port and --head-port; empty ones stay so.
    PortNames(const std::string &port, const std::string &headPort);
    ~PortNames();
    PortNames(const PortNames &) = delete;
    PortNames &operator=(const PortNames &) = delete;

    /// What CC_INIT takes.
    const std::string &Port() const { return port_; }
    const std::string &HeadPort() const { return headPort_; }

  private:
    struct Links;

    std::string port_, headPort_;
    std::unique_ptr<Links> links_;  // null: no path was given
};

/// How the operator names the port that CC_INIT was given: "COM3" or the path.
std::string PortName(const std::string &portText);

/// Where a port text leads on this system: "COM3", "/dev/ttyS2", or the path that was given.
std::string DeviceOf(const std::string &portText);

/// Both in one, for a message: "COM3 (/dev/ttyS2)", "COM3" on Windows, or the path.
std::string PortWords(const std::string &portText);

}  // namespace cmm
