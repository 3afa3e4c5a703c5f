// What the library itself costs: framing, queues, a command in simulation. line_bench measures it on lines.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <fstream>

#include "arm/arm_context.h"
#include "cc_interface.h"
#include "exchange/decoder.h"
#include "link/framing.h"
#include "link/send_path.h"

namespace {

using namespace cc;

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

}  // namespace

BENCHMARK_MAIN();
