#include "message_words.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "command.h"
#include "format.h"

namespace emulator {
namespace {

using namespace cc;

// How the bytes behind the name are told.
enum class Fields { None, Lengths, Plain, Words, Raw };

struct CommandWords {
    CommandName name;
    std::string_view words;
    Fields fields = Fields::None;
    std::array<uint8_t, 2> answers = {};  // codes of replies, 0 but in the first place: no further one
    bool answered = false;
};

constexpr CommandWords kCommands[] = {
    {command::A, "machine coordinates?", Fields::None, {reply::kCoordinates}, true},
    {command::B, "wrist coordinates?", Fields::None, {reply::kCoordinates}, true},
    {command::F34, "feed", Fields::Plain},
    {command::G01, "move to", Fields::Lengths},
    {command::G03, "move by", Fields::Lengths},
    {command::G05, "probing move to", Fields::Lengths},
    {command::G06, "move, second kind, to", Fields::Lengths},
    {command::G07, "start scan"},
    {command::G30, "speed 0", Fields::Plain},
    {command::G31, "fly on"},
    {command::G32, "fly off"},
    {command::G34, "fly length", Fields::Lengths},
    {command::G36, "speed 2", Fields::Plain},
    {command::G37, "speed 1", Fields::Plain},
    {command::G3On, "TF mode on"},
    {command::G3Off, "TF mode off"},
    {command::H00, "start", Fields::Words},
    {command::I00, "I/O words?", Fields::None, {reply::kIoWords}, true},
    {command::J, "stream coordinates", Fields::Raw},
    {command::K, "stop streaming"},
    {command::L13, "start", Fields::None, {reply::kStarted}, true},
    {command::N00, "information?", Fields::None, {reply::kState, reply::kState13}, true},
    {command::O00, "set I/O words", Fields::Words},
    {command::P00, "emergency, code", Fields::Raw, {reply::kEmergency, reply::kEmergency51}, true},
    {command::P01, "emergency, long code", Fields::Raw, {reply::kEmergency, reply::kEmergency51}, true},
    {command::P02, "numeric control on"},
    {command::P03, "numeric control off"},
    {command::P04, "stop scan"},
    {command::P05, "answer to event 30"},
    {command::P06, "answer to event 31"},
    {command::P07, "axes off", Fields::Raw},
    {command::P08, "axes on", Fields::Raw},
    {command::P10, "wait for operator", Fields::None, {reply::kEvent22}, true},
    {command::P12, "shut down"},
    {command::S11, "table entry", Fields::Raw, {reply::kTableEntry}, true},
    {command::S12, "axes off", Fields::Raw, {reply::kSetting}, true},
    {command::S13, "axes on", Fields::Raw, {reply::kSetting}, true},
    {command::S15, "zero", Fields::Raw, {reply::kZeroing}, true},
    {command::S19, "stored information?", Fields::None, {reply::kStoredInfo}, true},
    {command::S20, "store information", Fields::Raw, {reply::kSetting}, true},
    {command::S25, "reset buffer", Fields::None, {reply::kSetting}, true},
    {command::S26, "buffer operation 1", Fields::None, {reply::kSetting}, true},
    {command::S27, "buffer operation 2", Fields::None, {reply::kSetting}, true},
    {command::S48, "temperatures?", Fields::None, {reply::kTemperatures1, reply::kTemperatures2}, true},
    {command::S49, "start and hold messages", Fields::Raw, {reply::kState, reply::kState13}, true},
    {command::S50, "scan coordinate system", Fields::Raw, {reply::kSetting}, true},
    {command::S51, "scan probe", Fields::Lengths, {reply::kSetting}, true},
    {command::S52, "scan target", Fields::Lengths, {reply::kSetting}, true},
    {command::S54, "TP200 mode", Fields::Raw, {reply::kSetting}, true},
    {command::S70, "to state 0", Fields::None, {reply::kState, reply::kState13}, true},
    {command::S71, "to state 1", Fields::None, {reply::kState, reply::kState13}, true},
    {command::S72, "to state 2", Fields::None, {reply::kState, reply::kState13}, true},
    {command::S73, "to state 3", Fields::None, {reply::kState, reply::kState13}, true},
    {command::R(1), "parameters 1?", Fields::None, {reply::kParameters1}, true},
    {command::R(2), "parameters 2?", Fields::None, {reply::kParameters1 + 1}, true},
    {command::R(3), "parameters 3?", Fields::None, {reply::kParameters1 + 2}, true},
    {command::R(4), "parameters 4?", Fields::None, {reply::kParameters1 + 3}, true},
    {command::R(5), "parameters 5?", Fields::None, {reply::kParameters1 + 4}, true},
    {command::R(6), "parameters 6?", Fields::None, {reply::kParameters6}, true},
    {command::R(7), "parameters 7?", Fields::None, {reply::kParameters7}, true},
};

// What a reply holds behind its code.
enum class Payload { None, State, Buffered, Point, Position, Coordinates, Words, Setting, Zeroing, Raw };

struct ReplyWords {
    uint8_t first, last;
    std::string_view words;
    Payload payload = Payload::None;
};

constexpr ReplyWords kReplies[] = {
    {0, 0, "state", Payload::State},
    {1, 1, "report", Payload::Raw},
    {2, 2, "emergency, code", Payload::Raw},
    {3, 3, "report", Payload::Raw},
    {4, 4, "buffered command done", Payload::Buffered},
    {5, 5, "table entry taken"},
    {6, 6, "zeroing done", Payload::Zeroing},
    {7, 7, "done"},
    {8, 8, "setting taken", Payload::Setting},
    {9, 9, "point", Payload::Point},
    {10, 10, "I/O words", Payload::Words},
    {11, 11, "position", Payload::Position},
    {13, 13, "state", Payload::State},
    {20, 20, "started"},
    {21, 21, "point", Payload::Point},
    {25, 29, "parameters", Payload::Raw},
    {30, 31, "event, host answers"},
    {32, 32, "event 17, word", Payload::Words},
    {33, 33, "stored information", Payload::Raw},
    {34, 35, "parameters", Payload::Raw},
    {40, 41, "point", Payload::Point},
    {48, 48, "hold, word", Payload::Words},
    {50, 50, "resume, word", Payload::Words},
    {51, 51, "emergency, code", Payload::Raw},
    {52, 52, "event 21, word", Payload::Words},
    {53, 53, "event 22"},
    {54, 54, "event 23"},
    {55, 55, "switched on"},
    {64, 65, "temperatures", Payload::Raw},
    {70, 71, "point", Payload::Point},
    {255, 255, "coordinates", Payload::Coordinates},
};

constexpr std::pair<int, std::string_view> kStates[] = {
    {0, "zeroing"},   {1, "ready"},   {2, "stopped"}, {3, "measuring"},        {6, "starting"},
    {7, "emergency"}, {8, "stopped"}, {9, "stopped"}, {10, "wants its table"},
};

const CommandWords *FindCommand(const Bytes &message) {
    const CommandName name = Command{message}.Name();
    const auto *const known = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const auto &c) {
        return c.name.letter == name.letter &&
               (c.name.digit1 == 0 || (c.name.digit1 == name.digit1 && c.name.digit2 == name.digit2));
    });
    return known == std::end(kCommands) ? nullptr : known;
}

