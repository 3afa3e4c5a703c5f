#include "frame_words.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "protocol/vocabulary.h"

namespace emulator {
namespace {

using namespace cc;

struct CommandWords {
    CommandName name;
    std::string_view words;
};

constexpr CommandWords kCommands[] = {
    {command::A, "machine coordinates?"},
    {command::B, "wrist coordinates?"},
    {command::F34, "feed"},
    {command::G01, "move"},
    {command::G03, "incremental move"},
    {command::G05, "probing move"},
    {command::G06, "move, second kind"},
    {command::G07, "start scan"},
    {command::G30, "speed 0"},
    {command::G31, "fly on"},
    {command::G32, "fly off"},
    {command::G34, "fly length"},
    {command::G36, "speed 2"},
    {command::G37, "speed 1"},
    {command::G3On, "TF mode on"},
    {command::G3Off, "TF mode off"},
    {command::H00, "start"},
    {command::I00, "I/O words?"},
    {command::J, "stream coordinates"},
    {command::K, "stop streaming"},
    {command::L13, "start"},
    {command::N00, "information?"},
    {command::O00, "set I/O words"},
    {command::P00, "emergency"},
    {command::P01, "emergency, long code"},
    {command::P02, "numeric control on"},
    {command::P03, "numeric control off"},
    {command::P04, "stop scan"},
    {command::P05, "answer to event 30"},
    {command::P06, "answer to event 31"},
    {command::P07, "axes off"},
    {command::P08, "axes on"},
    {command::P10, "wait for operator"},
    {command::P12, "shut down"},
    {command::S11, "table entry"},
    {command::S12, "axes off"},
    {command::S13, "axes on"},
    {command::S15, "zero"},
    {command::S19, "stored information?"},
    {command::S20, "store information"},
    {command::S25, "reset buffer"},
    {command::S26, "buffer operation 1"},
    {command::S27, "buffer operation 2"},
    {command::S48, "temperatures?"},
    {command::S49, "start and hold messages"},
    {command::S50, "scan frame"},
    {command::S51, "scan probe"},
    {command::S52, "scan target"},
    {command::S54, "TP200 mode"},
    {command::S70, "to state 0"},
    {command::S71, "to state 1"},
    {command::S72, "to state 2"},
    {command::S73, "to state 3"},
};

struct ReplyWords {
    uint8_t first, last;
    std::string_view words;
};

constexpr ReplyWords kReplies[] = {
    {0, 0, "state"},
    {1, 1, "report"},
    {2, 2, "emergency"},
    {3, 3, "report"},
    {4, 4, "buffered command done"},
    {5, 5, "table entry taken"},
    {6, 6, "zeroing done"},
    {7, 7, "done"},
    {8, 8, "setting taken"},
    {9, 9, "point"},
    {10, 10, "I/O words"},
    {11, 11, "position"},
    {13, 13, "state"},
    {20, 20, "started"},
    {21, 21, "point"},
    {25, 29, "parameters"},
    {30, 31, "event, host answers"},
    {32, 32, "event 17"},
    {33, 33, "stored information"},
    {34, 35, "parameters"},
    {40, 41, "point"},
    {48, 48, "hold"},
    {50, 50, "resume"},
    {51, 51, "emergency"},
    {52, 52, "event 21"},
    {53, 53, "event 22"},
    {54, 54, "event 23"},
    {55, 55, "switched on"},
    {64, 65, "temperatures"},
    {70, 71, "point"},
    {255, 255, "coordinates"},
};

template <typename... Values>
std::string Format(const char *format, Values... values) {
    char text[128];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string CommandText(const Bytes &message) {
    const auto byte = [&message](size_t i) {
        return i < message.size() ? static_cast<char>(message[i]) : '\0';
    };
    std::string name(1, byte(2));
    const auto *const known =
        std::find_if(std::begin(kCommands), std::end(kCommands), [&](const CommandWords &c) {
            return c.name.letter == byte(2) &&
                   (c.name.digit1 == 0 || (c.name.digit1 == byte(3) && c.name.digit2 == byte(4)));
        });
    for (size_t i = 3; i < 5 && i < message.size(); ++i) {
        if (byte(i) >= '0' && byte(i) <= '9') name += byte(i);
    }
    if (byte(2) == 'R') return name + ", parameters?";
    return known == std::end(kCommands) ? name + ", unknown" : name + ", " + std::string(known->words);
}

std::string ReplyText(const Bytes &message) {
    if (message.size() < 3) return "reply too short";
    const uint8_t code = message[2];
    const auto *const known =
        std::find_if(std::begin(kReplies), std::end(kReplies),
                     [code](const ReplyWords &r) { return code >= r.first && code <= r.last; });
    const std::string words(known == std::end(kReplies) ? "unknown" : known->words);
    return Format("reply %d in state %d: ", code, static_cast<int8_t>(message[1])) + words;
}

}  // namespace

Bytes MessageInFrame(const Bytes &frame) {
    if (frame.size() < 3 || (frame[0] != 3 && frame[0] != 4)) return {};
    Bytes message;
    for (size_t i = 1; i + 1 < frame.size(); ++i) {
        const bool escaped = frame[i] == 27 && i + 2 < frame.size();
        if (escaped) ++i;
        message.push_back(static_cast<uint8_t>(frame[i] - (escaped ? 32 : 0)));
    }
    message.pop_back();  // the checksum
    return message;
}

std::string MessageWords(Direction direction, const Bytes &message) {
    return direction == Direction::ToController ? CommandText(message) : ReplyText(message);
}

std::string FrameWords(Direction direction, const Bytes &frame) {
    switch (frame.empty() ? 0 : frame[0]) {
        case 1:
            return "line error";
        case 2:
            return "acknowledgement 0";
        case 5:
            return "acknowledgement 1";
        case 3:
        case 4:
            return Format("data %d: ", frame[0] - 3) + MessageWords(direction, MessageInFrame(frame));
        case 6:
            return "start-link acknowledged";
        case 9:
            return "start-link";
        default:
            return "undefined frame";
    }
}

std::string HexWords(const Bytes &bytes) {
    std::string text;
    for (const uint8_t byte : bytes) text += Format(text.empty() ? "%02X" : " %02X", byte);
    return text;
}

}  // namespace emulator
