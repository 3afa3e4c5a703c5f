// The link on a real port: reception, control frames, start, and the supervising tick.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Bytes of a received frame, terminator included. A longer one is discarded and answered with a line error.
inline constexpr uint32_t kReceiveBytes = 100;

/// Sends a control frame. Result: 0 when both bytes were written, else 1.
int SendControl(ArmContext &arm, uint8_t type);

/// Reads one frame from the port and handles it, or all that lie there when that was asked for; on the
/// line-event thread, when the terminator has come.
void OnFrameReceived(ArmContext &arm);

/// Whether frames have come that reception has not handled; it is then asked to handle them all. Whoever counts
/// time against the controller waits for that first, within bounds: a host that stood still, or whose
/// line-event thread was kept waiting, may have the answer in its input. A link lock that is taken counts as
/// reception at work. Takes the link lock; not under it.
bool IsReceptionBehind(ArmContext &arm);
/// The same under the link lock.
bool AskReceptionToCatchUp(ArmContext &arm);

/// Handles one received frame of 1 to kReceiveBytes bytes.
void ProcessFrame(ArmContext &arm, const uint8_t *bytes, uint32_t count);

/// Puts the link, the reply queue and the simulator into the state before a start.
void LinkReset(ArmContext &arm);

/// Sends start-links, 500 ms apart, until the controller has answered one. Result: 0 when the link is up, 1
/// when 12 start-links brought no answer.
int LinkStart(ArmContext &arm);

/// Declares the transmit side down, so that LinkStart starts it anew.
void ForceLinkDown(ArmContext &arm);

/// One multimedia tick of the link: sends or repeats the frame at the head of the queues, gives it up after
/// four transmissions, and starts a link that is down. What it repeats waits for frames in the input first, for
/// a second at the most. Never blocks: what a line does not take at once counts as sent, and is repeated.
void LinkTick(ArmContext &arm);

}  // namespace cc
