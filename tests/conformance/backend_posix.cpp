#include "conformance/backend.h"
#include "pseudo_terminal.h"
#include "support/port_folder.h"

namespace cc::test {
namespace {

class TerminalFarEnd final : public FarEnd {
  public:
    TerminalFarEnd() { terminal_.LinkAs(folder_.path, kPort); }
    void Send(const Bytes &bytes) override { terminal_.Write(bytes.data(), bytes.size()); }
    Bytes Received() override {
        uint8_t chunk[256];
        const size_t count = terminal_.Read(chunk, sizeof chunk);
        received_.insert(received_.end(), chunk, chunk + count);
        return received_;
    }
    void Unplug() override { terminal_.Unplug(); }

  private:
    PortFolder folder_;
    emulator::PseudoTerminal terminal_;
    Bytes received_;
};

}  // namespace

std::unique_ptr<FarEnd> FarEnd::Create() {
    return std::make_unique<TerminalFarEnd>();
}

}  // namespace cc::test
