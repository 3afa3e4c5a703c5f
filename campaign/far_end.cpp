#include "far_end.h"
#include "frame_words.h"

#include <algorithm>
#include <sstream>

namespace campaign {
namespace {

using namespace emulator;
using cc::platform::VirtualPort;
using cc::platform::World;

constexpr size_t kFramesKept = CC_LINK_FRAMES;

// Noise that no checksum of eight bits can tell from a frame is left out, as no line could stand it: it holds no bytes
// of the protocol, and inside a frame its exclusive or is not 0.
Bytes Noise(Random &random, bool terminators) {
    Bytes noise;
    uint8_t sum = 0;
    const int count = random.Scaled(1, 60);
    for (int i = 0; i < count; ++i) {
        const bool end = terminators && random.Chance(0.1);
        noise.push_back(end ? 8 : static_cast<uint8_t>(random.Between(0x80, 0xFF)));
        sum = static_cast<uint8_t>(sum ^ noise.back());
    }
    if (sum == 0) noise.push_back(0xA5);
    return noise;
}

std::string Milliseconds(const std::string &what, int milliseconds) {
    return what + " for " + std::to_string(milliseconds) + " ms";
}

}  // namespace

FarEnd::FarEnd(int arm, const ArmPlan &plan, ArmAccount &account,
               std::function<void(const std::string &)> tell)
    : port_(ControllerPort(arm)),
      account_(account),
      tell_(std::move(tell)),
      controller_(plan.controller),
      line_(port_, controller_) {
    controller_.onMessage = [this](int64_t time, const Bytes &message) {
        account_.executed.push_back({time, message});
    };
    if (tell_) {
        controller_.onFrame = [this](int64_t, Direction direction, const Bytes &frame) {
            tell_((direction == Direction::ToHost ? "      <- " : "      taken: ") +
                  FrameWords(direction, frame));
        };
    }
    toController_ = Port().farEnd;
    Port().farEnd = [this](uint8_t byte) { TakeFromHost(byte); };
    if (plan.head != HeadKind::Emulated) return;
    head_ = std::make_unique<Head>(HeadOptions{.speed = 720});
    headLine_ = std::make_unique<VirtualPeer>(HeadPort(arm), *head_, kByteTimeHead);
}

void FarEnd::TakeFromHost(uint8_t byte) {
    const int64_t now = World::Instance().Now();
    const bool counted = now > countedFrom_;
    if (counted && begun_ <= countedFrom_) incoming_.clear();
    if (incoming_.empty()) begun_ = now;
    incoming_.push_back(byte);
    if (byte == 8) {
        Bytes frame;
        frame.swap(incoming_);
        if (tell_) tell_("      -> " + FrameWords(Direction::ToController, frame));
        if (counted && frame[0] < std::size(account_.framesByType)) ++account_.framesByType[frame[0]];
        if (frame[0] == 3 || frame[0] == 4) account_.sent.push_back({begun_, frame});
        if (counted) account_.lastSent.push_back(std::move(frame));
        if (account_.lastSent.size() > 2 * kFramesKept)
            account_.lastSent.erase(account_.lastSent.begin(), account_.lastSent.begin() + kFramesKept);
    }
    toController_(byte);
}

void FarEnd::BeginCounts() {
    std::fill(std::begin(account_.framesByType), std::end(account_.framesByType), 0u);
    account_.lastSent.clear();
    account_.countsDisturbed = account_.diedWithItsDevice = false;
    countedFrom_ = std::max(countedFrom_, Port().WrittenUntil());
}

void FarEnd::Later(int64_t microseconds, std::function<void()> action) {
    World &world = World::Instance();
    world.At(world.Now() + microseconds, [this, action = std::move(action), ended = faultsEnded_] {
        if (ended == faultsEnded_) action();
    });
}

std::string FarEnd::Disturb(Random &random) {
    switch (random.Below(head_ == nullptr ? 8 : 9)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return DisturbFrames(random);
        case 4:
        case 5:
            return DisturbDevice(random);
        case 8:
            return DisturbHead(random);
        default:
            return DisturbMachine(random);
    }
}

// One fault or a burst of it, at frames to come.
std::string FarEnd::DisturbFrames(Random &random) {
    constexpr FaultKind kKinds[] = {FaultKind::Drop,      FaultKind::Drop,    FaultKind::Corrupt,
                                    FaultKind::Corrupt,   FaultKind::Repeat,  FaultKind::Delay,
                                    FaultKind::Split,     FaultKind::Merge,   FaultKind::Merge,
                                    FaultKind::LineError, FaultKind::Restart, FaultKind::Silence};
    constexpr const char *kNames[] = {"drop",  "corrupt",    "repeat",  "delay",  "split",
                                      "merge", "line error", "restart", "silence"};
    Fault fault;
    fault.kind = random.Pick(kKinds);
    fault.direction = random.Chance(0.5) ? Direction::ToHost : Direction::ToController;
    if (fault.kind == FaultKind::Split) fault.direction = Direction::ToHost;
    if (fault.kind == FaultKind::Delay) fault.value = random.Scaled(1, 1500) * kMillisecond;
    if (fault.kind == FaultKind::Silence) fault.value = random.Scaled(10, 8000) * kMillisecond;
    const bool single = fault.kind == FaultKind::Restart || fault.kind == FaultKind::Silence;
    const int burst = single ? 1 : random.Scaled(1, 12);
    const int first = controller_.Faults().Frames(fault.direction) + random.Scaled(1, 20);
    controller_.Faults().Seed(random.Next());
    for (fault.frame = first; fault.frame < first + burst; ++fault.frame) controller_.Faults().Add(fault);
    std::ostringstream text;
    text << kNames[static_cast<int>(fault.kind)] << " of " << burst << " frames "
         << (fault.direction == Direction::ToHost ? "to the host" : "to the controller");
    if (fault.value != 0) text << ", " << fault.value / kMillisecond << " ms";
    return text.str();
}

std::string FarEnd::DisturbDevice(Random &random) {
    const int64_t begin = random.Scaled(1, 2000) * kMillisecond;
    const int milliseconds = random.Scaled(10, 20000);
    const int64_t end = begin + milliseconds * kMillisecond;
    switch (random.Below(5)) {
        case 0:
            Later(begin, [this] {
                account_.diedWithItsDevice |= Port().IsOpen();
                Port().Unplug();
                account_.countsDisturbed = account_.lineFailed = true;
            });
            Later(end, [this] { Port().present = true; });
            return Milliseconds("unplugged", milliseconds);
        case 1: {
            const auto space = static_cast<uint32_t>(random.Below(40));
            Later(begin, [this, space] {
                Port().writeSpace = space;
                account_.countsDisturbed = account_.lineFailed = true;
            });
            Later(end, [this] { Port().writeSpace = UINT32_MAX; });
            return Milliseconds("full but for " + std::to_string(space) + " bytes", milliseconds);
        }
        case 2:
            Later(begin, [this] { Port().refuseSettings = true; });
            Later(end, [this] { Port().refuseSettings = false; });
            return Milliseconds("settings refused", milliseconds);
        case 3: {
            const bool together = random.Chance(0.5);
            const Bytes noise = Noise(random, !together);
            Later(begin, [this, noise, together] {
                if (together) {
                    Port().SendTogether(noise);
                } else {
                    Port().Send(noise);
                }
            });
            return std::to_string(noise.size()) + " bytes of noise to the host";
        }
        default: {
            const Bytes noise = Noise(random, false);
            Later(begin, [this, noise] {
                line_.Ask([this, &noise] {
                    for (const uint8_t byte : noise) controller_.Receive(byte);
                });
            });
            return std::to_string(noise.size()) + " bytes of noise to the controller";
        }
    }
}

std::string FarEnd::DisturbMachine(Random &random) {
    constexpr uint8_t kEvents[] = {30, 31, 32, 48, 50, 51, 52, 53, 54, 55};
    const int64_t begin = random.Scaled(1, 2000) * kMillisecond;
    if (random.Chance(0.7)) {
        const uint8_t code = random.Pick(kEvents);
        Later(begin, [this, code] { line_.Ask([this, code] { controller_.GiveEvent(code); }); });
        return "controller event " + std::to_string(code);
    }
    Fault jump;
    jump.kind = FaultKind::State;
    jump.direction = Direction::ToController;
    jump.frame = controller_.Faults().Frames(jump.direction) + random.Scaled(1, 10);
    jump.value = random.Pick({0, 1, 2, 3, 6, 7, 8});
    controller_.Faults().Add(jump);
    jumped_ = true;
    return "jump to state " + std::to_string(jump.value);
}

std::string FarEnd::DisturbHead(Random &random) {
    const int64_t begin = random.Scaled(1, 2000) * kMillisecond;
    const int milliseconds = random.Scaled(100, 5000);
    const auto ask = [this, begin](std::function<void(Head &)> question) {
        Later(begin, [this, question] { headLine_->Ask([this, &question] { question(*head_); }); });
    };
    switch (random.Below(5)) {
        case 0:
            ask([](Head &head) { head.options.silent = true; });
            Later(begin + milliseconds * kMillisecond, [this] { head_->options.silent = false; });
            return Milliseconds("head silent", milliseconds);
        case 1: {
            const char letter = random.Pick({'E', 'C', 'I', 'J', 'X', 'O', 'F', 'D'});
            ask([letter](Head &head) { head.GiveError(letter); });
            return std::string("head error ") + letter;
        }
        case 2: {
            const bool manual = random.Chance(0.5);
            ask([manual](Head &head) { head.SwitchByHand(manual); });
            return manual ? "head switched to manual mode" : "head switched to automatic mode";
        }
        case 3:
            ask([](Head &head) { head.AskForAutomatic(); });
            return "head asks for automatic mode";
        default:
            ask([](Head &head) { head.options.overLong = head.options.twoAtOnce = true; });
            Later(begin + milliseconds * kMillisecond,
                  [this] { head_->options.overLong = head_->options.twoAtOnce = false; });
            return Milliseconds("head answers at length, two at a time", milliseconds);
    }
}

void FarEnd::EndFaults() {
    ++faultsEnded_;
    controller_.Faults().Clear();
    VirtualPort &port = Port();
    port.present = true;
    port.writeSpace = UINT32_MAX;
    port.refuseSettings = false;
    // Noise that lies unread would spoil the next frame, whenever it comes.
    port.Send({8});
    // A frame that is on its way ends it by itself; torn in two, its second half might be a frame too.
    if (incoming_.empty()) line_.Ask([this] { controller_.Receive(8); });
    if (head_ != nullptr) head_->options = HeadOptions{.speed = 720};
}

}  // namespace campaign
