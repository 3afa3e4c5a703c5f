#include "far_end.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "frame_words.h"
#include "line_host.h"

namespace bench {
namespace {

using namespace emulator;

constexpr size_t kMostFrames = 1 << 18;
constexpr uint8_t kTerminator = 8;
constexpr uint8_t kStartLink = 9;
constexpr uint8_t kData0 = 3;
constexpr uint8_t kData1 = 4;

std::string MakeFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "cc_bench_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for the port");
    return folder;
}

}  // namespace

struct FarEnd::Log {
    std::atomic<size_t> count;  // released once the frame is written
    LineFrame frames[kMostFrames];
};

/// Makes frames of the bytes that pass the port.
class FarEnd::Recorder {
  public:
    explicit Recorder(Log &log) : log_(log) {}

    void Add(Direction direction, const uint8_t *bytes, size_t count) {
        Way &way = ways_[static_cast<int>(direction)];
        const int64_t now = Now();
        for (size_t i = 0; i < count; ++i) {
            if (way.bytes.empty()) way.first = now;
            way.bytes.push_back(bytes[i]);
            if (bytes[i] != kTerminator) continue;
            Write(direction, way, now);
            way.bytes.clear();
        }
    }

  private:
    struct Way {
        Bytes bytes;
        int64_t first = 0;
        uint8_t nextData = kData0;
    };

    void Write(Direction direction, Way &way, int64_t now) {
        const uint8_t type = way.bytes[0];
        const Bytes message = MessageInFrame(way.bytes);
        const bool isData = type == kData0 || type == kData1;
        const bool isRepeated = isData && type != way.nextData;
        if (isData && !isRepeated) way.nextData = type == kData0 ? kData1 : kData0;
        if (type == kStartLink) way.nextData = kData0;
        const size_t count = log_.count.load(std::memory_order_relaxed);
        if (count == kMostFrames) return;
        log_.frames[count] = {way.first,
                              now,
                              direction,
                              message.size() > 2 ? message[2] : uint8_t{0},
                              static_cast<uint16_t>(way.bytes.size()),
                              isData,
                              isRepeated};
        log_.count.store(count + 1, std::memory_order_release);
    }

    Log &log_;
    Way ways_[2];
};

FarEndOptions PromptFarEnd(bool paced) {
    FarEndOptions options;
    options.controller.replyDelay = 0;
    options.paced = paced;
    return options;
}

FarEnd::FarEnd(const FarEndOptions &options)
    : folder_(MakeFolder()),
      log_(static_cast<Log *>(
          mmap(nullptr, sizeof(Log), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (log_ == MAP_FAILED) throw std::runtime_error("no memory for the frames");
    terminal_.LinkAs(folder_, 1);
    process_.emplace([&] { Serve(options, terminal_.Descriptor(), *log_); });
}

FarEnd::~FarEnd() {
    process_.reset();
    munmap(log_, sizeof(Log));
    terminal_.Unplug();
    std::filesystem::remove_all(folder_);
}

void FarEnd::Serve(const FarEndOptions &options, int descriptor, Log &log) {
    prctl(PR_SET_TIMERSLACK, 1000);  // ns; bytes come at their time
    ControllerOptions controllerOptions = options.controller;
    controllerOptions.link.frameGap = options.gap;
    Controller controller(controllerOptions);
    for (const std::string &fault : options.faults) controller.Faults().Add(ParseFault(fault));
    Recorder recorder(log);
    LineHost host;
    host.onBytes = [&recorder](Direction direction, const uint8_t *bytes, size_t count) {
        recorder.Add(direction, bytes, count);
    };
    host.Add(
        controller, descriptor, options.paced ? kByteTimeController : 0, [] {}, options.gap);
    const std::atomic<bool> never{false};
    host.Run(never);
}

std::vector<LineFrame> FarEnd::Frames() const {
    return {log_->frames, log_->frames + log_->count.load(std::memory_order_acquire)};
}

}  // namespace bench
