// What a session is to be: all of it follows from a seed and a line mode.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "controller.h"
#include "random.h"

namespace campaign {

enum class HeadKind { None, Emulated, Simulated };

/// One arm, its controller and how it is opened.
struct ArmPlan {
    bool used = false;
    bool simulated = false;  // by the library's own simulator, without a line
    HeadKind head = HeadKind::None;
    int16_t startMode = 0;
    bool extendedStart = true;
    int loPeriodMs = 50;
    int hiPeriodMs = 50;
    int timeoutS = 6;
    int headTimeoutS = 1;
    bool singleArm =
        false;  // its program was written for one arm, and calls the entry points that have no number
    emulator::ControllerOptions controller;
};

/// How the program runs the worker: by the library's loop, by a loop of its own, or as a timer procedure.
enum class LoopKind { Run, Dispatch, Procedure };

/// A session: two arms, and steps of which each is a call of the client or a fault. A step follows from the seed and its
/// number alone, so that steps can be left out and the others stay what they are.
struct Plan {
    uint64_t seed = 0;
    int lineMode = 0;
    ArmPlan arms[2];
    LoopKind loop = LoopKind::Run;
    double faultShare = 0;   // of the steps
    std::vector<int> steps;  // numbers of those that are taken

    Random StepRandom(int step) const { return Random(seed * 1000003 + static_cast<uint64_t>(step) + 1); }
};

Plan MakePlan(uint64_t seed, int lineMode);

/// The arms in words, a line each.
std::string InWords(const Plan &plan);

}  // namespace campaign
