#include "machine/operator_stop.h"

#include "cc_interface.h"
#include "machine/failure.h"
#include "machine/temporaries.h"

namespace cmm {
namespace {

constexpr int16_t kArm = 1;
constexpr int16_t kOrderedByHost = 0;

}  // namespace

OperatorStop::OperatorStop(Console &console) : console_(console), source_([this] { OnSignal(); }) {}

void OperatorStop::OnSignal() {
    const int count = ++signals_;
    const Phase phase = phase_;
    if (phase == Phase::Open && count >= 2)
        emergency_ = CC_EMERGENCY(kArm, kOrderedByHost) != 0 || emergency_;
    const bool leaves = phase == Phase::NoArm || count > 2 || (phase == Phase::Opening && count == 2);
    if (leaves) {
        console_.Say(emergency_ ? "The program ends; the emergency was ordered."
                                : "The program ends; no order is left with the machine.");
        EndAtOnce(kStopped);
    }
    if (phase == Phase::Opening) {
        console_.Say("Stop, as soon as the arm has answered. Once more: the program ends at once.");
    } else if (count == 1) {
        console_.Say("Stop: the machine is brought to rest. Once more: emergency, at once.");
    } else {
        console_.Say(emergency_ ? "EMERGENCY is ordered. Once more: the program ends at once."
                                : "The emergency could not be sent: press the button at the machine!");
    }
}

}  // namespace cmm
