// The far end of a serial line that is a pseudo-terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace emulator {

/// A pseudo-terminal in raw mode. What is written here is read by whoever opens its path, and the other way
/// round. Failures of the constructor are thrown as std::runtime_error.
class PseudoTerminal {
  public:
    PseudoTerminal();
    ~PseudoTerminal() { Unplug(); }
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /// Path of the side that a program opens as its serial device.
    const std::string &Path() const { return path_; }
    /// Links `folder`/com`number` to the path, replacing an older link; the link goes with the terminal.
    void LinkAs(const std::string &folder, int number);
    /// Descriptor that polls readable when bytes have come; -1 once unplugged.
    int Descriptor() const { return master_; }

    /// Takes what has come, without waiting. Result: bytes taken.
    size_t Read(uint8_t *buffer, size_t capacity);
    /// Writes as much as fits, without waiting. Result: bytes written.
    size_t Write(const uint8_t *bytes, size_t count);
    /// Hangs up: whoever has the path open loses the device.
    void Unplug();

  private:
    int master_ = -1;
    int slave_ = -1;  // kept open, so that the terminal outlives the programs that open and close it
    std::string path_;
    std::string link_;
};

}  // namespace emulator