const ReplyWords *FindReply(uint8_t code) {
    const auto *const known = std::find_if(std::begin(kReplies), std::end(kReplies), [code](const auto &r) {
        return code >= r.first && code <= r.last;
    });
    return known == std::end(kReplies) ? nullptr : known;
}

std::string Length(int32_t counts, double mmPerCount) {
    return mmPerCount > 0 ? Format("%.4f", counts * mmPerCount) : Format("%d", counts);
}

const char *Unit(double mmPerCount) {
    return mmPerCount > 0 ? " mm" : " counts";
}

// Fields are a letter and 32 bits. M, N and F of moves are told as they are.
std::string FieldsText(const Bytes &message, bool lengths, double mmPerCount) {
    const Command command{message};
    std::string axes, others;
    for (size_t i = at::kPayload; i + 4 < message.size(); i += 5) {
        const char letter = static_cast<char>(message[i]);
        const bool isAxis = lengths && letter != 'F';
        (isAxis ? axes : others) += Format(" %c ", letter) + (isAxis ? Length(command.Long(i + 1), mmPerCount)
                                                                     : Format("%d", command.Long(i + 1)));
    }
    if (!axes.empty()) axes += Unit(mmPerCount);
    return axes + others;
}

std::string WordsText(const Bytes &message, size_t from) {
    std::string text;
    for (size_t i = from; i + 1 < message.size(); i += 2) text += Format(" %d", Command{message}.Word(i));
    return text;
}

std::string RawText(const Bytes &message, size_t from) {
    if (message.size() <= from) return {};
    const Bytes rest(message.begin() + static_cast<std::ptrdiff_t>(from), message.end());
    return std::string(" ").append(HexWords(rest));
}

std::string CommandText(const Bytes &message, double mmPerCount) {
    const CommandWords *const known = FindCommand(message);
    if (known == nullptr) return "unknown" + RawText(message, at::kPayload);
    std::string words(known->words);
    switch (known->fields) {
        case Fields::Lengths:
            return words + FieldsText(message, true, mmPerCount);
        case Fields::Plain:
            return words + FieldsText(message, false, mmPerCount);
        case Fields::Words:
            return words + WordsText(message, at::kPayload);
        case Fields::Raw:
            return words + RawText(message, known->name.digit1 == 0 ? 3 : at::kPayload);
        case Fields::None:
            break;
    }
    return words;
}

