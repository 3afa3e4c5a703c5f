// The link on a real port: reception, control frames, start, and the supervising tick.
#pragma once

#include <cstdint>

#include "link/framing.h"
#include "link/link_state.h"

namespace cc {

/// Bytes of a received frame, terminator included. A longer one is discarded and answered with a line error.
inline constexpr uint32_t kReceiveBytes = 100;

/// Reads one frame from the port and handles it, or all that lie there when that was asked for; on the
/// line-event thread, when the terminator has come.
void OnFrameReceived(LinkState &link) CC_EXCLUDES(link.lock);

/// Whether frames have come that reception has not handled; it is then asked to handle them all. Whoever counts
/// time against the controller waits for that first, within bounds: a host that stood still, or whose
/// line-event thread was kept waiting, may have the answer in its input. A link lock that is taken counts as
/// reception at work.
bool IsReceptionBehind(LinkState &link) CC_EXCLUDES(link.lock);
/// The same under the link lock.
bool AskReceptionToCatchUp(LinkState &link) CC_REQUIRES(link.lock);

/// Handles one received frame of 1 to kReceiveBytes bytes.
void ProcessFrame(LinkState &link, const uint8_t *bytes, uint32_t count) CC_EXCLUDES(link.lock);

/// Puts the link, the reply queue and the simulator into the state before a start.
void LinkReset(LinkState &link) CC_EXCLUDES(link.lock);

/// Sends start-links, 500 ms apart, until the controller has answered one. Result: whether the link is up;
/// 12 start-links without an answer end it.
bool LinkStart(LinkState &link) CC_EXCLUDES(link.lock);

/// Prompt line: sends a start-link if the link is still down, which the tick may have started meanwhile: one behind its
/// answer would let the controller expect another sequence than the host. Never blocks on the line.
void StartPromptly(LinkState &link) CC_EXCLUDES(link.lock);

/// Declares the transmit side down, so that LinkStart starts it anew. What is in flight on a prompt line is dropped.
void ForceLinkDown(LinkState &link) CC_EXCLUDES(link.lock);

/// Notes that the line took so many bytes of the rest of a frame. Result: whether nothing is left.
bool SkipTaken(LinkState &link, uint32_t taken) CC_REQUIRES(link.lock);

/// Prompt line: a terminator goes out before the next frame, so that the controller does not read a frame that broke off
/// and the next one as one. Eight bits of checksum would not always tell.
void EndTornFrame(LinkState &link) CC_REQUIRES(link.lock);

/// Prompt line: wakes what waits on the caller's thread, and the worker.
void Tell(LinkState &link);

/// Prompt line: sends what waits, now if nothing is in flight, on any thread; nothing on a classic line. Never blocks,
/// like LinkTick. Not under the link lock.
void SendPromptly(LinkState &link) CC_EXCLUDES(link.lock);

/// Prompt line: whether the port has lost its device, or is closed since.
bool IsLineGone(LinkState &link);
/// Prompt line: takes up a line whose device was unplugged and may have come back, on the thread that opened it.
void TakeUpLine(LinkState &link) CC_EXCLUDES(link.lock);

/// One multimedia tick of the link: sends or repeats the frame at the head of the queues, gives it up after
/// four transmissions, and starts a link that is down. What it repeats waits for frames in the input first, for
/// a second at the most. Never blocks: what a line does not take at once counts as sent, and is repeated.
void LinkTick(LinkState &link) CC_EXCLUDES(link.lock);

}  // namespace cc
