// Texts that define a serial port.
#pragma once

namespace cc::platform {

/// Whether `definition` is a device-control string, the same on every system, as their own parsers differ: a device
/// "COMn" with n from 1 to 256, which may be all, an optional colon, then either "9600,e,8,1" (baud, parity,
/// data bits, stop bits; trailing parts may be left out) or "baud=9600 parity=E data=8 stop=1" with any of
/// these in any order, and the flow-control keys to, xon, odsr, octs, dtr, rts and idsr. Null is no definition.
bool IsPortDefinition(const char *definition);

}  // namespace cc::platform
