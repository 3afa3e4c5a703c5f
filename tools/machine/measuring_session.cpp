#include "machine/measuring_session.h"

#include <cstdio>
#include <ostream>
#include <stdexcept>

#include "machine/worker_loop.h"

namespace cmm {
namespace {

constexpr int16_t kArm = 1;
constexpr int16_t kExtendedStart = 1;
constexpr int kLoopMs = 20;
constexpr int kZeroingSeconds = 60;
constexpr int kProbingSecondsAPoint = 30;

MeasuringSession *current = nullptr;  // the library's callback has no argument of the client's

const char *EventName(int32_t event) {
    switch (event) {
        case CC_EVENT_LINK:
            return "link in order";
        case CC_EVENT_POINT:
            return "touch points";
        case CC_EVENT_COORDINATES:
            return "coordinates";
        case CC_EVENT_MOVE_DONE:
            return "moves done";
        case CC_EVENT_EMERGENCY:
            return "emergencies";
        case CC_EVENT_MOVE_REJECTED:
            return "moves rejected";
        default:
            return "other events";
    }
}

}  // namespace

MeasuringSession::MeasuringSession(const SessionOptions &options, std::ostream &log)
    : log_(log), simulated_((options.flags & CC_SIMULATION) != 0) {
    current = this;
    const char *const head = options.headPort.empty() ? nullptr : options.headPort.c_str();
    const uint16_t result = CC_INIT(nullptr, kArm, OnEvent, options.port.c_str(), head, kExtendedStart,
                                    options.linearScale, 1.0, options.flags, options.iniFile.c_str());
    if (result != CC_OK) throw std::runtime_error("CC_INIT failed with code " + std::to_string(result));
    open_ = true;
    ControllerInfo info{};
    if (CC_START(kArm, &info, CC_START_AUTOMATIC) == 0) throw std::runtime_error("CC_START failed");
    log_ << "Arm 1 is open" << (simulated_ ? " in simulation" : " on " + options.port) << ": controller type "
         << info.controllerType << ", level " << info.controllerLevel << "\n";
}

MeasuringSession::~MeasuringSession() {
    if (open_) CC_DONE(kArm, CC_SHUTDOWN_READY);
    current = nullptr;
}

void MeasuringSession::OnEvent(int32_t event, uint32_t info, void *data) {
    if (current != nullptr) current->Note(event, info, data);
}

void MeasuringSession::Note(int32_t event, uint32_t info, const void *data) {
    ++events_[{event, info}];
    if (event != CC_EVENT_POINT) return;
    const auto &point = *static_cast<const PointRecord *>(data);
    touched_[point.tag] = {point.position[0], point.position[1], point.position[2]};
}

void MeasuringSession::AwaitStatus(int16_t status, int seconds, const char *what) {
    for (int passed = 0; CC_GETSTATUS(kArm) != status; passed += kLoopMs) {
        if (passed > seconds * 1000) throw std::runtime_error(std::string(what) + " did not end in time");
        RunLoop(kLoopMs);
    }
}

void MeasuringSession::Zero() {
    if (CC_ZEROES(kArm) == 0) throw std::runtime_error("zeroing was refused");
    ++zeroings_;
    AwaitStatus(CC_STATUS_READY, kZeroingSeconds, "zeroing");
    log_ << "Zeroed\n";
}

void MeasuringSession::StartMeasuring() {
    if (CC_SETSTATUS(kArm, CC_ORDER_MEASURING) == 0) throw std::runtime_error("measuring state was refused");
    AwaitStatus(CC_STATUS_MEASURING, 1, "the change of state");
    if (CC_OPBUF(kArm, CC_OPBUF_RESET) == 0) throw std::runtime_error("the buffer was not reset");
    log_ << "Measuring state, buffer empty\n";
}

void MeasuringSession::TurnHead(double a, double b) {
    if (CC_PHSetPosition(kArm, a, b, 1, 0) == 0) throw std::runtime_error("the head did not turn");
    CC_PHGetPosition(kArm, &a, &b);
    log_ << "Head at A " << a << " B " << b << "\n";
}

void MeasuringSession::File(int16_t mode, const Eigen::Vector3d &target, const ProbingPoint &point) {
    // A probing move takes two places of the history.
    const int16_t places = mode == CC_MOVE_PROBING ? 2 : 1;
    while (CC_CANSEND(kArm, 1) == 0 || CC_CANSEND(kArm, places) == 0) RunLoop(kLoopMs);
    const Eigen::Vector3d approach = -point.direction;
    const double position[6] = {target.x(), target.y(), target.z(), approach.x(), approach.y(), approach.z()};
    CC_MOVE(kArm, mode, position, point.id, 1, nullptr, nullptr, 0);
    ++(mode == CC_MOVE_PROBING ? probingMovesFiled_ : movesFiled_);
}

std::vector<Eigen::Vector3d> MeasuringSession::Probe(const std::vector<ProbingPoint> &points,
                                                     const ProbingMotion &motion) {
    touched_.clear();
    const auto progress = [&] {
        std::printf("\rProbing: %3zu of %zu points", touched_.size(), points.size());
        std::fflush(stdout);
    };
    for (const ProbingPoint &point : points) {
        const Eigen::Vector3d outside = point.nominal + motion.clearance * point.direction;
        const Eigen::Vector3d inside = point.surface - motion.overtravel * point.direction;
        File(CC_MOVE_PLAIN, outside, point);
        File(CC_MOVE_PROBING, inside, point);
        File(CC_MOVE_PLAIN, outside, point);
        progress();
    }
    const int moves = movesFiled_;
    const int limitMs = kProbingSecondsAPoint * 1000;
    size_t seen = touched_.size();
    for (int idle = 0; idle < limitMs; idle += kLoopMs) {
        if (touched_.size() == points.size() && events_[{CC_EVENT_MOVE_DONE, CC_REPORT_MOVE}] == moves) break;
        RunLoop(kLoopMs);
        progress();
        if (touched_.size() != seen) idle = 0;
        seen = touched_.size();
    }
    std::printf("\n");
    std::vector<Eigen::Vector3d> measured;
    for (const ProbingPoint &point : points) {
        const auto found = touched_.find(point.id);
        if (found == touched_.end())
            throw std::runtime_error("point " + std::to_string(point.id) + " did not come back");
        measured.push_back(found->second);
    }
    return measured;
}

bool MeasuringSession::Close() {
    CC_DONE(kArm, CC_SHUTDOWN_READY);
    open_ = false;
    const std::map<std::pair<int32_t, uint32_t>, int> expected = {
        {{CC_EVENT_LINK, CC_LINK_IN_ORDER}, 1},
        {{CC_EVENT_POINT, CC_POINT_BUFFERED}, probingMovesFiled_},
        {{CC_EVENT_MOVE_DONE, CC_REPORT_MOVE}, movesFiled_},
        {{CC_EVENT_MOVE_DONE, CC_REPORT_PROBING_MOVE}, probingMovesFiled_},
    };
    log_ << "\nArm 1 is closed. Events of the session:\n";
    for (const auto &[key, count] : events_) {
        char line[96];
        std::snprintf(line, sizeof line, "  %5d  %s (event %d, info %u)\n", count, EventName(key.first),
                      key.first, key.second);
        log_ << line;
    }
    const bool accounted = events_ == expected;
    log_ << (accounted ? "  each is accounted for\n" : "  these are not the ones that the work explains\n");
    return accounted;
}

}  // namespace cmm
