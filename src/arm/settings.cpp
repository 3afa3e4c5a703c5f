#include "arm/settings.h"

#include <algorithm>

#include "platform/portable/text.h"
#include "platform/profile.h"

namespace cc {
namespace {

constexpr char kTimers[] = "Timers";

constexpr int32_t kDefaultPeriodMs = 50;
constexpr int32_t kLongestLoPeriodMs = 1000;  // beyond it there is no whole tick a second
constexpr int32_t kDefaultTimeoutS = 6;
constexpr int64_t kMostTicks = 65535;  // of a tick counter
constexpr int32_t kShortestAutoCoordMs = 100;

int32_t ReadTimer(const Settings &settings, const char *key, int32_t defaultValue) {
    return platform::ReadProfileInt(settings.iniPath, kTimers, key, defaultValue);
}

// Seconds as ticks. The completion wait may last twice as long, which a 16-bit counter must be able to reach.
int32_t TimeoutTicks(int32_t seconds, int32_t ticksPerSecond) {
    const int64_t ticks = int64_t{seconds} * ticksPerSecond;
    if (ticks < 0 || 2 * ticks > kMostTicks) return kDefaultTimeoutS * ticksPerSecond;
    return static_cast<int32_t>(ticks);
}

}  // namespace

void ReadSettings(Settings &settings, const char *iniFile) {
    settings.iniPath = iniFile;
    settings.loPeriodMs = ReadTimer(settings, "Lo Period", kDefaultPeriodMs);
    if (settings.loPeriodMs < 1 || settings.loPeriodMs > kLongestLoPeriodMs)
        settings.loPeriodMs = kDefaultPeriodMs;
    settings.hiPeriodMs = ReadTimer(settings, "Hi Period", kDefaultPeriodMs);
    if (settings.hiPeriodMs < 1) settings.hiPeriodMs = kDefaultPeriodMs;
    const int32_t headTimeout = ReadTimer(settings, "PH9 timeout", kDefaultTimeoutS);
    const int32_t timeout = ReadTimer(settings, "timeout", kDefaultTimeoutS);
    settings.initTimeout = ReadTimer(settings, "init timeout", 15);
    settings.initAttempts = ReadTimer(settings, "init attempts", 4);

    const int32_t ticksPerSecond = 1000 / settings.loPeriodMs;
    settings.headTimeoutTicks = TimeoutTicks(headTimeout, ticksPerSecond);
    settings.timeoutTicks = TimeoutTicks(timeout, ticksPerSecond);

    settings.fastPc = ReadTimer(settings, "FAST_PC", 1);
    settings.promptLine = ReadTimer(settings, "Line mode", 0) == 1;
    settings.autoCoordMs = ReadTimer(settings, "Auto Coord", kShortestAutoCoordMs);
    if (settings.autoCoordMs != 0)
        settings.autoCoordMs = std::max(settings.autoCoordMs, kShortestAutoCoordMs);
    settings.enableAutoCoord = ReadTimer(settings, "Enable auto coord", 0) != 0;

    char convention[40];
    platform::ReadProfileText(iniFile, "CONTROLLER", "KX_AXES_CONVENTION", "FALSE", convention,
                              sizeof convention);
    settings.axesConvention = platform::EqualIgnoringCase(convention, "TRUE");
}

TraceKind ReadTraceKind(const char *iniFile) {
    switch (platform::ReadProfileInt(iniFile, kTimers, "Log file", 0)) {
        case 0:
            return TraceKind::Off;
        case 2:
            return TraceKind::ByLine;
        default:
            return TraceKind::Buffered;
    }
}

}  // namespace cc
