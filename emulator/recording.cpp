#include "recording.h"

#include <cctype>
#include <cstdlib>

namespace emulator {
namespace {

constexpr std::string_view kFromHost = "  host -> controller  ", kToHost = "  host <- controller  ";
constexpr std::string_view kEndOfZeroing = "___endzeroes";

// Bytes as pairs of hexadecimal digits with blanks between them; nothing when the text is anything else, or empty.
std::optional<Bytes> ParseHex(std::string_view text) {
    Bytes bytes;
    for (size_t i = 0; i < text.size();) {
        if (std::isspace(static_cast<unsigned char>(text[i])) != 0) {
            ++i;
            continue;
        }
        if (i + 1 >= text.size() || std::isxdigit(static_cast<unsigned char>(text[i])) == 0 ||
            std::isxdigit(static_cast<unsigned char>(text[i + 1])) == 0)
            return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
        i += 2;
    }
    if (bytes.empty()) return std::nullopt;
    return bytes;
}

}  // namespace

std::optional<RecordedLine> RecordingReader::Read(const std::string &line) {
    const std::string_view text = line;
    RecordedLine recorded;
    if (text.starts_with(kEndOfZeroing)) {
        recorded.kind = RecordedLine::Kind::EndOfZeroing;
        recorded.direction = Direction::ToHost;
        return recorded;
    }
    const bool isCommand = text.starts_with(">>");
    if (!isCommand && !text.starts_with("  ")) return ReadLogLine(line);
    const std::optional<Bytes> bytes = ParseHex(text.substr(2));
    if (!bytes) return ReadLogLine(line);
    recorded.direction = isCommand ? Direction::ToController : Direction::ToHost;
    recorded.bytes = *bytes;
    return recorded;
}

// "    1.234567  host -> controller  data 0: words  03 04 01 4E 30 30 4B 08"
std::optional<RecordedLine> RecordingReader::ReadLogLine(const std::string &line) {
    const bool fromHost = line.find(kFromHost) != std::string::npos;
    const size_t way = line.find(fromHost ? kFromHost : kToHost);
    const size_t words = line.rfind("  ");
    if (way == std::string::npos || words < way + kFromHost.size()) return std::nullopt;
    const std::optional<Bytes> frame = ParseHex(std::string_view(line).substr(words));
    if (!frame) return std::nullopt;
    char *end = nullptr;
    const double seconds = std::strtod(line.c_str(), &end);
    if (end != line.c_str() + way) return std::nullopt;

    RecordedLine recorded;
    recorded.direction = fromHost ? Direction::ToController : Direction::ToHost;
    recorded.seconds = seconds;
    recorded.bytes = MessageInFrame(*frame);
    const bool again = repetitions_.IsRepetition(recorded.direction, *frame);
    if (recorded.bytes.empty() || IsDamaged(*frame)) {
        recorded.kind = RecordedLine::Kind::Control;
        recorded.bytes = *frame;
    } else if (again) {
        recorded.kind = RecordedLine::Kind::Repetition;
    }
    return recorded;
}

}  // namespace emulator
