// The line protocol of the probe head: opening, sending, polling, waiting.
#pragma once

#include <cstdint>
#include <string_view>

#include "probehead/probe_head.h"

namespace cc {

/// Command texts, each ended by a carriage return.
inline constexpr std::string_view kHeadStatus = "S\r";
inline constexpr std::string_view kHeadUpdate = "U\r";
inline constexpr std::string_view kHeadManual = "M\r";
inline constexpr std::string_view kHeadAutomatic = "N\r";

/// Opens the head's port, or begins head simulation, in which nothing is opened. Result: CC_OK, CC_BAD_HEAD_PORT
/// or CC_PORT_NOT_OPENED.
uint16_t OpenHead(ProbeHead &head, const char *settingsText, bool simulated);

/// Drains and closes the head's port, if it is open.
void CloseHead(ProbeHead &head);

/// Sends a text. Result: true, also when the port is closed and nothing is sent; false when an open port did not
/// take it.
bool SendHeadCommand(ProbeHead &head, std::string_view text);

/// Reads and classifies at most one answer into the head record; nothing in head simulation.
void PollHead(ProbeHead &head);

/// How a wait for the head ended.
enum class HeadWait { Answered, Error, Silent };

/// Polls every pollMs until an answer of class `awaited` or an error answer has come, mostPolls times at the most.
HeadWait WaitHead(ProbeHead &head, HeadAnswer awaited);

}  // namespace cc
