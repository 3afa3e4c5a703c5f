// The measuring program: both arms at work, round by round, and what it uses at the end of a round.
#include <dirent.h>
#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "cc_interface_posix.h"
#include "measuring_arm.h"

namespace soak {
namespace {

Resources Measure() {
    Resources resources;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") status >> resources.residentKb;
        if (word == "Threads:") status >> resources.threads;
    }
    DIR *const folder = opendir("/proc/self/fd");
    while (folder != nullptr && readdir(folder) != nullptr) ++resources.descriptors;
    closedir(folder);
    resources.heapKb = static_cast<int64_t>(mallinfo2().uordblks / 1024);
    return resources;
}

// The emergency button of a measuring program: it is pressed on a thread of its own, whatever the measuring thread does.
class EmergencyButton {
  public:
    EmergencyButton(Shared &shared, uint64_t seed) : shared_(shared), random_(seed) {}

  private:
    static constexpr auto kLook = std::chrono::milliseconds(20);
    static constexpr int64_t kEvery = 1000;               // looks on the average
    static constexpr int64_t kLongestCall = 2 * kSecond;  // it waits for nothing

    void Run(const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(kLook);
            if (shared_.phase == Phase::Faulty && OneIn(random_, kEvery)) Press();
        }
    }
    void Press() {
        const auto arm = static_cast<int16_t>(1 + Below(random_, kArms));
        const auto code = static_cast<int16_t>(Below(random_, 256));
        const int64_t stopped = shared_.stopped, begin = Now();
        if (CC_EMERGENCY(arm, code) != 0) ++shared_.buttonEmergencies;
        const int64_t took = Now() - begin - (shared_.stopped - stopped);
        if (took > kLongestCall)
            Broken(shared_, "the emergency button took %.3f s", static_cast<double>(took) / kSecond);
    }

    Shared &shared_;
    Random random_;
    std::jthread thread_{[this](const std::stop_token &stop) { Run(stop); }};
};

void CountBox(const char *, void *user) {
    ++static_cast<Shared *>(user)->boxes;
}

}  // namespace

void RunMeasuring(Shared &shared, const char *folder, uint64_t seed) {
    setenv("CC_PORT_DIR", folder, 1);
    CC_SET_MESSAGE_BOX(CountBox, &shared);
    Random random(seed);
    std::unique_ptr<MeasuringArm> arms[kArms];
    for (int i = 0; i < kArms; ++i) {
        arms[i] = std::make_unique<MeasuringArm>(shared, folder, static_cast<int16_t>(i + 1), random());
        measuringArms[i] = arms[i].get();
    }
    const EmergencyButton button(shared, random());
    while (shared.phase != Phase::Over) {
        if (shared.roundsDone == shared.round) {
            CC_LOOP_RUN(5);
            continue;
        }
        for (int i = 0; shared.phase == Phase::Faulty; i = (i + 1) % kArms) {
            // The second arm is always on the prompt line.
            if (arms[i]->IsOpen() || arms[i]->Open(i == 1 || !OneIn(random, 3))) arms[i]->Work();
        }
        while (shared.cleanRound != shared.round) CC_LOOP_RUN(5);
        for (const auto &arm : arms) arm->CheckWorks();
        const bool first = shared.round == 1;
        if (first || shared.lastRound || OneIn(random, 3)) {
            for (const auto &arm : arms) arm->Close();
            shared.last = Measure();
            if (first) shared.first = shared.last;
        }
        shared.roundsDone = shared.round.load();
    }
}

}  // namespace soak
