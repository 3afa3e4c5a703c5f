#include "trace/trace_file.h"

namespace cc {
namespace {

void TraceBytes(TraceFile &trace, const char *prefix, const uint8_t *bytes, uint16_t length) {
    const platform::Guard guard(trace.lock);
    if (trace.traceFile == nullptr) return;
    std::fputs(prefix, trace.traceFile);
    for (uint16_t i = 0; i < length; ++i)
        std::fprintf(trace.traceFile, "%X%X ", bytes[i] >> 4, bytes[i] & 15);
    std::fputc('\n', trace.traceFile);
    if (trace.byLine) std::fflush(trace.traceFile);
}

}  // namespace

void OpenTrace(TraceFile &trace, int32_t armNumber, TraceKind kind) {
    CloseTrace(trace);
    char name[32];
    std::snprintf(name, sizeof name, "wtraceArm%1d.log", armNumber);
    const platform::Guard guard(trace.lock);
    trace.traceFile = std::fopen(name, "wt");
    trace.byLine = kind == TraceKind::ByLine;
}

void CloseTrace(TraceFile &trace) {
    const platform::Guard guard(trace.lock);
    if (trace.traceFile == nullptr) return;
    std::fclose(trace.traceFile);
    trace.traceFile = nullptr;
}

void TraceCommand(TraceFile &trace, const uint8_t *bytes, uint16_t length) {
    TraceBytes(trace, ">>", bytes, length);
}

void TraceReply(TraceFile &trace, const uint8_t *bytes, uint16_t length) {
    TraceBytes(trace, "  ", bytes, length);
}

void TraceEndOfZeroing(TraceFile &trace, int16_t arm) {
    const platform::Guard guard(trace.lock);
    if (trace.traceFile != nullptr) std::fprintf(trace.traceFile, "___endzeroes  %d\n", arm);
}

}  // namespace cc
