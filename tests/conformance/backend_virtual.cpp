#include "conformance/backend.h"
#include "platform/virtual/virtual_port.h"
#include "platform/virtual/world.h"

namespace cc::test {
namespace {

class VirtualFarEnd final : public FarEnd {
  public:
    VirtualFarEnd() {
        port_.present = true;
        port_.farEnd = [this](uint8_t byte) { received_.push_back(byte); };
    }
    ~VirtualFarEnd() override { port_.farEnd = nullptr; }
    void Send(const Bytes &bytes) override { port_.SendTogether(bytes); }
    Bytes Received() override { return received_; }
    void Unplug() override { port_.present = false; }

  private:
    platform::VirtualPort &port_ = platform::VirtualPort::Number(kPort);
    Bytes received_;
};

}  // namespace

int64_t BackendNow() {
    return platform::World::Instance().Now() / platform::kMillisecond;
}

bool Eventually(const std::function<bool()> &reached) {
    platform::World &world = platform::World::Instance();
    return world.PassUntil(world.Now() + 5000 * platform::kMillisecond, reached);
}

std::unique_ptr<FarEnd> FarEnd::Create() {
    return std::make_unique<VirtualFarEnd>();
}

}  // namespace cc::test
