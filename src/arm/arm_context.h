// The record of one arm, composed of the records of its subsystems, and the choice of an arm.
#pragma once

#include <atomic>
#include <cstdint>

#include "arm/settings.h"
#include "link/arm_port.h"
#include "link/controller_simulator.h"
#include "link/link_state.h"
#include "link/message_queues.h"
#include "link/tick_counters.h"
#include "motion/move_buffer.h"
#include "platform/event.h"
#include "probehead/head_port.h"
#include "probehead/head_record.h"
#include "replies/reply_state.h"
#include "trace/trace_file.h"

namespace cc {

/// What the opening and closing of an arm keeps. Used on the caller's thread but for the timer's id.
struct ConnectionState {
    int32_t armNumber = 0;               // as given to CC_INIT
    uint32_t openings = 0;               // calls of CC_INIT so far, wrapping
    std::atomic<uint32_t> mmTimerId{0};  // 0: no timer. Relaxed: a tick that misses a change is one tick late
    uint32_t portOpen = 0;
    uint32_t mmTimerRunning = 0;
    uint32_t simulationMode = 0;
    uint32_t tickPeriodMs = 0;
    uint32_t connectionOpen = 0;
    uint32_t headPortOpen = 0;
    uint32_t workerRegistered = 0;
    uint32_t workerActive = 0;  // 1: the worker's steps run, and completion waits are not doubled
    platform::Event ackEvent;   // open: commands wait for link acknowledgements
};

/// How the controller was started and how its coordinates are asked for. Used on the caller's thread.
struct SessionState {
    int32_t extendedStart = 0;
    int32_t startMode = 0;
    int32_t controllerClass = 0;
    int32_t autoCoordOn = 0;  // 1: the worker asks for coordinates
    int32_t askCoordMode = 0;
    int32_t coordPollTicks = 0;
    int32_t coordPollPeriod = 0;
    uint32_t cosDat[512]{};  // the table that the controller may ask for at its start
};

/// From controller counts to the caller's units.
struct AxisState {
    double linearScale = 0;
    double wristScale = 0;
    int32_t axisSign[3] = {0, 0, 0};
    int32_t axisSlot[3] = {0, 0, 0};  // element of the caller's arrays that holds controller axis k
};

struct ArmContext {
    explicit ArmContext(MessageQueues &messageQueues) : queues(messageQueues), port(*this) {}
    ~ArmContext();

    ConnectionState connection;
    SessionState session;
    Settings settings;
    TickCounters counters;
    LinkState link;
    MessageQueues &queues;
    SimulatorState simulator;
    TraceFile trace;
    ReplyState replies;
    MoveBuffer motion;
    AxisState axes;
    HeadRecord head;
    CArmPort port;
    CHeadPort headPort;
};

/// The record of an arm: 1 selects arm 1, any other number arm 2.
ArmContext &SelectArm(int16_t arm);

/// The record of an arm that is open, else null: commands on a closed arm fail before they do anything.
ArmContext *OpenArm(int16_t arm);

}  // namespace cc
