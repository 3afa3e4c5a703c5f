// Lines of the protocol as text, without their CR LF: what a client sends, taken apart, and values as they are sent.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dme/errors.h"

namespace cmm::dme {

/// Longest line, CR LF not counted.
constexpr size_t kLongestLine = 65536;

/// A piece between brackets and commas. A call's `text` is its name, dots included.
struct Argument {
    enum class Kind { Number, Text, Word, Call };
    Kind kind = Kind::Call;
    double number = 0;
    std::string text;
    std::vector<Argument> arguments;  // of a call
};

/// "00012 GoTo(X(1))", or with an event tag "E0012 AbortE()".
struct Command {
    std::string tag;
    bool event = false;
    Argument method;
};

/// Why a line is no command. The tag is that of the line where it has one, else the one of what nobody asked for.
struct LineFault {
    ErrorNumber number;
    std::string tag;
    std::string cause;
};

/// The tag of what the server tells unasked.
constexpr std::string_view kUnasked = "E0000";

bool IsEventTag(std::string_view text);

/// Result: whether `line` is a command; `fault` tells why not. Arguments may be nested eight deep.
bool ParseCommand(std::string_view line, Command &command, LineFault &fault);

/// At most 16 digits, an exponent only where it must be; never "-0". `decimals`: at most 9, and none that is 0 at the end.
std::string FormatNumber(double value, int decimals = 6);
/// "1, 0, 0.5", with nine decimals: for vectors and angles of transformations.
std::string FormatNumbers(const std::vector<double> &values);
/// In double quotes; what can't stand there is replaced.
std::string FormatText(std::string_view text);

}  // namespace cmm::dme
