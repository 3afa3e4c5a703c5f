// What cmm config says of an initialisation file.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "config/initialisation_file.h"

namespace cmm {
namespace {

TEST(InitialisationFile, SaysWhatIsInForceAndWhatIsWrong) {
    std::istringstream text(
        "key=before\n[Timers]\nLo Period = 5\nlo period=7\nHi Period=0\n timeout=\"9s\"\nPH9 "
        "timeout=164\nFoo=1\n"
        "Line mode=1\nAuto Coord=5\ninit timeout=3\nbare\n; a comment\n[Other]\nx=1\n[CONTROLLER]\n"
        "KX_AXES_CONVENTION=yes\n[timers]\nLog file=1\n");
    const InitialisationFile file = ReadInitialisationFile(text);
    std::map<std::string, std::string> inForce;
    for (const Setting &setting : file.settings)
        inForce[setting.key] = setting.value + "@" + std::to_string(setting.line);
    const std::map<std::string, std::string> expected = {
        {"Lo Period", "5@3"},
        {"Hi Period", "50@5"},
        {"timeout", "9@6"},
        {"PH9 timeout", "6@7"},  // 164 s are 32,800 ticks of 5 ms
        {"Line mode", "1@9"},
        {"Auto Coord", "100@10"},
        {"Enable auto coord", "0@0"},
        {"Log file", "0@0"},  // the second section of that name is not read
        {"KX_AXES_CONVENTION", "FALSE@17"}};
    EXPECT_EQ(inForce, expected);
    std::vector<int> lines;
    for (const Complaint &complaint : file.complaints) lines.push_back(complaint.line);
    EXPECT_EQ(lines, (std::vector<int>{1, 4, 5, 6, 7, 8, 10, 12, 14, 15, 17, 18}));
}

}  // namespace
}  // namespace cmm
