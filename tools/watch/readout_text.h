// A readout as lines for programs and logs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "watch/readout.h"

namespace cmm {

/// The local time of day, "12:01:02".
std::string TimeOfDay(std::chrono::system_clock::time_point time);

/// Temperatures of a readout in degrees; `scale`: degrees a count.
std::vector<double> Degrees(const Readout &readout, double scale);

/// A reading in one line, and something that happened.
std::string ReadingText(const Readout &readout, double temperatureScale);
std::string HappeningText(const Happening &happening);

/// The same as objects. `withParameters`: the parameters are part of it.
nlohmann::ordered_json ReadingJson(const Readout &readout, double temperatureScale, bool withParameters);
nlohmann::ordered_json HappeningJson(const Happening &happening);

}  // namespace cmm
