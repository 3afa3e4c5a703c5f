// One emulator a port.
#pragma once

#include <string>

namespace emulator {

/// Claims comN of a folder for this process, as long as it lives, however it ends. Throws std::runtime_error when another
/// one has it.
class PortClaim {
  public:
    PortClaim(const std::string &folder, int number);
    ~PortClaim();
    PortClaim(const PortClaim &) = delete;
    PortClaim &operator=(const PortClaim &) = delete;

  private:
    int socket_ = -1;
};

}  // namespace emulator
