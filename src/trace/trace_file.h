// The trace of one arm: every command and reply message as a line of hexadecimal bytes.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/mutex.h"

namespace cc {

/// Written on the caller's thread, and on any that orders an emergency. Lines reach the disk when the buffer fills or
/// the file is closed.
struct TraceFile {
    platform::Mutex lock;
    std::FILE *traceFile CC_GUARDED_BY(lock) = nullptr;  // null: the trace is off
};

/// Opens "wtraceArm<armNumber>.log" in the current directory, emptying an older file; a trace that is open is
/// closed first. Without the file the trace stays off.
void OpenTrace(TraceFile &trace, int32_t armNumber);
void CloseTrace(TraceFile &trace);

/// Lines of a message that is queued and of one that was taken from the reply queue. Nothing while the trace
/// is off.
void TraceCommand(TraceFile &trace, const uint8_t *bytes, uint16_t length);
void TraceReply(TraceFile &trace, const uint8_t *bytes, uint16_t length);
/// The line of the end of zeroing.
void TraceEndOfZeroing(TraceFile &trace, int16_t arm);

}  // namespace cc
