// cmm as a process at an emulated machine: how it ends when the work is broken off, and what the machine does then.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <optional>

#include "controller.h"
#include "frame_words.h"
#include "head.h"
#include "line_host.h"
#include "pseudo_terminal.h"
#include "support/port_folder.h"
#include "support/program.h"

namespace cc::test {
namespace {

using namespace emulator;

/// Something that is done to the work when the wire has said something.
struct Deed {
    std::string when;  // words of a frame, or of the head's commands
    int times;         // at the n-th such frame
    std::function<void(Program &, Controller &)> what;
};

struct Case {
    std::string name;
    int status;
    std::vector<std::string> said;
    std::vector<Deed> deeds;
    std::vector<std::string> arguments = {};
    std::string fault = {};
    bool headIsMute = false;
    bool withPart = true;
    std::string lastTouch = "S72, to state 2";  // no touch comes behind this frame
    bool byPath = false;                        // the ports are named by their devices
};

std::function<void(Program &, Controller &)> Send(int number) {
    return [number](Program &program, Controller &) { program.Signal(number); };
}
std::function<void(Program &, Controller &)> Give(uint8_t code) {
    return [code](Program &, Controller &controller) { controller.GiveEvent(code); };
}

class CmmProcess : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TMPDIR", temporaries.c_str(), 1);
        mkdir(temporaries.c_str(), 0777);
        std::ofstream(ini) << "[Timers]\nLo Period=5\nHi Period=5\ntimeout=2\nPH9 timeout=6\nLine mode=1\n";
    }

    // However the program ends, nothing of it is left.
    void TearDown() override {
        EXPECT_EQ(rmdir(temporaries.c_str()), 0);
        unsetenv("TMPDIR");
    }

