// Opening and closing an arm's connection to its controller.
#pragma once

#include <cstdint>

#include "arm/arm_context.h"

namespace cc {

/// Opens the trace, the port and the link (or the simulator), and starts the multimedia timer. portDef may be
/// null in simulation mode only. The tick and the line mode are those of the settings. Waits for the start of the link, about 6 s at most. Result: CC_OK,
/// CC_LINK_START_FAILED, CC_TIMER_FAILED, CC_BAD_PORT or CC_PORT_NOT_OPENED, with everything closed again.
uint16_t OpenConnection(ArmContext &context, const char *portDef, bool simulation, const char *iniFile);

/// Closes what OpenConnection opened; what is closed already stays so.
void CloseConnection(ArmContext &context);

/// One multimedia tick of every arm on which the timer ticks; on the timer thread.
void TickArms(uint32_t timerId);

}  // namespace cc
