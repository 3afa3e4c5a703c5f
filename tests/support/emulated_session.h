// A measuring session with an emulated controller at the far end of a virtual line, in both line modes.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "controller.h"
#include "support/inside.h"
#include "support/wire.h"
#include "virtual_peer.h"

namespace cc::test {

using emulator::VirtualPeer;

inline constexpr int32_t kPort = 3;
inline constexpr double kScale = 0.0001;

inline emulator::ControllerOptions WithSphere() {
    emulator::ControllerOptions options;
    options.zeroingTime = 200 * emulator::kMillisecond;
    options.probingSpeed = 50;
    options.part = std::make_shared<emulator::SpherePart>();
    return options;
}

/// In both line modes.
class EmulatedTest : public ArmTest, public testing::WithParamInterface<int> {
  protected:
    static bool IsPrompt() { return GetParam() == 1; }

    static uint16_t Open() {
        const std::string mode = "Line mode=" + std::to_string(GetParam());
        const char *const ini = IniFile("[Timers]\nLo Period=10\nHi Period=10\n" + mode + "\n");
        return CC_INIT(nullptr, 1, Recorder(1), "COM3", nullptr, 1, kScale, 1, 0, ini);
    }

    /// Runs the loop until the status is reached; false after 20 s.
    static bool Reach(int16_t status) {
        for (int i = 0; i < 2000 && CC_GETSTATUS(1) != status; ++i) CC_LOOP_RUN(10);
        return CC_GETSTATUS(1) == status;
    }

    /// Opens, zeroes and brings the arm to measuring state.
    static bool StartMeasuring() {
        ControllerInfo info{};
        return Open() == 0 && CC_START(1, &info, 0) == 1 && CC_ZEROES(1) == 1 && Reach(0) &&
               CC_SETSTATUS(1, 1) == 1 && CC_OPBUF(1, 0) == 1;
    }

    /// Probes the sphere from above, +x and +y, with moves clear of it in between.
    static void FileProbing() {
        using namespace emulator;
        const Vector centre{100, 80, 50};
        uint32_t id = 0;
        for (const Vector &direction : {Vector{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}) {
            const Vector outside = centre + 25 * direction;
            ++id;
            for (const auto &[mode, target] :
                 {std::pair{0, outside}, {2, centre + 12 * direction}, {0, outside}}) {
                while (CC_CANSEND(1, 2) == 0) CC_LOOP_RUN(10);
                const double position[6] = {target[0],     target[1],     target[2],
                                            -direction[0], -direction[1], -direction[2]};
                CC_MOVE(1, static_cast<int16_t>(mode), position, id, 1, nullptr, nullptr, 0);
            }
        }
    }

    /// The whole job, as a text of everything that came of it.
    static std::string RunJob() {
        std::ostringstream text;
        Events(1).clear();
        text << "ready " << StartMeasuring();
        FileProbing();
        for (int i = 0; i < 6000 && EventsOf(1, 16).size() < 9; ++i) CC_LOOP_RUN(10);
        for (const Event &event : Events(1)) {
            if (event.number == 16) text << " done " << event.info;
            if (event.number != 5) continue;
            text << " point " << event.point.tag << " at";
            for (const long value : InMillionths(event.point.position)) text << " " << value;
        }
        uint16_t words[2] = {7, 8};
        text << " write " << CC_IO(1, 0, words);
        words[0] = 0;
        text << " read " << CC_IO(1, 1, words) << " " << words[0] << " " << words[1];
        double values[5] = {};
        text << " param " << CC_READ_PARAM(1, 1, values) << " " << values[0];
        text << " coordinates " << CC_GETCOORD(1) << " " << EventsOf(1, 6).size();
        text << " moving " << CC_MOVING(1);
        CC_DONE(1, 0);
        return text.str();
    }
};

// The three points: 15 mm plus the form error of 4 um x cos(3 x azimuth) on the equator.
inline const char kResult[] =
    "ready 1 done 0 point 1 at 100000000 80000000 65000000 done 1 done 0"
    " done 0 point 2 at 115004000 80000000 50000000 done 1 done 0"
    " done 0 point 3 at 100000000 95000000 50000000 done 1 done 0"
    " write 1 read 1 7 8 param 1 6 coordinates 1 1 moving 0";

}  // namespace cc::test
