// Plays each script of the folder "emulated" with a machine behind the library: the emulated controller and its head, on
// lines in virtual time.
#include "controller.h"
#include "dialogue.h"
#include "dme/library_machine.h"
#include "dme/seen_part.h"
#include "head.h"
#include "support/client.h"
#include "virtual_peer.h"

namespace cmm::dme {
namespace {

using cc::platform::VirtualPort;
using cc::platform::World;

constexpr int kPort = 3, kHeadPort = 4;
constexpr uint8_t kHoldReply = 48, kResumeReply = 50, kEmergencyReply = 51;

emulator::ControllerOptions WithPart(const std::shared_ptr<const emulator::Part> &part) {
    emulator::ControllerOptions options;
    options.zeroingTime = 200 * emulator::kMillisecond;
    options.part = part;
    return options;
}

LibraryMachineOptions Options() {
    LibraryMachineOptions options;
    options.arm.port = "COM3";
    options.arm.headPort = "COM4";
    options.arm.iniFile =
        cc::test::IniFile("[Timers]\nLo Period=10\nHi Period=10\nLine mode=1\ntimeout=2\nPH9 timeout=1\n");
    options.waitsForHead = true;
    return options;
}

// What befalls it
//   unplug, plug: the controller's line; emergency, hold, resume: at the machine; mute, speak: the head; leave: the client is
//   gone; stands: the machine must not move, nor have anything to do
class EmulatedDialogue : public Dialogue {
    Server &TheServer() override { return server_; }
    int Patience() const override { return 60000; }

    void Pass(int milliseconds) override {
        for (int passed = 0; passed <= milliseconds; passed += 10) {
            CC_LOOP_RUN(10);
            server_.Advance(Time(World::Instance().Now() / 1000));
            const Eigen::Vector3d tip = server_.TipOffset();
            part_->SetTip({tip.x(), tip.y(), tip.z()});
        }
    }

    void Befall(const std::string &event, const std::string &) override {
        if (event == "unplug") return VirtualPort::Number(kPort).Unplug();
        if (event == "leave") return server_.Leave();
        if (event == "plug") {
            VirtualPort::Number(kPort).present = true;
        } else if (event == "mute" || event == "speak") {
            head_.options.silent = event == "mute";
        } else if (event == "stands") {
            EXPECT_TRUE(controller_.IsAtRest());
            EXPECT_FALSE(server_.IsBusy());
        } else {
            const uint8_t reply = event == "hold"     ? kHoldReply
                                  : event == "resume" ? kResumeReply
                                                      : kEmergencyReply;
            line_.Ask([this, reply] { controller_.GiveEvent(reply); });
        }
    }

    std::shared_ptr<SeenPart> part_ = std::make_shared<SeenPart>(std::make_shared<emulator::SpherePart>());
    emulator::Controller controller_{WithPart(part_)};
    emulator::VirtualPeer line_{kPort, controller_};
    emulator::Head head_{emulator::HeadOptions{.speed = 360}};
    emulator::VirtualPeer headLine_{kHeadPort, head_, emulator::kByteTimeHead};
    LibraryMachine machine_{Options()};
    Server server_{machine_, BuiltInSetup(), [this](const std::string &line) { Answer(line); }};
};

class DmeEmulated : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(DmeEmulated, IsAnsweredAsWritten) {
    EmulatedDialogue().Play(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Scripts, DmeEmulated, testing::ValuesIn(ScriptsIn(DIALOGUE_DIR "/emulated")),
                         [](const auto &script) { return script.param.stem().string(); });

}  // namespace
}  // namespace cmm::dme
