// A measuring program for tests: records events, opens arms, injects replies, reads what was sent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cc_interface.h"
#include "cc_interface_posix.h"

namespace cc::test {

using Bytes = std::vector<uint8_t>;
using Messages = std::vector<Bytes>;

/// Bytes written as in "04 01 4E 30 30"; a character in quotes stands for itself: "04 01 'N' '0' '0'".
Bytes Hex(const std::string &text);

/// Messages written one behind another, with | between them; an empty text is no message.
Messages Hexes(const std::string &text);

/// One call of the notification callback, with the data copied.
struct Event {
    int32_t number = 0;
    uint32_t info = 0;
    PointRecord point{};  // events 5, 6, 7, 13
    Bytes words;          // the first bytes of other data

    bool operator==(const Event &other) const { return number == other.number && info == other.info; }
};

Event Of(int32_t number, uint32_t info);
void PrintTo(const Event &event, std::ostream *out);

/// Events of arm 1 and arm 2 since they were cleared last, in order.
std::vector<Event> &Events(int arm);
CC_NOTIFY Recorder(int arm);

/// Events of one number.
std::vector<Event> EventsOf(int arm, int32_t number);

/// Writes an initialisation file into the test's temporary folder. Result: its path, valid until the next
/// call for the same arm.
const char *IniFile(const std::string &text, int arm = 1);

/// Opens an arm in simulation mode with linearScale 0.001, wristScale 0.5 and extended start, which is quick.
uint16_t OpenSimulated(int arm, const char *iniFile = nullptr, uint16_t flags = CC_SIMULATION);

/// Closes both arms, clears their events and leaves nothing behind for the next test.
void CloseAll();

}  // namespace cc::test
