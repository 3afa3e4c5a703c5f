// cmm watch at an emulated machine: what it asks, what it shows, and how it goes on and ends.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "controller.h"
#include "head.h"
#include "line_host.h"
#include "pseudo_terminal.h"
#include "support/port_folder.h"
#include "support/program.h"

namespace cc::test {
namespace {

using namespace emulator;

constexpr int64_t kLongest = 20 * kSecond;

/// A controller and a head on their lines.
struct FarEnd {
    FarEnd(const std::string &folder, const ControllerOptions &options, bool headIsMute)
        : controller(options), head(HeadOptions{.silent = headIsMute}) {
        terminal.LinkAs(folder, 3);
        headTerminal.LinkAs(folder, 4);
        host.Add(controller, terminal.Descriptor(), 0, [] {});
        host.Add(head, headTerminal.Descriptor(), 0, [] {});
    }
    /// Serves until the program has said this. Result: whether it has.
    bool Until(Program &program, const std::string &text) {
        const int64_t begin = host.Now();
        bool runs = true;
        while (!program.HasSaid(text)) {
            if (!runs || host.Now() - begin > kLongest) return false;
            host.RunOnce(5 * kMillisecond);
            runs = program.Runs();
        }
        return true;
    }

    Controller controller;
    Head head;
    PseudoTerminal terminal, headTerminal;
    LineHost host;
};

class Watch : public testing::Test {
  protected:
    void SetUp() override {
        mkdir(temporaries.c_str(), 0777);
        setenv("TMPDIR", temporaries.c_str(), 1);
        setenv("TERM", "xterm-256color", 1);
    }
    void TearDown() override {
        EXPECT_EQ(rmdir(temporaries.c_str()), 0);
        unsetenv("TMPDIR");
    }

    PortFolder folder;
    std::string temporaries = folder.path + "/temporaries";
};

TEST_F(Watch, AsksOnlyAndGoesOnWhenTheLineIsBack) {
    ControllerOptions options;
    options.type = 2;
    options.emergencyTime = kSecond / 2;
    auto farEnd = std::make_unique<FarEnd>(folder.path, options, false);
    Program program({"watch", "--port", "COM3", "--head-port", "COM4", "--json", "--rate", "10"});
    for (const char *text : {R"("state":"stopped","position":[0.0,0.0,0.0],"rotary":[0.0,0.0])",
                             R"("temperatures":[20.0,20.01,)", R"("parameters":{"1":[6.0,)",
                             R"("head":{"answers":true,"a":0.0)"})
        EXPECT_TRUE(farEnd->Until(program, text)) << text << program.said;
    farEnd->controller.GiveEvent(51);
    EXPECT_TRUE(farEnd->Until(program, R"("happening":"EMERGENCY: the controller gives code 51")"));
    EXPECT_TRUE(farEnd->Until(program, R"("state":"emergency")"));
    EXPECT_TRUE(farEnd->Until(program, R"("state":"stopped")"));

    // N00, A, B, S48, I00, R01 to R07.
    const auto expectOnlyQuestions = [&farEnd] {
        EXPECT_EQ(farEnd->controller.State(), 2);
        for (const auto &[number, times] : farEnd->controller.Commands()) {
            const bool isQuestion =
                number == 600 || number == 500 || number == 148 || number == 900 || number < 10;
            EXPECT_TRUE(isQuestion) << number << ", " << times << " times";
        }
        for (const std::string &command : farEnd->head.Commands())
            EXPECT_TRUE(command == "S" || command == "U");
    };
    expectOnlyQuestions();
    farEnd->terminal.Unplug();
    farEnd->headTerminal.Unplug();
    while (!program.HasSaid(R"("line":"lost")")) ASSERT_TRUE(program.Runs(100));
    farEnd = std::make_unique<FarEnd>(folder.path, options, false);
    EXPECT_TRUE(farEnd->Until(program, R"("line":"in order","losses":1,"age":0.)"));
    program.Signal(SIGINT);
    while (program.Runs(10)) farEnd->host.RunOnce(kMillisecond);
    EXPECT_EQ(program.Status(), 0);
    expectOnlyQuestions();
}

TEST_F(Watch, GivesNoTableToAControllerThatWantsOne) {
    ControllerOptions options;
    options.wantsTable = true;
    FarEnd farEnd(folder.path, options, false);
    Program program({"watch", "--port", "COM3", "--json"});
    while (program.Runs()) farEnd.host.RunOnce(5 * kMillisecond);
    EXPECT_EQ(program.Status(), 3);
    EXPECT_TRUE(program.HasSaid("waits for its table; it was left so")) << program.said;
    EXPECT_EQ(farEnd.controller.State(), 10);
    EXPECT_EQ(farEnd.controller.Commands().size(), 1U);  // N00
}

TEST_F(Watch, GivesOneObjectALine) {
    for (const char *where : {"--simulate", "--emulate"}) {
        Program program({"watch", where, "--json", "--count", "3", "--rate", "10"});
        while (program.Runs(1000)) {
        }
        EXPECT_EQ(program.Status(), 0);
        std::istringstream lines(program.said);
        int count = 0;
        for (std::string line; std::getline(lines, line); ++count)
            EXPECT_TRUE(nlohmann::json::accept(line)) << line;
        EXPECT_EQ(count, 3) << program.said;
    }
}

TEST_F(Watch, LeavesTheTerminalAsItWas) {
    const struct {
        bool lineIsSilent, headIsMute, byKey;
        std::vector<std::string> shown;
    } kCases[] = {{false, false, true, {"STOPPED", "automatic"}},
                  {false, true, false, {"STOPPED", "set 7", "no answer"}},
                  {true, false, true, {"The line is being opened"}}};
    for (const auto &test : kCases) {
        ControllerOptions options;
        FarEnd farEnd(folder.path, options, test.headIsMute);
        if (test.lineIsSilent) farEnd.controller.Faults().Add(ParseFault("to-host:silence=60000@1"));
        PseudoTerminal screen;
        winsize size{24, 80, 0, 0};
        ioctl(screen.Descriptor(), TIOCSWINSZ, &size);
        termios before{}, after{};
        tcgetattr(screen.Descriptor(), &before);
        Program program({"watch", "--port", "COM3", "--head-port", "COM4"}, screen.Descriptor(),
                        screen.Path());
        for (const std::string &text : test.shown)
            EXPECT_TRUE(farEnd.Until(program, text)) << text << "\n" << program.said;
        size = {40, 120, 0, 0};
        ioctl(screen.Descriptor(), TIOCSWINSZ, &size);
        program.Signal(SIGWINCH);
        EXPECT_TRUE(farEnd.Until(program, "\x1b[40")) << program.said;  // to its last row
        const int64_t begin = farEnd.host.Now();
        if (test.byKey) {
            screen.Write(reinterpret_cast<const uint8_t *>("q"), 1);
        } else {
            program.Signal(SIGTERM);
        }
        while (program.Runs()) farEnd.host.RunOnce(5 * kMillisecond);
        EXPECT_LT(farEnd.host.Now() - begin, 3 * kSecond);
        EXPECT_EQ(program.Status(), 0);
        EXPECT_NE(program.said.find("\x1b[?1049l"), std::string::npos)
            << program.said;  // back to the usual screen
        tcgetattr(screen.Descriptor(), &after);
        EXPECT_TRUE(before.c_lflag == after.c_lflag && before.c_iflag == after.c_iflag &&
                    before.c_oflag == after.c_oflag);
    }
}

}  // namespace
}  // namespace cc::test
