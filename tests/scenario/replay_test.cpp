// A recorded controller plays its part again.
#include "replay.h"

#include "frame_words.h"
#include "support/emulated_session.h"

namespace cc::test {
namespace {

using namespace emulator;

/// What cmm-emulator --log prints of a line.
std::string LogLine(int64_t time, Direction direction, const Bytes &frame) {
    const char *const way =
        direction == Direction::ToController ? "host -> controller" : "host <- controller";
    return std::to_string(static_cast<double>(time) / kSecond) + "  " + way + "  words  " + HexWords(frame) +
           "\n";
}

class ReplayTest : public EmulatedTest {};
INSTANTIATE_TEST_SUITE_P(LineModes, ReplayTest, testing::Values(0, 1));

TEST_P(ReplayTest, TheSameJobComesToTheSameResult) {
    std::string log = "controller on /dev/pts/1\n";
    {
        Controller controller(WithSphere());
        controller.onFrame = [&log](int64_t time, Direction direction, const Bytes &frame) {
            log += LogLine(time, direction, frame);
        };
        // What went wrong on the line is no part of what the controller said.
        controller.Faults().Add(ParseFault("to-controller:corrupt@9"));
        controller.Faults().Add(ParseFault("to-host:drop@31"));
        const VirtualPeer peer(kPort, controller);
        ASSERT_EQ(RunJob(), kResult);
    }
    ForgetSessions();
    std::istringstream recording(log);
    ReplayController controller({}, recording);
    controller.onStranger = [](const Bytes &command) { ADD_FAILURE() << HexWords(command); };
    const VirtualPeer peer(kPort, controller);
    EXPECT_EQ(RunJob(), kResult);
    EXPECT_TRUE(controller.IsThrough());
    // It is asked more often than it was.
    ASSERT_EQ(Open(), 0);
    uint16_t words[2] = {};
    EXPECT_EQ(CC_IO(1, 1, words), 1);
    EXPECT_EQ(words[0], 7);
}

TEST(Replay, OfNothingIsRefused) {
    std::istringstream nothing("controller on /dev/pts/1\n  02 01 00\n");
    EXPECT_THROW(ReplayController({}, nothing), std::invalid_argument);
}

}  // namespace
}  // namespace cc::test
