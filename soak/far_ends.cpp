// Two controllers and two heads on pseudo-terminals that misbehave while the phase is Faulty.
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "controller.h"
#include "head.h"
#include "line_host.h"
#include "pseudo_terminal.h"
#include "shared.h"

namespace soak {
namespace {

using namespace emulator;

// A line whose far end keeps one descriptor, whether it is plugged in or not.
class Plug {
  public:
    Plug(const char *folder, int number) : folder_(folder), number_(number) {
        int ends[2];
        if (pipe2(ends, O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
        nothing_ = ends[0];
        descriptor_ = dup(nothing_);
    }
    int Descriptor() const { return descriptor_; }
    bool IsIn() const { return terminal_.has_value(); }
    void PutIn() {
        terminal_.emplace();
        dup2(terminal_->Descriptor(), descriptor_);
        terminal_->LinkAs(folder_, number_);
    }
    void PullOut() {
        dup2(nothing_, descriptor_);
        terminal_.reset();
    }

  private:
    const std::string folder_;
    const int number_;
    int nothing_;     // can be waited for, and never comes; takes no bytes
    int descriptor_;  // of the terminal, or of nothing
    std::optional<PseudoTerminal> terminal_;
};

// A time from `from` to `to`, short ones as likely as long ones.
int64_t Duration(Random &random, double from, double to) {
    const double share = std::uniform_real_distribution<double>()(random);
    return static_cast<int64_t>(from * std::pow(to / from, share));
}

struct Line {
    Line(const char *folder, int number) : plug(folder, number) {}

    Plug plug;
    int64_t next = 0;  // when it is pulled or put in next

    /// Pulls it and puts it in again at times; `mayPull` false: only the latter. Result: whether it was pulled.
    bool Toggle(Random &random, int64_t meanTime, bool mayPull) {
        const int64_t now = Now();
        if (now < next) return false;
        next = now + Duration(random, 300, 3000) * meanTime / 1000;
        if (!plug.IsIn()) {
            plug.PutIn();
        } else if (mayPull) {
            plug.PullOut();
            next = now + Duration(random, 50 * kMillisecond, 8 * kSecond);
            return true;
        }
        return false;
    }
};

ControllerOptions OptionsOf(int arm) {
    ControllerOptions options;
    options.part = std::make_shared<SpherePart>();
    options.speed = 300;
    options.probingSpeed = 100;
    options.zeroingTime = 200 * emulator::kMillisecond;
    options.emergencyTime = emulator::kSecond;
    options.type = arm == 1 ? 1 : 2;
    // The second arm is always on the prompt line, and leaves no time between frames.
    if (arm == 2) options.link.frameGap = 0;
    return options;
}

class FarEnds {
  public:
    FarEnds(Shared &shared, const char *folder, uint64_t seed) : shared_(shared), random_(seed) {
        for (int i = 0; i < kArms; ++i) {
            arms_.push_back(std::make_unique<Arm>(folder, i + 1));
            Arm &arm = *arms_.back();
            arm.line.plug.PutIn();
            arm.headLine.plug.PutIn();
            arm.controller.Faults().Seed(random_());
            arm.controller.onMessage = [this, &arm](int64_t, const Bytes &message) { Take(arm, message); };
            const int64_t gap = i == 0 ? kPieceGap : 0;
            host_.Add(
                arm.controller, arm.line.plug.Descriptor(), i == 0 ? kByteTimeController : 0, [] {}, gap);
            host_.Add(arm.head, arm.headLine.plug.Descriptor(), kByteTimeHead, [] {});
        }
        shared_.linked = true;
    }

    [[noreturn]] void Run() {
        for (;;) {
            host_.RunOnce(5 * emulator::kMillisecond);
            if (shared_.phase == Phase::Faulty) {
                BeFaulty();
            } else if (shared_.phase == Phase::Clean) {
                BeClean();
            }
        }
    }

  private:
    struct Arm {
        Arm(const char *folder, int arm)
            : number(arm),
              line(folder, 2 * arm - 1),
              headLine(folder, 2 * arm),
              controller(OptionsOf(arm)),
              head({.speed = 1000, .answerDelay = 5 * emulator::kMillisecond}) {}

        const int number;
        Line line, headLine;
        Controller controller;
        Head head;
        std::vector<bool> had = std::vector<bool>(kSerials);
    };

    // A message with a serial number must not come twice on a prompt line. The M of G34 is a length.
    void Take(Arm &arm, const Bytes &message) {
        const Command command{message};
        uint32_t serial = 0;
        if (command.Number() == cc::CommandNumber(cc::command::O00)) {
            serial = command.Word(cc::at::kPayload) | uint32_t{command.Word(cc::at::kPayload + 2)} << 16;
        } else if (command.Name().letter == 'G' && command.Number() != cc::CommandNumber(cc::command::G34)) {
            serial = static_cast<uint32_t>(command.Field('M').value_or(0));
        }
        if (serial % kSerials == 0 || serial >= 2 * kPromptSerial) return;
        ++shared_.taken;
        if (arm.had[serial % kSerials]) {
            if ((serial & kPromptSerial) != 0)
                Broken(shared_, "arm %d: the controller was given message %u (%c%c%c) twice", arm.number,
                       serial % kSerials, command.Name().letter, command.Name().digit1,
                       command.Name().digit2);
            ++shared_.takenTwiceClassic;
        }
        arm.had[serial % kSerials] = true;
    }

    void DrawFaults(FaultSwitches &faults) {
        faults.Clear();
        static constexpr const char *kTexts[] = {"drop", "corrupt", "repeat", "split", "merge", "line-error"};
        const auto add = [&](const std::string &kind, double percent) {
            if (!OneIn(random_, 3)) faults.Add(ParseFault(kind + "%" + std::to_string(percent)));
        };
        const auto share = [&](double most) {
            return static_cast<double>(Duration(random_, 1000, most * 10000)) / 10000;
        };
        for (const char *const text : kTexts) {
            add(text, share(4));
            if (std::string("split") != text) add("to-controller:" + std::string(text), share(4));
        }
        for (const char *const way : {"", "to-controller:"}) {
            add(way + ("delay=" + std::to_string(1 + Below(random_, 1500))), share(2));
        }
        add("restart", share(0.4));
        add("silence=" + std::to_string(100 + Below(random_, 5000)), share(0.4));
    }

    void BeFaulty() {
        if (round_ != shared_.round) {
            round_ = shared_.round;
            for (const auto &arm : arms_) {
                DrawFaults(arm->controller.Faults());
                arm->line.next = Now() + Duration(random_, 300, 3000) * 20 * kMillisecond;
                arm->headLine.next = Now() + Duration(random_, 300, 3000) * 60 * kMillisecond;
            }
        }
        for (int i = 0; i < kArms; ++i) {
            Arm &arm = *arms_[static_cast<size_t>(i)];
            // A classic line does not come back.
            if (arm.line.Toggle(random_, 20 * kSecond, shared_.prompt[i])) ++shared_.unplugs;
            if (arm.headLine.Toggle(random_, 60 * kSecond, true)) ++shared_.headUnplugs;
            if (!OneIn(random_, 20000)) continue;
            arm.head.FailNext("ECIJXOFD"[Below(random_, 8)]);
        }
    }

    void BeClean() {
        if (shared_.cleanRound == shared_.round) return;
        for (const auto &arm : arms_) {
            arm->controller.Faults().Clear();
            arm->head.FailNext(0);
            if (!arm->line.plug.IsIn()) arm->line.plug.PutIn();
            if (!arm->headLine.plug.IsIn()) arm->headLine.plug.PutIn();
        }
        shared_.cleanRound = shared_.round.load();
    }

    Shared &shared_;
    Random random_;
    LineHost host_;
    std::vector<std::unique_ptr<Arm>> arms_;
    int round_ = 0;
};

}  // namespace

void RunFarEnds(Shared &shared, const char *folder, uint64_t seed) {
    FarEnds(shared, folder, seed).Run();
}

}  // namespace soak
