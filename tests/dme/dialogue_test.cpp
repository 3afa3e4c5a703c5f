// Plays each script of this folder with a machine that does what a script says.
#include "dialogue.h"
#include "scripted_machine.h"

namespace cmm::dme {
namespace {

// What befalls it
//   fail WORDS: the order that runs does not find the surface; emergency WORDS: it comes unasked; leave: the client is gone;
//   shift X: all touches are so many mm to the right; touch X: the operator touches there;
//   orders N: so many are with the machine; stops N: so often it was stopped
class ScriptedDialogue : public Dialogue {
    Server &TheServer() override { return server_; }

    void Pass(int milliseconds) override {
        for (const Time end = now_ + Time(milliseconds); now_ < end; now_ += Time(10)) server_.Advance(now_);
        server_.Advance(now_);
    }

    void Befall(const std::string &event, const std::string &rest) override {
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

    ScriptedMachine machine_;
    Server server_{machine_, BuiltInSetup(), [this](const std::string &line) { Answer(line); }};
    Time now_{0};
};

class DmeDialogue : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(DmeDialogue, IsAnsweredAsWritten) {
    ScriptedDialogue().Play(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Scripts, DmeDialogue, testing::ValuesIn(ScriptsIn(DIALOGUE_DIR)),
                         [](const auto &script) { return script.param.stem().string(); });

}  // namespace
}  // namespace cmm::dme
