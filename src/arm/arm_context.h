// The record of one arm, composed of the records of its subsystems, and the choice of an arm.
#pragma once

#include <atomic>
#include <cstdint>

#include "arm/settings.h"
#include "link/link_state.h"
#include "motion/move_buffer.h"
#include "motion/scan_parameters.h"
#include "probehead/probe_head.h"
#include "replies/reply_state.h"
#include "trace/trace_file.h"

namespace cc {

/// What the opening and closing of an arm keeps. Used on the caller's thread but for the timer's id, and for
/// connectionOpen, which an emergency on another thread reads.
struct ConnectionState {
    int32_t armNumber = 0;               // as given to CC_INIT
    uint32_t openings = 0;               // calls of CC_INIT so far, wrapping
    std::atomic<uint32_t> mmTimerId{0};  // 0: no timer. Relaxed: a tick that misses a change is one tick late
    uint32_t tickPeriodMs = 0;
    uint32_t lineTriedTick = 0;  // of LinkState::ticks: when the line was in order, or tried, last
    uint32_t lineTries = 0;      // to take up a line that is gone
    bool portOpen = false;
    std::atomic<bool> connectionOpen{false};
    bool headPortOpen = false;
    bool workerRegistered = false;
    bool workerActive = false;  // the worker's steps run, and completion waits are not doubled
};

/// What the library tells controllers apart by, once CC_START has seen the controller's information.
enum class ControllerClass : uint8_t {
    Unknown,
    Old,        // its information never changes
    Streaming,  // reports coordinates by itself
    Newer,      // is asked for coordinates; knows the start command and the newer settings
};

/// How the controller was started and how its coordinates are asked for. Used on the caller's thread but for extendedStart,
/// which an emergency on another thread reads.
struct SessionState {
    bool extendedStart = false;
    int16_t startMode = 0;
    ControllerClass controllerClass = ControllerClass::Unknown;
    bool autoCoordOn = false;  // the worker asks for coordinates
    int16_t askCoordMode = 0;
    int32_t coordPollTicks = 0;
    int32_t coordPollPeriod = 0;
    uint32_t cosDat[512]{};  // the table that the controller may ask for at its start

    /// Whether the client does by itself what the worker would otherwise do after zeroing and in state 2.
    bool ClientActs() const { return startMode == 1; }
};

/// From controller counts to the caller's units.
struct AxisState {
    double linearScale = 0;
    double wristScale = 0;
    int32_t axisSign[3] = {0, 0, 0};
    int32_t axisSlot[3] = {0, 0, 0};  // element of the caller's arrays that holds controller axis k
};

struct ArmContext {
    explicit ArmContext(MessageQueues &queues) : link(queues, trace) {}
    ~ArmContext();

    ConnectionState connection;
    SessionState session;
    Settings settings;
    TraceFile trace;
    LinkState link;
    ReplyState replies;
    MoveBuffer motion;
    ScanParameters scan;
    AxisState axes;
    ProbeHead head;
};

/// The record of an arm: 1 selects arm 1, any other number arm 2.
ArmContext &SelectArm(int16_t arm);

/// The record of an arm that is open, else null: commands on a closed arm fail before they do anything.
ArmContext *OpenArm(int16_t arm);

}  // namespace cc
