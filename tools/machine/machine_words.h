// What the library and the controller tell by numbers, in words.
#pragma once

#include <cstdint>
#include <string>

#include "machine/failure.h"

namespace cmm {

/// An event of the library as a sentence without its end; arguments as the notification callback gets them.
std::string EventWords(int32_t event, uint32_t info, const void *data);

/// CC_STATUS_... as a word.
std::string StatusWord(int16_t status);

/// Why an emergency came, by the code byte that it carries.
std::string EmergencyCause(uint8_t code);
/// The code byte of an emergency event, CC_EVENT_EMERGENCY or CC_EVENT_EMERGENCY_51.
uint8_t EmergencyCode(uint32_t info, const void *data);

/// The failure of CC_INIT with a result other than CC_OK. portText: the port that was opened.
Failure OpeningFailure(uint16_t result, const std::string &portText, const std::string &whose);

}  // namespace cmm
