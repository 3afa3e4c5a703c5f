#include "arm/arm_context.h"

#include "platform/periodic_timer.h"

namespace cc {
namespace {

// The queues are apart from the records so that their megabytes cost nothing until they are used.
constinit MessageQueues queuesOfArm1;
constinit MessageQueues queuesOfArm2;

ArmContext arm1(queuesOfArm1);
ArmContext arm2(queuesOfArm2);

}  // namespace

// A client may unload the library without closing its arms: nothing must tick on a record that is gone.
ArmContext::~ArmContext() {
    platform::StopPeriodicTimer(connection.mmTimerId.load(std::memory_order_relaxed));
    CloseTrace(trace);
}

ArmContext &SelectArm(int16_t arm) {
    return arm == 1 ? arm1 : arm2;
}

ArmContext *OpenArm(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    return context.connection.connectionOpen ? &context : nullptr;
}

}  // namespace cc
