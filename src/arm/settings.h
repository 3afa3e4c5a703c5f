// The settings of one arm, read from its initialisation file.
#pragma once

#include <cstdint>

#include "trace/trace_file.h"

namespace cc {

struct Settings {
    const char *iniPath = nullptr;  // the caller's pointer, valid during CC_INIT
    int32_t loPeriodMs = 0;         // multimedia tick, head polling
    int32_t hiPeriodMs = 0;         // worker timer
    int32_t headTimeoutTicks = 0;   // most polls of one wait for the head
    int32_t timeoutTicks = 0;       // completion wait
    int32_t initTimeout = 0;        // reserved
    int32_t initAttempts = 0;       // reserved
    int32_t fastPc = 0;             // reserved
    bool promptLine = false;        // see LinkState::promptLine
    int32_t autoCoordMs = 0;        // period of streamed coordinates
    bool enableAutoCoord = false;   // coordinates are streamed, not polled
    bool axesConvention = false;    // first and second axis change places
};

/// Reads all settings from the file, with a default for what is missing or cannot be used.
void ReadSettings(Settings &settings, const char *iniFile);

/// Which trace the file asks for.
TraceKind ReadTraceKind(const char *iniFile);

}  // namespace cc
