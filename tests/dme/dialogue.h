// A script of what a client sends, what it must be answered, and what befalls the machine.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "dme/server.h"

namespace cmm::dme {

/// A script's line begins with
///   >   a line of the client; >! one that did not wait for its acknowledgement
///   <   the next line of the server
///   .   milliseconds pass; no line of the server may be left before
///   *   what befalls the machine, in the words of who plays it
///   #   a comment
class Dialogue {
  public:
    virtual ~Dialogue() = default;

    void Play(const std::filesystem::path &script) {
        std::ifstream file(script);
        std::string line;
        for (int number = 1; std::getline(file, line); ++number) {
            SCOPED_TRACE("line " + std::to_string(number) + ": " + line);
            Do(line);
            if (testing::Test::HasFailure()) return;
        }
        EXPECT_EQ(answers_, std::deque<std::string>());
    }

  protected:
    virtual Server &TheServer() = 0;
    virtual void Pass(int milliseconds) = 0;
    /// How long an answer may take that the script does not wait for, ms.
    virtual int Patience() const { return 0; }
    virtual void Befall(const std::string &event, const std::string &rest) = 0;
    void Answer(const std::string &line) { answers_.push_back(line); }

  private:
    void Do(const std::string &line) {
        if (line.empty() || line[0] == '#') return;
        const bool early = line.starts_with(">! ");
        const std::string rest = line.substr(early ? 3 : 2);
        if (line[0] == '<') {
            if (answers_.empty()) Pass(0);
            for (int passed = 0; answers_.empty() && passed < Patience(); passed += 10) Pass(10);
            ASSERT_FALSE(answers_.empty()) << "no answer";
            EXPECT_EQ(answers_.front(), rest);
            answers_.pop_front();
            return;
        }
        if (line[0] == '*') {
            const std::string event = rest.substr(0, rest.find(' '));
            return Befall(event, rest.substr(std::min(rest.size(), event.size() + 1)));
        }
        ASSERT_EQ(answers_, std::deque<std::string>());
        if (line[0] == '>') TheServer().Receive(rest, early);
        if (line[0] == '.') Pass(std::stoi(rest));
    }

    std::deque<std::string> answers_;
};

inline std::vector<std::filesystem::path> ScriptsIn(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> scripts;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".dialogue") scripts.push_back(entry.path());
    std::sort(scripts.begin(), scripts.end());
    return scripts;
}

}  // namespace cmm::dme
