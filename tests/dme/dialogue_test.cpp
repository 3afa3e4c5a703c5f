// Plays each script of this folder: what a client sends, what it must be answered, what befalls the machine.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "dme/server.h"
#include "scripted_machine.h"

namespace cmm::dme {
namespace {

// A script's line begins with
//   >   a line of the client; >! one that did not wait for its acknowledgement
//   <   the next line of the server
//   .   milliseconds pass; no line of the server may be left before
//   *   fail WORDS: the order that runs does not find the surface; emergency WORDS: it comes unasked; leave: the client is gone;
//       shift X: all touches are so many mm to the right; touch X: the operator touches there;
//       orders N: so many are with the machine; stops N: so often it was stopped
//   #   a comment
class Dialogue {
  public:
    explicit Dialogue(const std::filesystem::path &script) : file_(script) {}

    void Play() {
        std::string line;
        for (int number = 1; std::getline(file_, line); ++number) {
            SCOPED_TRACE("line " + std::to_string(number) + ": " + line);
            Do(line);
            if (testing::Test::HasFailure()) return;
        }
        EXPECT_EQ(answers_, std::deque<std::string>());
    }

  private:
    void Do(const std::string &line) {
        if (line.empty() || line[0] == '#') return;
        const bool early = line.starts_with(">! ");
        const std::string rest = line.substr(early ? 3 : 2);
        if (line[0] == '<') {
            if (answers_.empty()) Pass(0);
            ASSERT_FALSE(answers_.empty()) << "no answer";
            EXPECT_EQ(answers_.front(), rest);
            answers_.pop_front();
            return;
        }
        if (line[0] == '*') return Befall(rest);
        ASSERT_EQ(answers_, std::deque<std::string>());
        if (line[0] == '>') server_.Receive(rest, early);
        if (line[0] == '.') Pass(std::stoi(rest));
    }

    void Pass(int milliseconds) {
        for (const Time end = now_ + Time(milliseconds); now_ < end; now_ += Time(10)) server_.Advance(now_);
        server_.Advance(now_);
    }

    void Befall(const std::string &what) {
        const std::string event = what.substr(0, what.find(' '));
        const std::string rest = what.substr(std::min(what.size(), event.size() + 1));
        if (event == "fail") return machine_.FailNext(Trouble::SurfaceNotFound, rest);
        if (event == "emergency") return machine_.Befall(Trouble::Emergency, rest);
        if (event == "shift") {
            machine_.shift = {std::stod(rest), 0, 0};
            return;
        }
        if (event == "touch") return machine_.TouchByHand({std::stod(rest), 0, 0});
        if (event == "leave") return server_.Leave();
        if (event == "orders") {
            EXPECT_EQ(machine_.Outstanding(), std::stoul(rest));
        } else if (event == "stops") {
            EXPECT_EQ(machine_.stops, std::stoi(rest));
        } else {
            FAIL() << "no such event";
        }
    }

    std::ifstream file_;
    std::deque<std::string> answers_;
    ScriptedMachine machine_;
    Server server_{machine_, BuiltInSetup(), [this](const std::string &line) { answers_.push_back(line); }};
    Time now_{0};
};

class DmeDialogue : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(DmeDialogue, IsAnsweredAsWritten) {
    Dialogue(GetParam()).Play();
}

std::vector<std::filesystem::path> Scripts() {
    std::vector<std::filesystem::path> scripts;
    for (const auto &entry : std::filesystem::directory_iterator(DIALOGUE_DIR))
        if (entry.path().extension() == ".dialogue") scripts.push_back(entry.path());
    std::sort(scripts.begin(), scripts.end());
    return scripts;
}

INSTANTIATE_TEST_SUITE_P(Scripts, DmeDialogue, testing::ValuesIn(Scripts()),
                         [](const auto &script) { return script.param.stem().string(); });

}  // namespace
}  // namespace cmm::dme
