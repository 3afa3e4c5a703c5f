// Texts that come from outside: initialisation files, port definitions, answers of the head.
#include <gtest/gtest.h>

#include <sstream>

#include "platform/port_definition.h"
#include "platform/portable/profile_scanner.h"
#include "probehead/head_answer.h"

namespace cc::test {
namespace {

using namespace platform;

std::string Lookup(const std::string &text, size_t chunk = 1) {
    ProfileScanner scanner("Timers", "Lo Period");
    for (size_t i = 0; i < text.size(); i += chunk)
        scanner.Feed(text.data() + i, std::min(chunk, text.size() - i));
    return scanner.Finish() ? std::string(scanner.Value()) : "(none)";
}

TEST(Profile, FindsTheValueOfAKey) {
    const std::pair<std::string, std::string> kCases[] = {
        {"[Timers]\nLo Period=20", "20"},
        {"[timers]\r\nlo PERIOD \t=  20 ms  \r\n", "20 ms"},
        {"  [ Timers ]  \n  Lo Period=' 20 '\n", " 20 "},
        {"[Timers]\nLo Period=\"20\n", "\"20"},
        {"[Timers]\nLo Period=\n", ""},
        {"[Timers]\n;Lo Period=1\nLo Period=2\nLo Period=3\n", "2"},
        {"Lo Period=1\n[Other]\nLo Period=2\n", "(none)"},
        {"[Timers]\nHi Period=1\n[Timers]\nLo Period=2\n", "(none)"},
        {"[Other]\n[Timers]\nLo Period\nLo Period=a=b\n", "a=b"},
        {"[Timers\nLo Period=5\n", "5"},
        {"[Timers]\n" + std::string(2000, 'x') + "\nLo Period=7\n", "7"},
        {"", "(none)"},
    };
    for (const auto &[text, expected] : kCases) {
        EXPECT_EQ(Lookup(text), expected) << text;
        EXPECT_EQ(Lookup(text, 1024), expected) << text;
    }
}

TEST(Profile, IntegersAreLeadingDigits) {
    const std::pair<const char *, int32_t> kCases[] = {
        {"12", 12}, {" 12ms", 12}, {"-7 x", -7}, {"+7", 7}, {"x7", 0}, {"", 0}, {"1.9", 1}, {"0x10", 0},
    };
    for (const auto &[text, expected] : kCases) EXPECT_EQ(LeadingInteger(text), expected) << text;
    EXPECT_EQ(LeadingInteger("99999999999999"), INT32_MAX);
    EXPECT_EQ(LeadingInteger("-99999999999"), INT32_MIN);
    char out[4];
    CopyText("abcdef", out, sizeof out);
    EXPECT_STREQ(out, "abc");
}

TEST(PortDefinition, TakesBothFormsAndNothingElse) {
    const auto check = [](bool valid, const char *definitions) {
        std::istringstream texts(definitions);
        for (std::string text; std::getline(texts, text, '|');) {
            EXPECT_EQ(IsPortDefinition(text.c_str()), valid) << text;
        }
    };
    check(true,
          "COM3|com12|COM3:|COM2:9600,e,8,1|com2 9600,N,8,1.5|COM1:96,o,7,2,x|COM1:9600|COM1:9600,,8"
          "|com2 baud=9600 parity=E data=8 stop=1|COM2: stop=2  baud=300"
          "|com1 xon=on octs=OFF dtr=hs rts=tg to=on");
    check(false,
          "|COM|COM0|COM257|COM3x|XYZ|LPT1|9600,e,8,1|COM1:9600,z,8,1|COM1:9600,e,9,1|COM1:9600,e,8,3"
          "|COM1:9600,e,8,1,q|COM1:9600,e,8,1,x,x|COM1:0|com1 baud=fast|com1 parity=Z"
          "|com1 baud=9600 nonsense|com1 speed=9600|com1 dtr=tg|COM99999999999");
    EXPECT_FALSE(IsPortDefinition(nullptr));
}

TEST(HeadAnswer, ClassesHaveAnOrderAndPositionsAreDecoded) {
    const std::tuple<const char *, int, int, int, int, double, double> kCases[] = {
        {"A45.0B-90.0\r", 4, 0, 1, 0, 45.0, -90.0},
        {"A+7.5\r", 4, 0, 1, 0, 7.5, 2},
        {"A+-5B++6\r", 4, 0, 1, 0, 1, 2},
        {"HMB15.0\r", 4, 0, 0, 1, 1, 15.0},
        {"EA45.0\r", 1, 'E', 0, 0, 1, 2},
        {"A45.0XF\r", 1, 'X', 0, 0, 1, 2},
        {"T\r", 2, 0, 0, 0, 1, 2},
        {"VT\r", 2, 0, 0, 0, 1, 2},
        {"V\r", 3, 0, 0, 0, 1, 2},
        {"VA3.0\r", 4, 0, 1, 0, 3.0, 2},
        {"\r", 0, 0, 0, 0, 1, 2},
        {"AB", 4, 0, 1, 0, 1, 2},
        {"A-.-B.", 4, 0, 1, 0, 1, 2},
        {"A123456789.123456", 4, 0, 1, 0, 123456789.1, 2},  // the first 11 characters
        {"A1.5A2.5B", 4, 0, 1, 0, 1.5, 2},
    };
    for (const auto &[answer, event, error, leve, manual, a, b] : kCases) {
        HeadRecord head{.headA = 1, .headB = 2};
        ClassifyHeadAnswer(head, answer);
        EXPECT_EQ(std::tuple(head.headEvent, head.headErrorCode, head.levePresent, head.manualMode,
                             head.headA, head.headB),
                  std::tuple(event, error, leve, manual, a, b))
            << answer;
    }
}

}  // namespace
}  // namespace cc::test