    std::vector<std::string> Arguments(const std::string &port, const std::vector<std::string> &more) const {
        std::vector<std::string> arguments = {"measure", "sphere",    "--port",
                                              port,      "--yes",     "--ini",
                                              ini,       "--picture", folder.path + "/picture.svg"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    PortFolder folder;
    std::string ini = folder.path + "/machine.ini";
    std::string temporaries = folder.path + "/temporaries";
};

class CmmStops : public CmmProcess, public testing::WithParamInterface<Case> {};

TEST_P(CmmStops, AndTheMachineToo) {
    const Case &test = GetParam();
    ControllerOptions options;
    options.speed = 400;
    options.probingSpeed = 40;
    options.zeroingTime = 300 * kMillisecond;
    if (test.withPart) options.part = std::make_shared<SpherePart>();
    Controller controller(options);
    if (!test.fault.empty()) controller.Faults().Add(ParseFault(test.fault));
    Head head(HeadOptions{.speed = 20, .silent = test.headIsMute});
    PseudoTerminal terminal, headTerminal;
    terminal.LinkAs(folder.path, 3);
    headTerminal.LinkAs(folder.path, 4);
    LineHost host;
    host.Add(controller, terminal.Descriptor(), 0, [&terminal] { terminal.Unplug(); });
    host.Add(head, headTerminal.Descriptor(), 0, [] {});

    std::vector<std::pair<int64_t, std::string>> words;  // what went over the line, and when
    controller.onFrame = [&words](int64_t now, Direction direction, const Bytes &frame) {
        words.emplace_back(now, FrameWords(direction, frame));
    };
    std::vector<std::string> arguments =
        Arguments(test.byPath ? terminal.Path() : "COM3", {"--centre", "100", "80", "50"});
    if (test.arguments.empty()) arguments.insert(arguments.end(), {"--radius", "15"});
    arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
    if (test.byPath) arguments.insert(arguments.end(), {"--head-port", headTerminal.Path()});
    Program program(arguments);
    size_t done = 0;
    std::optional<int64_t> lastDeed;
    while (program.Runs()) {
        host.RunOnce(5 * kMillisecond);
        if (done == test.deeds.size()) continue;
        const Deed &deed = test.deeds[done];
        int seen = 0;
        for (const auto &[time, text] : words) seen += text.find(deed.when) != std::string::npos;
        for (const std::string &command : head.Commands())
            seen += command.find(deed.when) != std::string::npos;
        if (seen < deed.times) continue;
        lastDeed = host.Now();
        deed.what(program, controller);
        ++done;
    }
    EXPECT_EQ(program.Status(), test.status) << program.said;
    EXPECT_EQ(done, test.deeds.size());
    for (const std::string &text : test.said)
        EXPECT_NE(program.said.find(text), std::string::npos) << text << "\nis not in\n" << program.said;

    bool stopped = false;
    for (const auto &[time, text] : words) {
        if (text.find(test.lastTouch) != std::string::npos) stopped = true;
        EXPECT_FALSE(stopped && text.find("reply 9") != std::string::npos) << time;
        // No wait of a second or more stands before the emergency.
        if (text.find("P00") == std::string::npos) continue;
        EXPECT_LT(time - lastDeed.value_or(0), kSecond / 2);
    }
    const auto hasEmergency = [](const auto &entry) { return entry.second.find("P00") != std::string::npos; };
    const bool wanted = test.deeds.size() >= 2;
    EXPECT_EQ(std::any_of(words.begin(), words.end(), hasEmergency), wanted);
    EXPECT_TRUE(controller.IsAtRest() || !test.fault.empty());
}

const Case kCases[] = {
    {"Probing",
     4,
     {"stopped by the operator while going to point", "has dropped its buffer", "The machine is stopped",
      "the controller ready"},
     {{"reply 9", 5, Send(SIGINT)}}},
    {"ProbingTwice",
     4,
     {"EMERGENCY is ordered", "The arm is closed, the emergency ordered"},
     {{"reply 9", 5, Send(SIGINT)}, {"S71, to state 1", 2, Send(SIGINT)}}},
    {"ZeroingTwice",
     4,
     {"stopped by the operator while zeroing", "EMERGENCY is ordered"},
     {{"S15, zero", 1, Send(SIGTERM)}, {"S72, to state 2", 1, Send(SIGINT)}}},
    {"TurningTwice",
     4,
     {"while the probe head turned", "it ends its turn by itself", "EMERGENCY is ordered"},
     {{"A45", 1, Send(SIGINT)}, {"S25, reset buffer", 2, Send(SIGINT)}},
     {"--radius", "15", "--head-port", "COM4"}},
    {"ByPathThrice",
     4,
     {"Arm 1 is open on /dev/pts/", "probe head on /dev/pts/", "The program ends; the emergency was ordered"},
     {{"reply 9", 5, Send(SIGINT)}, {"S71, to state 1", 2, Send(SIGINT)}, {"P00", 1, Send(SIGINT)}},
     {"--radius", "15"},
     "",
     false,
     true,
     "S72, to state 2",
     true},
    {"HangUp", 4, {"The machine is stopped"}, {{"reply 9", 2, Send(SIGHUP)}}},
    {"NothingThere",
     1,
     {"move rejected (reason 2) while going to point 1: the probe met nothing"},
     {},
     {"--radius", "15"},
     "",
     false,
     false},
    {"Collision",
     1,
     {"emergency while going to point 1: collision", "holds the machine"},
     {},
     {"--radius", "8"}},
    {"Button",
     1,
     {"emergency while going to point", "code 51"},
     {{"reply 9", 3, Give(51)}},
     {},
     "",
     false,
     true,
     "reply 51"},
    {"SwitchedOn", 1, {"switched on anew while going to point"}, {{"reply 9", 3, Give(55)}}},
    {"StoppedThere", 1, {"left measuring state while"}, {}, {}, "to-host:state=2@70"},
    {"Unplugged",
     3,
     {"the link to the controller was lost while", "It may still execute"},
     {},
     {},
     "to-host:unplug@70"},
    {"Silent", 3, {"no longer acknowledges"}, {}, {}, "to-host:silence=60000@70"},
    {"MuteHead",
     3,
     {"the probe head on COM4 does not answer", "the controller ready"},
     {},
     {"--radius", "15", "--head-port", "COM4"},
     "",
     true},
};
INSTANTIATE_TEST_SUITE_P(All, CmmStops, testing::ValuesIn(kCases),
                         [](const auto &test) { return test.param.name; });

TEST_F(CmmProcess, TellsWhatIsWrongBeforeItMoves) {
    const std::vector<std::string> where = {"--centre", "1", "2", "3", "--radius", "4"};
    const auto with = [&where](std::vector<std::string> more) {
        more.insert(more.begin(), where.begin(), where.end());
        return more;
    };
    PseudoTerminal closed, busy;
    closed.LinkAs(folder.path, 5);
    busy.LinkAs(folder.path, 6);
    const int held = open(busy.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
    const group *const serial = getgrnam("dialout");
    ASSERT_NE(serial, nullptr);
    const bool mayChange = geteuid() == 0 && chown(closed.Path().c_str(), 0, serial->gr_gid) == 0 &&
                           chmod(closed.Path().c_str(), 0660) == 0 && chmod(folder.path.c_str(), 0777) == 0;
    std::ofstream(folder.path + "/points.csv") << "x,y,z,i,j,k\n1,2,3,0,0,1\n1,2,3,0,0\n";
    const struct {
        std::string port;
        std::vector<std::string> arguments;
        int status;
        std::string said;
        bool asNobody = false;
    } kWrong[] = {
        {"COM4", with({}), 3, "com4): there is no such device"},
        {"/nowhere/ttyUSB0", with({}), 3, "the controller's port /nowhere/ttyUSB0: there is no such device"},
        {busy.Path(), with({}), 3, busy.Path() + " is busy: cmm_tests"},
        {"COM5", with({}), 3, "run 'sudo adduser nobody dialout'", true},
        {"COM6", with({}), 3, "is busy: cmm_tests (process " + std::to_string(getpid())},
        {"COMX", with({}), 2, "'COMX' is no port of a controller"},
        {"COM5", {"--centre", "1", "2", "3"}, 2, "a sphere on a machine needs --radius"},
        {"COM5", {"--radius", "-1"}, 2, "-1 is not a number above 0"},
        {"COM5", with({"--axis", "0", "0", "0"}), 2, "--axis has no direction"},
        {"COM5", with({"--csv", "/nowhere/there.csv"}), 2, "cannot write /nowhere/there.csv"},
        {"COM5", with({"--bore"}), 2, "--bore is for a circle or a cylinder"},
        {"COM5", with({"--points", "5"}), 2, "--points is for a plane"},
        {"COM5", with({"--file", folder.path + "/points.csv"}), 2, "go together"},
        {"COM5", with({"--form-error", "1"}), 2, "requires --emulate"},
    };
    for (const auto &wrong : kWrong) {
        if (wrong.asNobody && !mayChange) continue;
        Program program(Arguments(wrong.port, wrong.arguments), wrong.asNobody);
        while (program.Runs(1000)) {
        }
        EXPECT_EQ(program.Status(), wrong.status) << program.said;
        EXPECT_NE(program.said.find(wrong.said), std::string::npos) << wrong.said << "\nis not in\n"
                                                                    << program.said;
    }
    close(held);
}

TEST_F(CmmProcess, MovesNothingUnlessTheAnswerIsYes) {
    PseudoTerminal operatorsTerminal;
    for (const bool answers : {true, false}) {
        std::vector<std::string> arguments = Arguments("COM5", {"--centre", "1", "2", "3", "--radius", "4"});
        arguments.erase(std::find(arguments.begin(), arguments.end(), "--yes"));
        Program program(arguments, false, operatorsTerminal.Path());
        const auto isAsked = [&program] { return program.said.find("[y/N]") != std::string::npos; };
        while (!isAsked() && program.Runs(1000)) {
        }
        if (answers) {
            operatorsTerminal.Write(reinterpret_cast<const uint8_t *>("n\n"), 2);
        } else {
            program.Signal(SIGINT);
        }
        while (program.Runs(1000)) {
        }
        EXPECT_EQ(program.Status(), 4) << program.said;
        const char *const reason = answers ? "the answer was no" : "no order is left with the machine";
        EXPECT_NE(program.said.find(reason), std::string::npos) << program.said;
    }
}

}  // namespace
}  // namespace cc::test
