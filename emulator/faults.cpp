#include "faults.h"

#include <algorithm>
#include <stdexcept>

#include "agenda.h"

namespace emulator {
namespace {

constexpr struct {
    const char *name;
    FaultKind kind;
    bool toHostOnly;
    bool hasValue;
    int64_t unit;  // of the value
} kKinds[] = {
    {"drop", FaultKind::Drop, false, false, 0},
    {"corrupt", FaultKind::Corrupt, false, false, 0},
    {"repeat", FaultKind::Repeat, false, false, 0},
    {"delay", FaultKind::Delay, false, true, kMillisecond},
    {"split", FaultKind::Split, true, false, 0},
    {"merge", FaultKind::Merge, false, false, 0},
    {"line-error", FaultKind::LineError, false, false, 0},
    {"restart", FaultKind::Restart, false, false, 0},
    {"silence", FaultKind::Silence, false, true, kMillisecond},
    {"state", FaultKind::State, false, true, 1},
    {"unplug", FaultKind::Unplug, false, false, 0},
};

bool TakePrefix(std::string &text, const std::string &prefix) {
    if (text.rfind(prefix, 0) != 0) return false;
    text.erase(0, prefix.size());
    return true;
}

// The whole text as a number of at least 0.
double Number(const std::string &text) {
    size_t used = 0;
    const double value = text.empty() ? -1 : std::stod(text, &used);
    if (used != text.size() || !(value >= 0)) throw std::invalid_argument("not a number: '" + text + "'");
    return value;
}

}  // namespace

Fault ParseFault(const std::string &text) {
    std::string rest = text;
    Fault fault;
    if (TakePrefix(rest, "to-controller:")) {
        fault.direction = Direction::ToController;
    } else {
        TakePrefix(rest, "to-host:");
    }
    const size_t when = rest.find_first_of("@%");
    if (when == std::string::npos) throw std::invalid_argument("when? add @N or %PERCENT to '" + text + "'");
    const size_t equals = std::min(rest.find('='), when);
    const std::string name = rest.substr(0, equals);
    const auto *const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&name](const auto &k) { return name == k.name; });
    if (kind == std::end(kKinds)) throw std::invalid_argument("unknown fault '" + name + "'");
    if (kind->toHostOnly && fault.direction != Direction::ToHost) {
        throw std::invalid_argument("'" + name + "' is for frames to the host only");
    }
    if (kind->hasValue != (equals != when)) {
        throw std::invalid_argument("'" + name + (kind->hasValue ? "' needs" : "' takes no") + " value");
    }
    fault.kind = kind->kind;
    if (kind->hasValue) {
        fault.value = static_cast<int64_t>(Number(rest.substr(equals + 1, when - equals - 1))) * kind->unit;
    }
    const double number = Number(rest.substr(when + 1));
    if (rest[when] == '@') {
        fault.frame = static_cast<int>(number);
        if (fault.frame < 1) throw std::invalid_argument("frames are counted from 1: '" + text + "'");
    } else {
        fault.probability = number / 100;
    }
    return fault;
}

std::vector<Fault> FaultSwitches::Strike(Direction direction) {
    const int frame = ++frames_[static_cast<int>(direction)];
    std::vector<Fault> struck;
    for (const Fault &fault : faults_) {
        if (fault.direction != direction) continue;
        const bool strikes = fault.frame != 0
                                 ? fault.frame == frame
                                 : std::uniform_real_distribution<double>()(random_) < fault.probability;
        if (strikes) struck.push_back(fault);
    }
    return struck;
}

}  // namespace emulator
