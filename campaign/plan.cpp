#include "plan.h"

#include <numeric>
#include <sstream>

#include "cc_interface.h"

namespace campaign {
namespace {

using emulator::kMillisecond;

emulator::ControllerOptions MakeController(Random &random) {
    // Each class of controllers, by type and level: old, streaming, newer without and with the longer information.
    constexpr struct {
        uint8_t type, level;
    } kTypes[] = {{0, 14}, {0, 15}, {1, 14}, {1, 15}, {1, 16}, {2, 1},
                  {3, 1},  {4, 3},  {5, 2},  {16, 1}, {255, 7}};
    const auto kind = random.Pick(kTypes);
    emulator::ControllerOptions options;
    options.type = kind.type;
    options.level = kind.level;
    options.option = random.Chance(0.2) ? 4 : 0;
    options.wantsTable = random.Chance(0.05);
    options.speed = random.Scaled(200, 5000);
    options.probingSpeed = random.Scaled(10, 200);
    options.zeroingTime = random.Scaled(100, 3000) * kMillisecond;
    options.replyDelay = random.Pick({0, 3, 3, 20, 200}) * kMillisecond;
    options.link.frameGap = random.Pick({0, 2, 2, 20}) * kMillisecond;
    options.link.ignoresRepetitions = random.Chance(0.15);
    options.part = std::make_shared<emulator::SpherePart>();
    return options;
}

ArmPlan MakeArm(Random &random) {
    ArmPlan arm;
    arm.used = true;
    arm.simulated = random.Chance(0.1);
    arm.head = random.Pick({HeadKind::None, HeadKind::None, HeadKind::Emulated, HeadKind::Simulated});
    arm.startMode = static_cast<int16_t>(random.Below(2));
    arm.extendedStart = random.Chance(0.85);
    arm.loPeriodMs = random.Pick({5, 10, 20, 50, 50, 50, 100});
    arm.hiPeriodMs = random.Pick({10, 50, 50, 50, 200, 1000});
    arm.timeoutS = random.Pick({1, 3, 6, 6});
    arm.controller = MakeController(random);
    return arm;
}

const char *HeadWords(HeadKind head) {
    return head == HeadKind::None ? "no head" : head == HeadKind::Emulated ? "a head" : "a simulated head";
}

}  // namespace

Plan MakePlan(uint64_t seed, int lineMode) {
    Random random(seed);
    Plan plan;
    plan.seed = seed;
    plan.lineMode = lineMode;
    plan.arms[0] = MakeArm(random);
    if (random.Chance(0.4)) plan.arms[1] = MakeArm(random);
    plan.faultShare = random.Pick({0.0, 0.05, 0.1, 0.2, 0.4});
    plan.steps.resize(static_cast<size_t>(random.Scaled(20, 400)));
    std::iota(plan.steps.begin(), plan.steps.end(), 0);
    plan.loop =
        random.Pick({LoopKind::Run, LoopKind::Run, LoopKind::Run, LoopKind::Dispatch, LoopKind::Procedure});
    plan.arms[0].singleArm = random.Chance(0.3);
    if (plan.arms[0].singleArm) plan.arms[0].startMode = CC_START_AUTOMATIC;
    return plan;
}

std::string InWords(const Plan &plan) {
    std::ostringstream text;
    constexpr const char *kLoops[] = {"the library's loop", "a loop of its own", "a timer procedure"};
    text << "the worker runs by " << kLoops[static_cast<int>(plan.loop)] << "\n";
    for (int i = 0; i < 2; ++i) {
        const ArmPlan &arm = plan.arms[i];
        if (!arm.used) continue;
        text << "arm " << i + 1 << ": " << (arm.simulated ? "simulation" : "line") << ", "
             << HeadWords(arm.head) << ", start mode " << arm.startMode
             << (arm.singleArm ? ", single-arm entry points" : "")
             << (arm.extendedStart ? ", extended start" : "") << ", Lo Period " << arm.loPeriodMs
             << ", Hi Period " << arm.hiPeriodMs << ", timeout " << arm.timeoutS << ", controller type "
             << +arm.controller.type << " level " << +arm.controller.level << " option "
             << +arm.controller.option << (arm.controller.wantsTable ? ", wants its table" : "")
             << (arm.controller.link.ignoresRepetitions ? ", ignores repetitions" : "") << ", reply delay "
             << arm.controller.replyDelay / kMillisecond << " ms, gap "
             << arm.controller.link.frameGap / kMillisecond << " ms\n";
    }
    return text.str();
}

}  // namespace campaign