// The values of up to three axes.
std::string Axes(const Bytes &message, std::array<size_t, 3> places, double mmPerCount) {
    std::string text;
    for (size_t axis = 0; axis < 3; ++axis) {
        if (places[axis] + 3 < message.size())
            text += Format(" %c ", "XYZ"[axis]) + Length(Command{message}.Long(places[axis]), mmPerCount);
    }
    return text + Unit(mmPerCount);
}

std::string StateText(const Bytes &message) {
    const int state = static_cast<int8_t>(message[at::kReplyState]);
    const auto *const known = std::find_if(std::begin(kStates), std::end(kStates),
                                           [state](const auto &s) { return s.first == state; });
    std::string text =
        Format(" %d, ", state) + std::string(known == std::end(kStates) ? "unknown" : known->second);
    if (message.size() > at::kReplyPayload + 1)
        text += Format("; controller type %d, level %d", message[3], message[4]);
    return text;
}

std::string WristText(const Bytes &message) {
    return Format(", wrist A %d B %d counts", Command{message}.Long(4), Command{message}.Long(8));
}

std::string ReplyText(const Bytes &message, double mmPerCount) {
    if (message.size() < 3) return "too short";
    const ReplyWords *const known = FindReply(message[at::kReplyCode]);
    if (known == nullptr) return "unknown" + RawText(message, at::kReplyPayload);
    const Command fields{message};
    std::string words(known->words);
    switch (known->payload) {
        case Payload::State:
            return words + StateText(message);
        case Payload::Buffered:
            return fields.At(4) == 0 ? words
                                     : words + Format(", reason %d", static_cast<int8_t>(fields.At(4)));
        case Payload::Point:
            return words + Axes(message, {6, 11, 16}, mmPerCount);
        case Payload::Position:
            return words + Axes(message, {4, 9, 14}, mmPerCount);
        case Payload::Coordinates:
            return words + (fields.At(3) == 'A' ? Axes(message, {4, 8, 12}, mmPerCount) : WristText(message));
        case Payload::Words:
            return words + WordsText(message, at::kReplyPayload);
        case Payload::Setting:
            return words + Format(", S%d", static_cast<int8_t>(fields.At(3)));
        case Payload::Zeroing:
            return fields.At(3) == 1 ? words : "zeroing ended" + RawText(message, at::kReplyPayload);
        case Payload::Raw:
            return words + RawText(message, at::kReplyPayload);
        case Payload::None:
            break;
    }
    return words;
}

std::string CommandNameText(const Bytes &message) {
    std::string name(1, static_cast<char>(Command{message}.At(at::kLetter)));
    for (size_t i = 3; i < 5 && i < message.size(); ++i) {
        if (message[i] >= '0' && message[i] <= '9') name += static_cast<char>(message[i]);
    }
    return name;
}

}  // namespace

std::string MessageName(Direction direction, const Bytes &message) {
    if (direction == Direction::ToController) return CommandNameText(message);
    return message.size() < 3 ? "reply" : Format("reply %d", message[at::kReplyCode]);
}

std::string MessageWords(Direction direction, const Bytes &message, double mmPerCount) {
    return direction == Direction::ToController ? CommandText(message, mmPerCount)
                                                : ReplyText(message, mmPerCount);
}

std::string MessageLine(Direction direction, const Bytes &message, const std::string &words) {
    const std::string name = MessageName(direction, message);
    if (direction == Direction::ToController) return name + ", " + words;
    if (message.size() < 3) return name + " " + words;
    return name + Format(" in state %d: ", static_cast<int8_t>(message[at::kReplyState])) + words;
}

bool IsAnswer(const Bytes &command, const Bytes &reply) {
    const CommandWords *const known = FindCommand(command);
    if (known == nullptr || !known->answered || reply.size() < 3) return false;
    const uint8_t code = reply[at::kReplyCode];
    const bool isCode = code == known->answers[0] || (known->answers[1] != 0 && code == known->answers[1]);
    if (!isCode) return false;
    const Command fields{reply};
    switch (known->name.letter) {
        case 'A':
            return fields.At(3) == 'A';
        case 'B':
            return fields.At(3) != 'A';
        case 'N':
            return reply.size() != 3;
        case 'S':
            break;
        default:
            return true;
    }
    if (code == reply::kSetting) return fields.At(3) == DigitsNumber(known->name);
    // S70 to S73 order the states 0 to 3.
    const bool ordersState = known->name.digit1 == '7';
    return !ordersState || reply[at::kReplyState] == known->name.digit2 - '0';
}

bool ExpectsAnswer(const Bytes &command) {
    const CommandWords *const known = FindCommand(command);
    return known != nullptr && known->answered;
}

bool IsBuffered(const Bytes &command) {
    return Command{command}.Name().letter == 'G' || Command{command}.At(at::kClass) == kBufferedClass;
}

std::string HexWords(const Bytes &bytes) {
    std::string text;
    for (const uint8_t byte : bytes) text += Format(text.empty() ? "%02X" : " %02X", byte);
    return text;
}

}  // namespace emulator
