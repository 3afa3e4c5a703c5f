// The built-in controller of simulation mode: canned replies to command messages.
#pragma once

#include <cstdint>

#include "link/message_queues.h"

namespace cc {

/// Counts of the three axes as they came in a command, little-endian.
struct SimulatedPosition {
    uint8_t simX[4]{};
    uint8_t simY[4]{};
    uint8_t simZ[4]{};
};

/// What the simulated controller remembers. Used under the link lock.
struct SimulatorState {
    uint8_t simState = 0;      // controller state sent with every reply
    int32_t simWaitCount = 0;  // pump calls spent in state 7
    uint8_t simInfo[10]{};
    SimulatedPosition simPosition;  // of the last move
    uint16_t simPair[2]{};
    bool simPositionEcho = false;
};

/// The values that the link reset of a real port leaves.
void ResetSimulator(SimulatorState &simulator);

/// Answers one command message with replies at `writeIndex` of the reply queue. Result: whether the
/// command was consumed, with or without replies; otherwise it must wait for room in the queue.
bool SimulateCommand(SimulatorState &simulator, const uint8_t *command, MessageSlot *replyQueue,
                     int32_t &writeIndex, int32_t queueSize);

/// One step of the simulated controller: consumes at most one command of the send queues, priority first; in
/// state 7 it only counts, and after 100 steps returns to state 2 with a state reply.
void StepSimulator(SimulatorState &simulator, MessageQueues &queues);

}  // namespace cc
