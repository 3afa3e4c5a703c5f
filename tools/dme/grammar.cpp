#include "dme/grammar.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace cmm::dme {
namespace {

constexpr int kDeepest = 8;
constexpr int kMostDigits = 16;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsPrintable(char c) {
    return c >= ' ' && c <= '~';
}

/// Reads a line from left to right. Each Take... result: whether that piece stood there; it is behind then.
class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool AtEnd() const { return at_ == text_.size(); }
    size_t Column() const { return at_ + 1; }

    bool TakeMethod(Argument &method) {
        return TakeBasicName(method.text) && TakeBracket(method.arguments, 1) && AtEnd();
    }

  private:
    char Here() const { return AtEnd() ? '\0' : text_[at_]; }
    void SkipSpaces() {
        while (Here() == ' ') ++at_;
    }

    bool TakeBasicName(std::string &name) {
        if (!IsLetter(Here())) return false;
        while (IsLetter(Here()) || IsDigit(Here())) name += text_[at_++];
        return true;
    }

    bool TakeName(std::string &name) {
        if (!TakeBasicName(name)) return false;
        while (Here() == '.') {
            name += text_[at_++];
            if (!TakeBasicName(name)) return false;
        }
        return true;
    }

    /// Spaces are allowed around commas and the left bracket and before the right one, nowhere else.
    bool TakeBracket(std::vector<Argument> &arguments, int depth) {
        SkipSpaces();
        if (Here() != '(' || depth > kDeepest) return false;
        ++at_;
        SkipSpaces();
        if (Here() != ')') {
            while (true) {
                if (!TakeArgument(arguments.emplace_back(), depth)) return false;
                SkipSpaces();
                if (Here() != ',') break;
                ++at_;
                SkipSpaces();
            }
        }
        if (Here() != ')') return false;
        ++at_;
        return true;
    }

    bool TakeArgument(Argument &argument, int depth) {
        if (Here() == '"') return TakeText(argument);
        if (!IsLetter(Here())) return TakeNumber(argument);
        if (!TakeName(argument.text)) return false;
        const size_t nameEnd = at_;
        SkipSpaces();
        if (Here() == '(') return TakeBracket(argument.arguments, depth + 1);
        at_ = nameEnd;
        argument.kind = Argument::Kind::Word;
        return argument.text.find('.') == std::string::npos;
    }

    bool TakeText(Argument &argument) {
        argument.kind = Argument::Kind::Text;
        const size_t end = text_.find('"', at_ + 1);
        if (end == std::string_view::npos || end == at_ + 1) return false;
        argument.text = text_.substr(at_ + 1, end - at_ - 1);
        at_ = end + 1;
        return true;
    }

    int SkipDigits() {
        int digits = 0;
        for (; IsDigit(Here()); ++at_) ++digits;
        return digits;
    }

    /// The digits of the exponent do not count among the 16.
    bool TakeNumber(Argument &argument) {
        argument.kind = Argument::Kind::Number;
        const bool plus = Here() == '+';
        const size_t begin = plus ? at_ + 1 : at_;
        if (plus || Here() == '-') ++at_;
        int digits = SkipDigits();
        if (Here() == '.') {
            ++at_;
            digits += SkipDigits();
        }
        if (digits == 0 || digits > kMostDigits) return false;
        if (Here() == 'e' || Here() == 'E') {
            ++at_;
            if (Here() == '+' || Here() == '-') ++at_;
            const int exponent = SkipDigits();
            if (exponent < 1 || exponent > 3) return false;
        }
        const std::string_view number = text_.substr(begin, at_ - begin);
        const auto [end, error] =
            std::from_chars(number.data(), number.data() + number.size(), argument.number);
        if (error == std::errc::result_out_of_range) {
            const size_t exponent = number.find_first_of("eE");
            const bool tiny = exponent != std::string_view::npos && number[exponent + 1] == '-';
            argument.number =
                std::copysign(tiny ? 0.0 : std::numeric_limits<double>::max(), number[0] == '-' ? -1.0 : 1.0);
            return true;
        }
        return error == std::errc() && end == number.data() + number.size();
    }

    std::string_view text_;
    size_t at_ = 0;
};

bool IsTag(std::string_view text) {
    return text.size() == 5 && std::all_of(text.begin(), text.end(), IsDigit) && text != "00000";
}

}  // namespace

bool IsEventTag(std::string_view text) {
    return text.size() == 5 && text[0] == 'E' && std::all_of(text.begin() + 1, text.end(), IsDigit) &&
           text != kUnasked;
}

bool ParseCommand(std::string_view line, Command &command, LineFault &fault) {
    const std::string_view tag = line.substr(0, 5);
    command.event = IsEventTag(tag);
    const bool tagged = command.event || IsTag(tag);
    command.tag = tagged ? tag : kUnasked;
    fault.tag = command.tag;
    if (line.size() > kLongestLine) {
        fault.number = ErrorNumber::Protocol;
        fault.cause = "line too long";
    } else if (!std::all_of(line.begin(), line.end(), IsPrintable)) {
        fault.number = ErrorNumber::IllegalCharacter;
        fault.cause = "line";
    } else if (!tagged) {
        fault.number = ErrorNumber::IllegalTag;
        fault.cause = tag;
    } else if (line.size() < 6 || line[5] != ' ') {
        fault.number = ErrorNumber::NoSpace;
        fault.cause = "line";
    } else {
        Reader reader(line.substr(6));
        if (reader.TakeMethod(command.method)) return true;
        fault.number = ErrorNumber::Protocol;
        fault.cause = "syntax at column " + std::to_string(6 + reader.Column());
    }
    return false;
}

std::string FormatNumber(double value, int decimals) {
    if (!std::isfinite(value)) value = 0;
    char text[40];
    if (std::abs(value) >= 1e7) {
        std::snprintf(text, sizeof text, "%.15e", value);
        return text;
    }
    std::snprintf(text, sizeof text, "%.*f", std::min(decimals, 9), value);
    std::string number = text;
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.back() == '.') number.pop_back();
    }
    return number == "-0" ? "0" : number;
}

std::string FormatNumbers(const std::vector<double> &values) {
    std::string list;
    for (const double value : values) list += (list.empty() ? "" : ", ") + FormatNumber(value, 9);
    return list;
}

std::string FormatText(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) quoted += IsPrintable(c) && c != '"' ? c : ' ';
    return quoted + (text.empty() ? " \"" : "\"");
}

}  // namespace cmm::dme
