#include "emulation.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "frame_words.h"
#include "line_host.h"
#include "replay.h"
#include "served_line.h"

namespace emulator {
namespace {

constexpr int kEvents[] = {30, 31, 32, 48, 50, 51, 52, 53, 54, 55};

void LogFrame(FrameTeller &teller, int64_t microseconds, Direction direction, const Bytes &frame) {
    std::printf("%12.6f  %s  %-48s  %s\n", static_cast<double>(microseconds) / kSecond,
                direction == Direction::ToController ? "host -> controller" : "host <- controller",
                teller.Tell(direction, frame).c_str(), HexWords(frame).c_str());
    std::fflush(stdout);
}

std::unique_ptr<ServedLine> OpenLine(const std::string &device, const DeviceSettings &settings,
                                     const std::string &folder, int port) {
    return device.empty() ? std::make_unique<ServedLine>(folder, port)
                          : std::make_unique<ServedLine>(device, settings);
}

std::unique_ptr<LinkPeer> Replayed(const EmulationOptions &options) {
    std::ifstream file(options.recording);
    if (!file) throw std::runtime_error("cannot read " + options.recording);
    auto replay = std::make_unique<ReplayController>(
        ReplayOptions{options.controller.link, options.controller.replyDelay}, file);
    replay->onStranger = [](const Bytes &command) {
        const Direction way = Direction::ToController;
        std::cout << "not in the recording: " << MessageLine(way, command, MessageWords(way, command))
                  << std::endl;
    };
    return replay;
}

// Gives the controller its events when they are due.
void GiveEvents(std::vector<TimedEvent> &events, Controller &controller, int64_t now) {
    while (!events.empty() && events.front().at <= now) {
        controller.AdvanceTo(now);
        controller.GiveEvent(events.front().code);
        events.erase(events.begin());
    }
}

}  // namespace

TimedEvent ParseEvent(const std::string &text) {
    const size_t when = text.find('@');
    if (when == std::string::npos) throw std::invalid_argument("when? write '" + text + "' as CODE@SECONDS");
    int code = 0, codeEnd = 0, secondsEnd = 0;
    double seconds = 0;
    const bool isCode =
        std::sscanf(text.c_str(), "%d%n", &code, &codeEnd) == 1 && codeEnd == static_cast<int>(when);
    const bool isTime = std::sscanf(text.c_str() + when + 1, "%lf%n", &seconds, &secondsEnd) == 1 &&
                        when + 1 + static_cast<size_t>(secondsEnd) == text.size() && seconds >= 0 &&
                        seconds < 1e9;
    if (!isCode || std::find(std::begin(kEvents), std::end(kEvents), code) == std::end(kEvents))
        throw std::invalid_argument("no event of a controller: '" + text.substr(0, when) + "'");
    if (!isTime) throw std::invalid_argument("no time in seconds: '" + text.substr(when + 1) + "'");
    return {static_cast<uint8_t>(code), static_cast<int64_t>(seconds * kSecond)};
}

void RunEmulation(const EmulationOptions &options, const std::atomic<bool> &stop) {
    Controller *invented = nullptr;
    std::unique_ptr<LinkPeer> controller;
    if (options.recording.empty()) {
        auto made = std::make_unique<Controller>(options.controller);
        invented = made.get();
        controller = std::move(made);
    } else {
        controller = Replayed(options);
    }
    controller->Faults().Seed(options.seed);
    for (const Fault &fault : options.faults) controller->Faults().Add(fault);
    FrameTeller teller(options.controller.mmPerCount);
    if (options.log) {
        controller->onFrame = [&teller](int64_t time, Direction direction, const Bytes &frame) {
            LogFrame(teller, time, direction, frame);
        };
    }
    std::vector<TimedEvent> events = options.events;
    std::stable_sort(events.begin(), events.end(), [](const auto &a, const auto &b) { return a.at < b.at; });

    LineHost host;
    const auto serve = [&](Peer &peer, ServedLine &line, const char *what, int64_t byteTime, int64_t gap) {
        host.Add(
            peer, line.Descriptor(), options.paced ? byteTime : 0, [&line] { line.Unplug(); }, gap);
        std::cout << what << " on " << line.Name() << std::endl;
    };
    const std::unique_ptr<ServedLine> line =
        OpenLine(options.device, kControllerSettings, options.folder, options.port);
    serve(*controller, *line, "controller", kByteTimeController, options.controller.link.frameGap);
    Head head(options.headOptions);
    std::unique_ptr<ServedLine> headLine;
    if (options.head) {
        headLine = OpenLine(options.headDevice, kHeadSettings, options.folder, options.port + 1);
        serve(head, *headLine, "head", kByteTimeHead, kPieceGap);
    }
    while (!stop) {
        host.RunOnce(20 * kMillisecond);
        if (invented != nullptr) GiveEvents(events, *invented, host.Now());
    }
    std::cout << "stopped after " << controller->Faults().Frames(Direction::ToController)
              << " frames from and " << controller->Faults().Frames(Direction::ToHost) << " to the host"
              << std::endl;
}

}  // namespace emulator
