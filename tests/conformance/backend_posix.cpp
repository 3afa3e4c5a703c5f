#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "conformance/backend.h"
#include "pseudo_terminal.h"

namespace cc::test {
namespace {

class TerminalFarEnd final : public FarEnd {
  public:
    TerminalFarEnd() {
        std::string folder = testing::TempDir() + "cc_ports_XXXXXX";
        if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for the port");
        terminal_.LinkAs(folder, kPort);
        setenv("CC_PORT_DIR", folder.c_str(), 1);
    }
    ~TerminalFarEnd() override {
        terminal_.Unplug();
        rmdir(std::getenv("CC_PORT_DIR"));
    }
    void Send(const Bytes &bytes) override { terminal_.Write(bytes.data(), bytes.size()); }
    Bytes Received() override {
        uint8_t chunk[256];
        const size_t count = terminal_.Read(chunk, sizeof chunk);
        received_.insert(received_.end(), chunk, chunk + count);
        return received_;
    }
    void Unplug() override { terminal_.Unplug(); }

  private:
    emulator::PseudoTerminal terminal_;
    Bytes received_;
};

}  // namespace

bool DevicesAreExclusive() {
    return true;
}

std::unique_ptr<FarEnd> FarEnd::Create() {
    return std::make_unique<TerminalFarEnd>();
}

}  // namespace cc::test
