// Recordings and what is told of them.
#include <gtest/gtest.h>

#include "recording.h"
#include "support/client.h"

namespace cc::test {
namespace {

using namespace emulator;

TEST(Dialogue, TellsWhatMessagesHaveToDoWithEachOther) {
    Dialogue dialogue(0.001);
    const struct {
        char from;  // 'h'ost or 'c'ontroller
        const char *message;
        const char *words;
        int move, answers;
        bool isFault;
    } kCases[] = {
        {'h', "04 01 'N' '0' '0'", "information?", 0, 0, false},
        {'h', "04 01 'S' '7' '3'", "to state 3", 0, 0, false},
        {'c', "02 02 00", "state 2, stopped", 0, 0, false},
        {'c', "0F 02 00 01 10 01 01 01 00 00 00 07 07 00 00 00",
         "state 2, stopped; controller type 1, level 16", 0, 1, false},
        {'c', "02 03 00", "state 3, measuring", 0, 2, false},
        {'h', "0E FF 'G' '0' '1' 'X' E8 03 00 00 'Y' 00 00 00 00", "move 1 to X 1.0000 Y 0.0000 mm", 1, 0,
         false},
        {'h', "0E 01 'G' '0' '5' 'Z' 18 FC FF FF 'F' 05 00 00 00", "probing move 2 to Z -1.0000 mm F 5", 2, 0,
         false},
        {'h', "0E 01 'G' '0' '5' 'Z' 18 FC FF FF 'F' 05 00 00 00", "probing move 3 to Z -1.0000 mm F 5", 3, 0,
         false},
        {'h', "04 FF 'G' '3' '1'", "fly on", 4, 0, false},
        {'h', "04 01 'A'", "machine coordinates?", 0, 0, false},
        {'c', "04 03 04 00 00", "move 1 done", 1, 3, false},
        {'c', "13 03 09 00 00 'X' 01 00 00 00 'Y' 02 00 00 00 'Z' 03 00 00 00",
         "touch point X 0.0010 Y 0.0020 Z 0.0030 mm of move 2", 2, 4, false},
        {'c', "04 03 04 00 01", "move 2 done", 2, 4, false},
        {'c', "0F 03 FF 'A' 01 00 00 00 02 00 00 00 03 00 00 00", "coordinates X 0.0010 Y 0.0020 Z 0.0030 mm",
         0, 7, false},
        {'c', "04 03 04 00 02", "move 3 rejected, nothing was touched, reason 2", 3, 5, true},
        {'h', "04 01 'S' '2' '5'", "reset buffer", 0, 0, false},
        {'c', "03 03 08 1A", "setting taken, S26", 0, 0, false},
        {'c', "03 03 08 19", "setting taken, S25, dropped: 1 moves", 0, 8, false},
        {'c', "04 03 04 00 00", "buffered command done, none was under way", 0, 0, false},
        {'c', "03 07 02 03", "emergency, code 03", 0, 0, true},
        {'h', "04 01 'Q' '9' '9'", "unknown", 0, 0, false},
        {'c', "01 03", "too short", 0, 0, true},
        {'h', "04 01 'S' '4' '8'", "temperatures?", 0, 0, false},
    };
    for (const auto &expected : kCases) {
        const Direction way = expected.from == 'h' ? Direction::ToController : Direction::ToHost;
        const Dialogue::Remark remark = dialogue.Take(way, Hex(expected.message));
        EXPECT_EQ(remark.words, expected.words);
        EXPECT_EQ(std::tuple(remark.move, remark.answers, remark.isFault),
                  std::tuple(expected.move, expected.answers, expected.isFault))
            << expected.words;
    }
    EXPECT_EQ(dialogue.Unanswered(), std::vector<int>{10});
}

TEST(RecordingReader, ReadsTracesAndLogs) {
    using Kind = RecordedLine::Kind;
    RecordingReader reader;
    const struct {
        const char *line;
        Kind kind;
        Direction direction;
        const char *bytes;
    } kCases[] = {
        {">>04 01 4E 30 30 ", Kind::Message, Direction::ToController, "04 01 4E 30 30"},
        {"  02 03 00 ", Kind::Message, Direction::ToHost, "02 03 00"},
        {"___endzeroes  1", Kind::EndOfZeroing, Direction::ToHost, ""},
        {"    0.100000  host -> controller  start-link                                        09 08",
         Kind::Control, Direction::ToController, "09 08"},
        {"    0.200000  host -> controller  data 0: N00, information?                         03 04 01 4E 30 "
         "30 4B 08",
         Kind::Message, Direction::ToController, "04 01 4E 30 30"},
        {"    1.200000  host -> controller  data 0: N00 again                                 03 04 01 4E 30 "
         "30 4B 08",
         Kind::Repetition, Direction::ToController, "04 01 4E 30 30"},
        {"    1.300000  host <- controller  a text longer than its column, words and words  04 02 01 1B 28 "
         "0B 08",
         Kind::Message, Direction::ToHost, "02 01 08"},
        {"    1.400000  host <- controller  damaged  04 02 01 1B 28 0A 08", Kind::Control, Direction::ToHost,
         "04 02 01 1B 28 0A 08"},
        {"    1.500000  host -> controller  start-link  09 08", Kind::Control, Direction::ToController,
         "09 08"},
        {"    1.600000  host -> controller  data 0: N00  03 04 01 4E 30 30 4B 08", Kind::Message,
         Direction::ToController, "04 01 4E 30 30"},
    };
    for (const auto &expected : kCases) {
        const std::optional<RecordedLine> line = reader.Read(expected.line);
        ASSERT_TRUE(line) << expected.line;
        EXPECT_EQ(std::tuple(line->kind, line->direction, line->bytes),
                  std::tuple(expected.kind, expected.direction, Hex(expected.bytes)))
            << expected.line;
        EXPECT_EQ(line->seconds.has_value(), expected.line[4] == '0' || expected.line[4] == '1')
            << expected.line;
    }
    for (const char *const line : {"", "controller on /dev/pts/3", ">>", "  ", "  04 0", ">>0G 01",
                                   "x  host -> controller  a  09 08", "1.0  host -> controller  09 08 zz"}) {
        EXPECT_FALSE(reader.Read(line)) << line;
    }
}

}  // namespace
}  // namespace cc::test
