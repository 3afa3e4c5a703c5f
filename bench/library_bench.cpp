// What the library costs: framing, queues, a command in simulation, a command over a line, and an idle arm.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

#include "arm/arm_context.h"
#include "cc_interface.h"
#include "cc_interface_posix.h"
#include "controller.h"
#include "exchange/decoder.h"
#include "line_host.h"
#include "link/framing.h"
#include "link/send_path.h"
#include "platform/clock.h"
#include "pseudo_terminal.h"

namespace {

using namespace cc;
using Clock = std::chrono::steady_clock;

constexpr uint16_t kMessageBytes = 30;  // a linear move

void BuildAMove(benchmark::State &state) {
    uint8_t message[kMessageBytes] = {29, 255, 'G', '0', '1', 'X', 8, 27};
    static MessageSlot slot;
    int32_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(BuildFrame(&slot, index, 1, kMessageBytes, message));
        slot.Free();
    }
    state.SetBytesProcessed(state.iterations() * kMessageBytes);
}
BENCHMARK(BuildAMove);

void CheckAMove(benchmark::State &state) {
    uint8_t message[kMessageBytes] = {29, 255, 'G', '0', '1', 'X', 8, 27};
    static MessageSlot slot;
    int32_t index = 0;
    slot.Free();
    BuildFrame(&slot, index, 1, kMessageBytes, message);
    uint8_t frame[MessageSlot::kBytes];
    for (auto _ : state) {
        uint16_t length = slot.Length();
        std::copy_n(slot.data, length, frame);
        benchmark::DoNotOptimize(CheckFrame(frame, length));
    }
    state.SetBytesProcessed(state.iterations() * kMessageBytes);
}
BENCHMARK(CheckAMove);

// An initialisation file with the given lines in its timers section.
std::string IniFile(const std::string &lines) {
    const std::string path = "/tmp/cc_bench_" + std::to_string(getpid()) + ".ini";
    std::ofstream(path) << "[Timers]\n" << lines;
    return path;
}

void OpenSimulated() {
    CC_INIT(nullptr, 1, nullptr, nullptr, nullptr, 1, 0.001, 1, CC_SIMULATION,
            IniFile("timeout=0\n").c_str());
}

void QueueAndTake(benchmark::State &state) {
    OpenSimulated();
    ArmContext &arm = SelectArm(1);
    const CommandMessage message(command::S15);
    uint8_t reply[kReplyBytes];
    uint16_t length = 0;
    for (auto _ : state) {
        QueueMessage(arm.link, kNormal, message);
        TakeReply(arm.link, length, reply);
    }
    CC_DONE(1, 2);
}
BENCHMARK(QueueAndTake);

void CommandAndReplyInSimulation(benchmark::State &state) {
    OpenSimulated();
    ArmContext &arm = SelectArm(1);
    const CommandMessage message(command::S26);
    for (auto _ : state) {
        arm.replies.awaitedReply = 26;
        QueueMessage(arm.link, kNormal, message);
        DecodeReplies(SelectArm(1), 1);
    }
    CC_DONE(1, 2);
}
BENCHMARK(CommandAndReplyInSimulation);

// An emulated controller on COM1, unpaced, which notes when each frame of the host came.
class Line {
  public:
    explicit Line(const std::string &settings) {
        terminal_.LinkAs(folder_, 1);
        setenv("CC_PORT_DIR", folder_.c_str(), 1);
        controller_.onFrame = [this](int64_t, emulator::Direction direction, const emulator::Bytes &frame) {
            const bool data = frame[0] == 3 || frame[0] == 4;
            if (direction == emulator::Direction::ToController && data)
                lastData_ = Clock::now().time_since_epoch().count();
        };
        host_.Add(controller_, terminal_.Descriptor(), 0, [] {});
        thread_ = std::thread([this] { host_.Run(stop_); });
        opened_ = CC_INIT(nullptr, 1, nullptr, "COM1", nullptr, 1, 0.0001, 1, 0, IniFile(settings).c_str());
    }
    ~Line() {
        CC_DONE(1, 2);
        stop_ = true;
        thread_.join();
        terminal_.Unplug();
        rmdir(folder_.c_str());
    }
    bool IsOpen() const { return opened_ == CC_OK; }
    Clock::time_point LastData() const { return Clock::time_point(Clock::duration(lastData_.load())); }

  private:
    static std::string MakeFolder() {
        std::string folder = "/tmp/cc_bench_XXXXXX";
        return mkdtemp(folder.data()) != nullptr ? folder : "/tmp";
    }

    std::string folder_ = MakeFolder();
    emulator::Controller controller_{{}};
    emulator::PseudoTerminal terminal_;
    emulator::LineHost host_;
    std::atomic<bool> stop_{false};
    std::atomic<Clock::rep> lastData_{0};
    std::thread thread_;
    uint16_t opened_ = 0;
};

// A command that ends with its link acknowledgement. "to_wire_us": from the call to the frame at the far end.
void CommandOverALine(benchmark::State &state) {
    const Line line("Lo Period=1\ntimeout=2\nHi Period=50\n");
    if (!line.IsOpen()) return state.SkipWithError("the line did not open");
    CC_FEED(1, 1);  // takes the acknowledgement that the opening left
    double toWire = 0;
    for (auto _ : state) {
        const Clock::time_point begin = Clock::now();
        if (CC_FEED(1, 100) != 1) state.SkipWithError("not acknowledged");
        toWire += std::chrono::duration<double, std::micro>(line.LastData() - begin).count();
    }
    state.counters["to_wire_us"] = toWire / static_cast<double>(state.iterations());
    state.counters["commands"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(CommandOverALine)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

// Processor time of the whole process, the far end included, while an arm is open and its worker runs.
void IdleArm(benchmark::State &state) {
    const Line line("timeout=2\n");
    if (!line.IsOpen()) return state.SkipWithError("the line did not open");
    const auto used = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    };
    double processor = 0;
    for (auto _ : state) {
        const double before = used();
        CC_LOOP_RUN(5000);
        processor += used() - before;
    }
    state.counters["percent_of_a_core"] = 100 * processor / (5.0 * static_cast<double>(state.iterations()));
}
BENCHMARK(IdleArm)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
