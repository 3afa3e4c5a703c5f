// The line protocol of the probe head: sending, polling, waiting, starting.
#pragma once

#include <cstdint>
#include <string_view>

#include "arm/arm_context.h"

namespace cc {

/// Command texts, each ended by a carriage return.
inline constexpr std::string_view kHeadStatus = "S\r";
inline constexpr std::string_view kHeadUpdate = "U\r";
inline constexpr std::string_view kHeadManual = "M\r";
inline constexpr std::string_view kHeadAutomatic = "N\r";

/// Opens the head's port and asks the head for its status; a head that does not answer is no failure. Waits
/// for its answer, up to 12 times "PH9 timeout". In head simulation nothing is opened. Result: CC_OK,
/// CC_BAD_HEAD_PORT or CC_PORT_NOT_OPENED.
uint16_t OpenHead(ArmContext &context, int16_t arm, const char *settingsText, bool simulated);

/// Drains and closes the head's port, if it is open.
void CloseHead(ArmContext &context);

/// Sends a text. Result: 1, also when the port is closed and nothing is sent; 0 when an open port did not
/// take it.
int16_t SendHeadCommand(ArmContext &context, std::string_view text);

/// Reads and classifies at most one answer into the head record; nothing in head simulation.
void PollHead(int16_t arm);

/// Polls every "Lo Period" until an answer of class `awaited` has come; an error answer raises an emergency
/// and ends the wait. Result: 1 when it came, 0 otherwise, after headTimeoutTicks polls at the latest.
int16_t WaitHead(int16_t arm, HeadAnswer awaited);

/// Sends a text and waits for its answer, up to 11 times. Result: 0 when the first text could not be sent,
/// else 1, whether the head answered or not.
int16_t CommandHead(int16_t arm, std::string_view text, HeadAnswer awaited);

/// Orders the emergency of the head's last error answer.
void RaiseHeadError(const ArmContext &context, int16_t arm);

}  // namespace cc
