#include "config/initialisation_file.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <set>

#include "format.h"

namespace cmm {
namespace {

using emulator::Format;

// Ticks that a time-out may take at most: twice as many must fit 16 bits.
constexpr int64_t kMostTimeoutTicks = 32767;

struct Known {
    const char *section, *key, *unit;
    int defaultValue;
    const char *meaning;
};

constexpr char kTimers[] = "Timers";
constexpr char kConvention[] = "KX_AXES_CONVENTION";

constexpr Known kKnown[] = {
    {kTimers, "Lo Period", "ms", 50,
     "period of the link's timer, 1 to 1000; on a classic line one frame at most a period"},
    {kTimers, "Hi Period", "ms", 50, "period of the worker, which decodes what nobody waits for; 1 or more"},
    {kTimers, "timeout", "s", 6, "longest wait for the controller's answer, and the time that closing takes"},
    {kTimers, "PH9 timeout", "s", 6,
     "longest wait for each answer of the probe head; 0: its answers are not awaited"},
    {kTimers, "Line mode", "", 0, "0 the classic line, 1 the prompt line, as fast as the wire"},
    {kTimers, "Auto Coord", "ms", 100, "period of streamed coordinates; 0 none, else 100 or more"},
    {kTimers, "Enable auto coord", "", 0,
     "1 coordinates are always streamed, 0 as the controller's class has it"},
    {kTimers, "Log file", "", 0,
     "1 a trace of every message in wtraceArm1.log, 2 the same, each line at once"},
    {"CONTROLLER", kConvention, "", 0,
     "TRUE: the first axis of the controller is the second coordinate, the second, negated, the first"},
};

// Read, but without effect.
constexpr const char *kIdle[] = {"init timeout", "init attempts", "FAST_PC"};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

bool IsSame(const std::string &a, const std::string &b) {
    return Lower(a) == Lower(b);
}

std::string Trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string Unquoted(const std::string &text) {
    const bool quoted =
        text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// The leading digits with their sign, within 32 bits. `whole`: whether there is nothing else.
int64_t LeadingNumber(const std::string &text, bool &whole) {
    size_t i = text.find_first_of("+-") == 0 ? 1 : 0;
    const bool negative = i == 1 && text[0] == '-';
    int64_t value = 0;
    const size_t first = i;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        value = std::min<int64_t>(10 * value + (text[i] - '0'), INT32_MAX);
    whole = i == text.size() && i > first;
    return negative ? -value : value;
}

const Known *Find(const std::string &section, const std::string &key) {
    const auto *const known = std::find_if(std::begin(kKnown), std::end(kKnown), [&](const Known &k) {
        return IsSame(k.section, section) && IsSame(k.key, key);
    });
    return known == std::end(kKnown) ? nullptr : known;
}

// What the library makes of a number that it does not take as it stands; loPeriod: the one in force.
int64_t InForce(const Known &known, int64_t value, int64_t loPeriod) {
    const std::string key = known.key;
    if (key == "Lo Period") return value < 1 || value > 1000 ? known.defaultValue : value;
    if (key == "Hi Period") return value < 1 ? known.defaultValue : value;
    if (key == "timeout" || key == "PH9 timeout")
        return value < 0 || value * (1000 / loPeriod) > kMostTimeoutTicks ? known.defaultValue : value;
    if (key == "Auto Coord") return value == 0 ? 0 : std::max<int64_t>(value, 100);
    if (key == "Line mode") return value == 1 ? 1 : 0;
    if (key == "Enable auto coord") return value != 0 ? 1 : 0;
    return value == 0 || value == 2 ? value : 1;  // Log file
}

class Reader {
  public:
    Reader() {
        for (const Known &known : kKnown) {
            const std::string text = known.key == kConvention ? "FALSE" : std::to_string(known.defaultValue);
            result_.settings.push_back({known.section, known.key, known.unit, text, known.meaning, text, 0});
        }
    }

    void Take(const std::string &text) {
        ++line_;
        const std::string line = Trimmed(text);
        if (line.empty() || line.front() == ';') return;
        if (line.front() == '[') return TakeSection(line);
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            return Complain("neither a section, nor a key with a value: " + line);
        TakeKey(Trimmed(line.substr(0, equals)), Unquoted(Trimmed(line.substr(equals + 1))));
    }

    InitialisationFile Finish() {
        int64_t loPeriod = kKnown[0].defaultValue;
        for (size_t i = 0; i < std::size(kKnown); ++i) {
            Setting &setting = result_.settings[i];
            if (setting.line == 0) continue;
            line_ = setting.line;
            kKnown[i].key == kConvention ? SettleConvention(setting)
                                         : SettleNumber(kKnown[i], setting, loPeriod);
            if (i == 0) loPeriod = std::stoi(setting.value);
        }
        std::stable_sort(result_.complaints.begin(), result_.complaints.end(),
                         [](const Complaint &a, const Complaint &b) { return a.line < b.line; });
        return std::move(result_);
    }

  private:
    void Complain(const std::string &text) { result_.complaints.push_back({line_, text}); }

    void TakeSection(const std::string &line) {
        section_ = Trimmed(line.substr(1, line.find(']') - 1));
        const bool known = std::any_of(std::begin(kKnown), std::end(kKnown),
                                       [this](const Known &k) { return IsSame(k.section, section_); });
        again_ = !sections_.insert(Lower(section_)).second;
        if (!known) Complain("unknown section [" + section_ + "]");
        if (known && again_)
            Complain("section [" + section_ + "] once more: the library reads the first one only");
    }

    void TakeKey(const std::string &key, const std::string &value) {
        if (section_.empty()) return Complain("'" + key + "' stands before the first section");
        const Known *const known = Find(section_, key);
        const bool idle =
            IsSame(section_, kTimers) &&
            std::any_of(std::begin(kIdle), std::end(kIdle), [&](const char *k) { return IsSame(k, key); });
        if (idle) return;
        if (known == nullptr) return Complain("unknown key '" + key + "' in section [" + section_ + "]");
        Setting &setting = result_.settings[static_cast<size_t>(known - kKnown)];
        if (again_) return;
        if (setting.line != 0)
            return Complain(Format("'%s' once more: the one of line %d counts", key.c_str(), setting.line));
        setting.line = line_;
        setting.value = value;
    }

    void SettleConvention(Setting &setting) {
        const bool on = IsSame(setting.value, "TRUE");
        if (!on && !IsSame(setting.value, "FALSE"))
            Complain(std::string(kConvention) + " is '" + setting.value +
                     "', neither TRUE nor FALSE: FALSE is taken");
        setting.value = on ? "TRUE" : "FALSE";
    }

    void SettleNumber(const Known &known, Setting &setting, int64_t loPeriod) {
        bool whole = false;
        const int64_t value = LeadingNumber(setting.value, whole);
        const int64_t inForce = InForce(known, value, loPeriod);
        if (!whole || inForce != value)
            Complain(Format("'%s' cannot be '%s': %lld is taken", known.key, setting.value.c_str(),
                            static_cast<long long>(inForce)));
        setting.value = std::to_string(inForce);
    }

    InitialisationFile result_;
    int line_ = 0;
    std::string section_;
    bool again_ = false;  // the section has come before
    std::set<std::string> sections_;
};

}  // namespace

InitialisationFile ReadInitialisationFile(std::istream &file) {
    Reader reader;
    for (std::string line; std::getline(file, line);) reader.Take(line);
    return reader.Finish();
}

}  // namespace cmm
