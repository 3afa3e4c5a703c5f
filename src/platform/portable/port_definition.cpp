#include "platform/port_definition.h"

#include <cstdint>
#include <iterator>
#include <string_view>

#include "platform/portable/text.h"

namespace cc::platform {
namespace {

constexpr int32_t kHighestPort = 256;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// A decimal number of 1 to 9 digits; -1 for anything else.
int32_t Number(std::string_view text) {
    if (text.empty() || text.size() > 9) return -1;
    int32_t value = 0;
    for (const char c : text) {
        if (!IsDigit(c)) return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

bool IsBaud(std::string_view text) {
    return Number(text) > 0;
}

bool IsParity(std::string_view text) {
    return text.size() == 1 && std::string_view("neoms").find(LowerCase(text[0])) != std::string_view::npos;
}

bool IsDataBits(std::string_view text) {
    return text.size() == 1 && text[0] >= '5' && text[0] <= '8';
}

bool IsStopBits(std::string_view text) {
    return text == "1" || text == "1.5" || text == "2";
}

bool IsSwitch(std::string_view text) {
    return EqualIgnoringCase(text, "on") || EqualIgnoringCase(text, "off");
}

bool IsDtr(std::string_view text) {
    return IsSwitch(text) || EqualIgnoringCase(text, "hs");
}

bool IsRts(std::string_view text) {
    return IsDtr(text) || EqualIgnoringCase(text, "tg");
}

using Check = bool (*)(std::string_view);

constexpr struct {
    std::string_view key;
    Check check;
} kKeys[] = {
    {"baud", IsBaud}, {"parity", IsParity}, {"data", IsDataBits}, {"stop", IsStopBits},
    {"to", IsSwitch}, {"xon", IsSwitch},    {"odsr", IsSwitch},   {"octs", IsSwitch},
    {"dtr", IsDtr},   {"rts", IsRts},       {"idsr", IsSwitch},
};

bool IsKeyValue(std::string_view word) {
    const size_t equals = word.find('=');
    if (equals == std::string_view::npos) return false;
    for (const auto &[key, check] : kKeys) {
        if (EqualIgnoringCase(word.substr(0, equals), key)) return check(word.substr(equals + 1));
    }
    return false;
}

// "baud=9600 parity=E ...": words between blanks.
bool AreKeyValues(std::string_view text) {
    while (!(text = Trimmed(text)).empty()) {
        size_t length = 0;
        while (length < text.size() && !IsBlank(text[length])) ++length;
        if (!IsKeyValue(text.substr(0, length))) return false;
        text.remove_prefix(length);
    }
    return true;
}

bool IsFlowLetter(std::string_view text) {
    return EqualIgnoringCase(text, "x") || EqualIgnoringCase(text, "p");
}

// "9600,e,8,1": an empty part keeps the device's own setting.
bool AreOrderedValues(std::string_view text) {
    constexpr Check kOrder[] = {IsBaud, IsParity, IsDataBits, IsStopBits, IsFlowLetter};
    for (const Check check : kOrder) {
        const size_t comma = text.find(',');
        const std::string_view part = Trimmed(text.substr(0, comma));
        if (!part.empty() && !check(part)) return false;
        if (comma == std::string_view::npos) return true;
        text.remove_prefix(comma + 1);
    }
    return false;
}

}  // namespace

bool IsPortDefinition(const char *definition) {
    if (definition == nullptr) return false;
    std::string_view text = definition;
    if (text.size() < 4 || !EqualIgnoringCase(text.substr(0, 3), "com")) return false;
    text.remove_prefix(3);
    size_t digits = 0;
    while (digits < text.size() && IsDigit(text[digits])) ++digits;
    const int32_t port = Number(text.substr(0, digits));
    if (port < 1 || port > kHighestPort) return false;
    text.remove_prefix(digits);
    if (!text.empty() && text.front() != ':' && !IsBlank(text.front())) return false;
    text = Trimmed(text);
    if (!text.empty() && text.front() == ':') text = Trimmed(text.substr(1));
    if (text.empty()) return true;
    return text.find('=') != std::string_view::npos ? AreKeyValues(text) : AreOrderedValues(text);
}

}  // namespace cc::platform
