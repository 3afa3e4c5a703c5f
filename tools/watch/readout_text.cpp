#include "watch/readout_text.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>

#include "format.h"

namespace cmm {
namespace {

using emulator::Format;
using nlohmann::ordered_json;
using std::chrono::system_clock;

constexpr const char *kRotaryNames = "AB";
constexpr double kLongestAge = 2;  // s, of what counts as told now

// UTC, "2024-05-06T07:08:09.123Z".
std::string Timestamp(system_clock::time_point time) {
    const std::time_t whole = system_clock::to_time_t(time);
    const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()) % 1000;
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", std::gmtime(&whole));
    return text + Format(".%03dZ", static_cast<int>(part.count()));
}

// Seconds since the controller last answered.
double Age(const Readout &readout) {
    return std::chrono::duration<double>(Readout::Clock::now() - readout.heard).count();
}

ordered_json Told(double value) {
    return std::isnan(value) ? ordered_json() : ordered_json(value);
}

ordered_json HeadJson(const std::optional<HeadReadout> &head) {
    if (!head) return {};
    ordered_json object = {{"answers", head->condition == HeadReadout::Condition::Answers}};
    if (head->isKnown)
        object.update({{"a", head->a}, {"b", head->b}, {"mode", head->manual ? "manual" : "automatic"}});
    return object;
}

ordered_json ParametersJson(const Readout &readout) {
    ordered_json sets = ordered_json::object();
    for (const auto &[set, values] : readout.parameters) {
        ordered_json &list = sets[std::to_string(set)];
        for (const double value : values) list.push_back(Told(value));
    }
    return sets;
}

}  // namespace

std::string TimeOfDay(system_clock::time_point time) {
    const std::time_t whole = system_clock::to_time_t(time);
    char text[16];
    std::strftime(text, sizeof text, "%H:%M:%S", std::localtime(&whole));
    return text;
}

std::vector<double> Degrees(const Readout &readout, double scale) {
    std::vector<double> degrees;
    for (const uint16_t count : readout.temperatures)
        degrees.push_back(std::round(count * scale * 1e6) / 1e6);
    return degrees;
}

std::string ReadingText(const Readout &readout, double temperatureScale) {
    if (readout.line == Readout::Line::Lost)
        return TimeOfDay(system_clock::now()) + "  line lost: " + readout.trouble;
    std::string text = TimeOfDay(readout.time) + "  " + readout.state;
    if (readout.position) {
        const auto &[x, y, z] = *readout.position;
        text += Format("  X %.4f Y %.4f Z %.4f", x, y, z);
    }
    for (size_t i = 0; i < readout.rotary.size(); ++i)
        text += Format(i == 0 ? "  %c %.4f" : " %c %.4f", kRotaryNames[i], readout.rotary[i]);
    if (readout.head && readout.head->isKnown)
        text += Format("  head A %.1f B %.1f", readout.head->a, readout.head->b);
    if (readout.head && readout.head->condition == HeadReadout::Condition::Mute) text += "  head mute";
    if (readout.io) text += Format("  I/O %04X %04X", (*readout.io)[0], (*readout.io)[1]);
    const std::vector<double> degrees = Degrees(readout, temperatureScale);
    if (!degrees.empty()) {
        const auto [low, high] = std::minmax_element(degrees.begin(), degrees.end());
        text += Format("  T %.2f..%.2f", *low, *high);
    }
    if (const double age = Age(readout); age > kLongestAge) text += Format("  silent for %.0f s", age);
    return text;
}

std::string HappeningText(const Happening &happening) {
    return TimeOfDay(happening.time) + "  * " + happening.words;
}

ordered_json ReadingJson(const Readout &readout, double temperatureScale, bool withParameters) {
    // What was told before the line was lost may no longer be so.
    if (readout.line == Readout::Line::Lost)
        return {{"time", Timestamp(system_clock::now())},
                {"line", "lost"},
                {"losses", readout.losses},
                {"trouble", readout.trouble}};
    ordered_json object = {{"time", Timestamp(readout.time)},
                           {"line", "in order"},
                           {"losses", readout.losses},
                           {"age", std::round(Age(readout) * 1000) / 1000},
                           {"state", readout.state},
                           {"position", readout.position ? ordered_json(*readout.position) : ordered_json()},
                           {"rotary", readout.rotary},
                           {"head", HeadJson(readout.head)},
                           {"io", readout.io ? ordered_json(*readout.io) : ordered_json()},
                           {"temperatures", Degrees(readout, temperatureScale)}};
    if (readout.controller)
        object["controller"] = {{"type", readout.controller->controllerType},
                                {"level", readout.controller->controllerLevel}};
    if (withParameters) object["parameters"] = ParametersJson(readout);
    for (const auto &[name, count] : readout.counts) object["link"][name] = count;
    return object;
}

ordered_json HappeningJson(const Happening &happening) {
    return {{"time", Timestamp(happening.time)}, {"happening", happening.words}};
}

}  // namespace cmm
