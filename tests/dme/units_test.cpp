// Lines, numbers, properties and transformations, each as a table.
#include <gtest/gtest.h>

#include "dme/coordinates.h"
#include "dme/grammar.h"
#include "dme/properties.h"

namespace cmm::dme {
namespace {

TEST(DmeGrammar, TakesNumbersOfTheirFormOnly) {
    struct Case {
        const char *text;
        bool isNumber;
        double value;
    };
    const Case cases[] = {
        {"12", true, 12},
        {"0090", true, 90},
        {"+.5", true, 0.5},
        {"-123.", true, -123},
        {"3.8e002", true, 380},
        {"+1.234567890123456E-123", true, 1.234567890123456e-123},
        {"1e-999", true, 0},
        {"1234567890123456", true, 1234567890123456.0},
        {"", true, 0},  // no argument at all
        {"12345678901234567", false, 0},
        {".", false, 0},
        {"1e", false, 0},
        {"1e1234", false, 0},
        {"+-1", false, 0},
        {"1.2.3", false, 0},
        {"1 2", false, 0},
        {"0x10", false, 0},
        {"inf", false, 0},
        {"- 1", false, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        Command command;
        LineFault fault;
        const bool parsed = ParseCommand("00001 GoTo(X(" + std::string(c.text) + "))", command, fault);
        const bool isNumber =
            parsed && (command.method.arguments[0].arguments.empty() ||
                       command.method.arguments[0].arguments[0].kind == Argument::Kind::Number);
        ASSERT_EQ(isNumber, c.isNumber);
        if (isNumber && *c.text) {
            EXPECT_EQ(command.method.arguments[0].arguments[0].number, c.value);
        }
    }
}

TEST(DmeGrammar, TellsWhyALineIsNoCommand) {
    struct Case {
        std::string line;
        int number;  // -1: it is one
        const char *tag;
    };
    const Case cases[] = {
        {"00001 SetProp ( Tool.GoToPar.Speed ( 1 ) , Tool.Name( ) )", -1, "00001"},
        {"E0001 StopDaemon(E0553)", -1, "E0001"},
        {"00001 FindTool(\"Probe (1)\")", -1, "00001"},
        {"", 1, "E0000"},
        {"20 Home()", 1, "E0000"},
        {"E0000 AbortE()", 1, "E0000"},
        {"A4711 Home()", 1, "E0000"},
        {"00001", 2, "00001"},
        {"00001\tHome()", 7, "00001"},
        {"00001 FindTool(\"\x80\")", 7, "00001"},
        {"00001  Home()", 8, "00001"},
        {"00001 Home() ", 8, "00001"},
        {"00001 Home", 8, "00001"},
        {"00001 Tool.Home()", 8, "00001"},
        {"00001 FindTool(\"\")", 8, "00001"},
        {"00001 FindTool(\"a)", 8, "00001"},
        {"00001 GoTo(X(1),)", 8, "00001"},
        {"00001 GoTo(Tool.)", 8, "00001"},
        {"00001 GoTo(" + std::string(65536, ' ') + ")", 8, "00001"},
        {"00001 A(B(C(D(E(F(G(H(I()))))))))", 8, "00001"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line.substr(0, 60));
        Command command;
        LineFault fault{};
        ASSERT_EQ(ParseCommand(c.line, command, fault), c.number < 0);
        EXPECT_EQ(fault.tag, c.tag);
        if (c.number >= 0) {
            EXPECT_EQ(static_cast<int>(fault.number), c.number);
        }
    }
}

TEST(DmeGrammar, WritesNumbersShort) {
    EXPECT_EQ(FormatNumber(99.93), "99.93");
    EXPECT_EQ(FormatNumber(-0.0000001), "0");
    EXPECT_EQ(FormatNumber(1200), "1200");
    EXPECT_EQ(FormatNumber(1234567.8912345678), "1234567.891235");
    EXPECT_EQ(FormatNumber(12345678.5), "1.234567850000000e+07");
    EXPECT_EQ(FormatNumbers({0.5, 1.0 / 3}), "0.5, 0.333333333");
}

TEST(DmeCoordinates, GoAlongTheChainAndBack) {
    struct Case {
        Transformation multipleArm, part;
        Eigen::Vector3d inPart;  // of the machine's 2 3 4
    };
    const Case cases[] = {
        {{}, {}, {2, 3, 4}},
        {{}, {{0, 0, 0}, 0, 180, 0}, {-2, -3, 4}},
        {{}, {{0, 0, 0}, 0, 389, -209}, {-2, -3, 4}},
        {{}, {{0, 0, 0}, 180, 0, 0}, {2, -3, -4}},
        {{}, {{0, 0, 0}, 0, 90, 0}, {3, -2, 4}},
        {{}, {{5, 6, 7}, 0, 0, 0}, {7, 9, 11}},
        {{{1, 0, 0}, 90, 0, 0}, {}, {3, 4, -3}},
        {{{1, 0, 0}, 90, 0, 0}, {{0, 0, 10}, 0, 90, 0}, {4, -3, 7}},
        // psi 90: (3, -2, 4); theta 90 about the new x: (3, 4, 2); phi 90 about the new z: (4, -3, 2)
        {{}, {{0, 0, 0}, 90, 90, 90}, {4, -3, 2}},
    };
    for (const Case &c : cases) {
        Coordinates coordinates;
        ASSERT_TRUE(coordinates.Set(Csy::MultipleArm, c.multipleArm));
        ASSERT_TRUE(coordinates.Set(Csy::Part, c.part));
        coordinates.Select(Csy::Part);
        EXPECT_NEAR((coordinates.FromMachine({2, 3, 4}) - c.inPart).norm(), 0, 1e-12);
        EXPECT_NEAR((coordinates.ToMachine(c.inPart) - Eigen::Vector3d(2, 3, 4)).norm(), 0, 1e-12);
    }
    Coordinates coordinates;
    EXPECT_FALSE(coordinates.Set(Csy::Part, {{1, 1, 1}, 180.001, 0, 0}));
    EXPECT_EQ(coordinates.Of(Csy::Part).zero.x(), 0);
}

TEST(DmeTools, PointWhereTheHeadTurnsThem) {
    const auto setup = BuiltInSetup();
    Toolbox tools(setup);
    tools.Activate(*tools.Find("Probe1"));
    struct Case {
        double a, b;
        Eigen::Vector3d offset;
    };
    for (const Case &c : {Case{0, 90, {0, 0, -100}}, Case{90, 0, {0, -100, 0}}, Case{90, 90, {100, 0, 0}}})
        EXPECT_NEAR((Toolbox::TipOf(tools.Active(), c.a, c.b).offset - c.offset).norm(), 0, 1e-9);
    EXPECT_EQ(tools.Aligned({0, 1, 0}, std::nullopt), std::pair(90.0, 0.0));
    EXPECT_EQ(tools.Aligned({0, 0, 1}, Eigen::Vector3d(1, 0, 0)), std::pair(0.0, 90.0));
}

TEST(DmeProperties, AreReadSetAndEnumerated) {
    const auto setup = BuiltInSetup();
    Toolbox tools(setup);
    tools.Activate(*tools.Find("RefTool"));
    Coordinates coordinates;
    Properties properties(tools, coordinates, 0, 0);
    const auto argument = [](const std::string &text) {
        Command command;
        LineFault fault;
        EXPECT_TRUE(ParseCommand("00001 GetProp(" + text + ")", command, fault)) << text;
        return command.method.arguments.at(0);
    };
    struct Case {
        const char *set;
        int fault;  // -1: none; 0: it is brought into range
        const char *speed;
    };
    const Case cases[] = {
        {"Tool.GoToPar.Speed(30)", -1, "Tool.GoToPar.Speed(30)"},
        {"Tool.GoToPar.Speed.Act(31)", -1, "Tool.GoToPar.Speed(31)"},
        {"GoToPar.Speed(32)", -1, "Tool.GoToPar.Speed(32)"},
        {"Tool.GoToPar.Speed(1000)", 0, "Tool.GoToPar.Speed(500)"},
        {"Tool.GoToPar.Speed(-1e300)", 0, "Tool.GoToPar.Speed(1)"},
        {"Tool.GoToPar.Speed.Max(1000)", 506, "Tool.GoToPar.Speed(1)"},
        {"Tool.GoToPar.Speed()", 509, "Tool.GoToPar.Speed(1)"},
        {"Tool.GoToPar.Approach(1)", 510, "Tool.GoToPar.Speed(1)"},
        {"Tool.GoToPar.Speed.Act.Act(1)", 510, "Tool.GoToPar.Speed(1)"},
        {"FoundTool.GoToPar.Speed(1)", 1503, "Tool.GoToPar.Speed(1)"},
        {"Name(1)", 510, "Tool.GoToPar.Speed(1)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.set);
        bool outOfRange = false;
        const auto fault = properties.Set(argument(c.set), outOfRange);
        EXPECT_EQ(fault ? static_cast<int>(fault->number) : outOfRange ? 0 : -1, c.fault);
        std::string data;
        EXPECT_FALSE(properties.Get(argument("Tool.GoToPar.Speed()"), data));
        EXPECT_EQ(data, c.speed);
    }
    std::vector<std::string> lines;
    EXPECT_FALSE(properties.Enumerate(argument("Tool.GoToPar()"), false, lines));
    EXPECT_EQ(lines, std::vector<std::string>({"\"Speed\", \"Number\"", "\"Accel\", \"Number\"",
                                               "\"Speed\", \"Property\"", "\"Accel\", \"Property\""}));
    tools.Activate(*tools.Find("RefTool"));
    EXPECT_EQ(tools.Active().parameters.goToSpeed.actual, 80);
}

}  // namespace
}  // namespace cmm::dme
