// The trace of one arm: every command and reply message as a line of hexadecimal bytes.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/mutex.h"

namespace cc {

/// "Log file" of the initialisation file.
enum class TraceKind {
    Off = 0,
    Buffered = 1,  // lines reach the disk when the buffer fills or the file is closed
    ByLine = 2,    // each line at once, for who follows the file, or looks at it after a crash
};

/// Written on the caller's thread, and on any that orders an emergency.
struct TraceFile {
    platform::Mutex lock;
    std::FILE *traceFile CC_GUARDED_BY(lock) = nullptr;  // null: the trace is off
    bool byLine CC_GUARDED_BY(lock) = false;
};

/// Opens "wtraceArm<armNumber>.log" in the current directory, emptying an older file; a trace that is open is
/// closed first. Without the file the trace stays off.
void OpenTrace(TraceFile &trace, int32_t armNumber, TraceKind kind);
void CloseTrace(TraceFile &trace);

/// Lines of a message that is queued and of one that was taken from the reply queue. Nothing while the trace
/// is off.
void TraceCommand(TraceFile &trace, const uint8_t *bytes, uint16_t length);
void TraceReply(TraceFile &trace, const uint8_t *bytes, uint16_t length);
/// The line of the end of zeroing.
void TraceEndOfZeroing(TraceFile &trace, int16_t arm);

}  // namespace cc
