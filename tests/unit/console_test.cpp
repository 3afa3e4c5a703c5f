// What the program says.
#include <gtest/gtest.h>

#include "cc_interface.h"
#include "machine/console.h"
#include "machine/machine_words.h"

namespace cmm::test {
namespace {

TEST(ConsoleWords, WrapBetweenWords) {
    const struct {
        const char *text;
        int columns;
        const char *wrapped;
    } kCases[] = {
        {"the machine is at rest", 0, "the machine is at rest"},
        {"the machine is at rest", 22, "the machine is at rest"},
        {"the machine is at rest", 21, "the machine is at\n  rest"},
        {"  the machine is at rest", 12, "  the\n  machine is\n  at rest"},
        {"unbreakable words", 5, "unbreakable\n  words"},
        {"one\ntwo three", 8, "one\ntwo\n  three"},
        {"", 10, ""},
    };
    for (const auto &test : kCases) EXPECT_EQ(Wrapped(test.text, test.columns, 2), test.wrapped);
}

TEST(MachineWords, TellEventsByTheirInfoAndData) {
    const uint8_t collision[] = {3, '1'}, headError[] = {167, '1'}, reset[] = {128, 0}, word[] = {2, 1};
    PointRecord point{};
    point.tag = 7;
    point.position[1] = -2.5;
    const struct {
        int32_t event;
        uint32_t info;
        const void *data;
        const char *words;
    } kCases[] = {
        {1, 257, nullptr, "the link is lost"},
        {3, 259, collision, "EMERGENCY: collision (code 3): the probe met something on a plain move"},
        {20, 276, headError, "EMERGENCY: the probe head reports error C"},
        {5, 1, &point, "point 7 touched at X 0.0000 Y -2.5000 Z 0.0000"},
        {8, 2, nullptr, "move rejected, reason 2"},
        {18, 274, word, "hold at the machine (word 258)"},
        {19, 275, reset, "the controller was switched on anew"},
        {99, 4, nullptr, "controller event 99, info 4"},
    };
    for (const auto &test : kCases) EXPECT_EQ(EventWords(test.event, test.info, test.data), test.words);
}

}  // namespace
}  // namespace cmm::test
