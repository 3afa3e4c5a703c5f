// Opening and closing, and what the library tells in between.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "dme/library_machine.h"
#include "format.h"
#include "machine/machine_words.h"
#include "machine/worker_loop.h"

namespace cmm::dme {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int16_t kHeadArm = 2;
constexpr int16_t kExtendedStart = 1;
constexpr int kTableAxis = 3;
constexpr int kStartTurns = 200;
constexpr int kTurnMs = 10;
constexpr uint32_t kNothingTouched = 2;  // reason of a rejection
constexpr uint8_t kCollision = 3;        // code of an emergency
constexpr uint32_t kFirstReportTag = 65504;
constexpr auto kWatchPeriod = milliseconds(100);
constexpr auto kMovingPeriod = seconds(1);
constexpr auto kRestingPeriod = seconds(2);
constexpr auto kLongestAnswer = seconds(5);
// A machine with moves to execute that stands still for this long has been stopped by something.
constexpr auto kLongestRest = seconds(20);

LibraryMachine *current = nullptr;  // the library's callback has no argument of the client's
std::atomic<bool> acknowledgementMissed{false};

void OnBox(const char *, void *) {
    acknowledgementMissed = true;
}

Eigen::Vector3d PlaceOf(const PointRecord &point) {
    return {point.position[0], point.position[1], point.position[2]};
}

}  // namespace

// ---- opening and closing

LibraryMachine::LibraryMachine(LibraryMachineOptions options) : options_(std::move(options)) {
    current = this;
    acknowledgementMissed = false;
    TakeBoxes(OnBox);
    try {
        Open();
    } catch (...) {
        Close();
        throw;
    }
}

LibraryMachine::~LibraryMachine() {
    Close();
}

void LibraryMachine::Open() {
    const ArmOptions &arm = options_.arm;
    const auto flags = static_cast<uint16_t>(arm.simulation ? CC_SIMULATION | CC_SIMULATED_HEAD : 0);
    const char *const headPort =
        options_.waitsForHead && !arm.headPort.empty() ? arm.headPort.c_str() : nullptr;
    const uint16_t result = CC_INIT(nullptr, kArm, OnEvent, arm.port.c_str(), headPort, kExtendedStart,
                                    arm.linearScale, options_.tableUnit, flags, arm.iniFile.c_str());
    if (result != CC_OK) throw OpeningFailure(result, arm.port, "controller");
    open_ = true;
    int16_t headArm = kArm;
    if (arm.simulation || headPort != nullptr) {
        head_ = std::make_unique<WaitingHead>();
    } else if (!arm.headPort.empty()) {
        head_ = std::make_unique<ThreadedHead>(arm.headPort, arm.iniFile);
        headArm = kHeadArm;
    }
    ControllerInfo info{};
    if (CC_START(kArm, &info, CC_START_AUTOMATIC) == 0)
        throw Failure(kNotReached, "the controller was not started", "Switch it off and on and try again.");
    // A controller that is stopped is made ready by the library itself.
    for (int i = 0; i < kStartTurns && CC_GETSTATUS(kArm) != CC_STATUS_READY; ++i) RunLoop(kTurnMs);
    if (head_) {
        CC_PHGetPosition(headArm, &position_.a, &position_.b);
        headKnown_ = position_.a != -1.0 && position_.b != -1.0;
        if (!headKnown_) position_.a = position_.b = 0;
    }
    fitted_.head = head_ != nullptr;
    fitted_.scanning = true;
    const uint16_t table = info.axes[kTableAxis].kind;
    fitted_.rotaryTable = table != CC_AXIS_NONE && table != CC_AXIS_LINEAR;
    CC_GETCOORD(kArm);
    for (const News &news : news_)
        if (news.event == CC_EVENT_COORDINATES && news.point.tag == CC_TAG_MACHINE)
            position_.point = PlaceOf(news.point);
    news_.clear();
}

void LibraryMachine::Close() {
    if (open_) {
        if (!filed_.empty() || scanning_ || zeroing_) OrderStop();
        if (head_) head_->BeginClosing();
        CC_DONE(kArm, emergency_ || linkLost_ ? CC_SHUTDOWN_EMERGENCY : CC_SHUTDOWN_READY);
    }
    open_ = false;
    head_.reset();
    current = nullptr;
    TakeBoxes(nullptr);
}

// ---- events

void LibraryMachine::OnEvent(int32_t event, uint32_t info, void *data) {
    if (current == nullptr) return;
    News news{event, info, {}, 0, EventWords(event, info, data)};
    const bool isPoint = event == CC_EVENT_POINT || event == CC_EVENT_COORDINATES ||
                         event == CC_EVENT_POSITION || event == CC_EVENT_SCAN_POINT;
    if (data != nullptr && isPoint)
        news.point = *static_cast<const PointRecord *>(data);
    else if (event == CC_EVENT_EMERGENCY || event == CC_EVENT_EMERGENCY_51)
        news.payload = EmergencyCode(info, data);
    else if (data != nullptr)
        news.payload = *static_cast<const uint8_t *>(data);
    current->news_.push_back(std::move(news));
}

void LibraryMachine::TakeNews() {
    while (!news_.empty()) {
        const News news = std::move(news_.front());
        news_.pop_front();
        Take(news);
    }
}

void LibraryMachine::Take(const News &news) {
    if (news.event != CC_EVENT_COORDINATES) options_.log(news.words);
    switch (news.event) {
        case CC_EVENT_COORDINATES:
            return TakePosition(news);
        case CC_EVENT_POINT:
            return TakePoint(news);
        case CC_EVENT_SCAN_POINT:
            return TakeScanPoint(news);
        case CC_EVENT_MOVE_DONE:
            return TakeEndOfMove();
        case CC_EVENT_SCAN_END:
            return TakeEndOfScan();
        case CC_EVENT_MOVE_REJECTED:
            return TakeRejection(news);
        case CC_EVENT_LINK:
            return TakeLink(news);
        case CC_EVENT_EMERGENCY:
        case CC_EVENT_EMERGENCY_51:
            emergency_ = true;
            emergencyWords_ = "emergency: " + EmergencyCause(news.payload);
            asked_ = answered_;
            FailAll({news.payload == kCollision ? Trouble::Collision : Trouble::Emergency, emergencyWords_});
            return;
        case CC_EVENT_HOLD:
            if (news.payload == CC_WORD_START) return;  // the operator is asked for his start
            held_ = true;
            FailAll({Trouble::Held, news.words});
            return;
        case CC_EVENT_RESUME:
            return TakeResume(news);
        default:
            return;
    }
}

void LibraryMachine::TakePosition(const News &news) {
    if (news.point.tag == CC_TAG_WRIST) {
        if (news.point.position[0] != position_.table) lastNews_ = now_;
        position_.table = news.point.position[0];
        return;
    }
    const Eigen::Vector3d place = PlaceOf(news.point);
    if (place != position_.point) lastNews_ = now_;
    position_.point = place;
    if (answered_ < asked_) ++answered_;
    if (watched_) listener_->OnPosition(0, position_);
}

void LibraryMachine::TakePoint(const News &news) {
    lastNews_ = now_;
    if (news.info != CC_POINT_BUFFERED) return listener_->OnManualTouch(PlaceOf(news.point));
    if (news.point.tag >= kFirstReportTag) {
        FailAll({Trouble::Collision, "the probe touched on a plain move"});
        return;
    }
    if (orders_.empty() || PointId(orders_.front().number) != news.point.tag) return;
    position_.point = PlaceOf(news.point);
    if (std::holds_alternative<ProbeOrder>(orders_.front().work))
        listener_->OnTouched(orders_.front().number, position_.point);
    else if (std::holds_alternative<ScanWork>(orders_.front().work))
        listener_->OnScanned(orders_.front().number, position_.point);
}

void LibraryMachine::TakeScanPoint(const News &news) {
    lastNews_ = now_;
    if (orders_.empty()) return;
    auto *const scan = std::get_if<ScanWork>(&orders_.front().work);
    if (scan == nullptr || !scan->begun) return;
    scan->last = position_.point = PlaceOf(news.point);
    listener_->OnScanned(orders_.front().number, *scan->last);
}

/// A scan that the controller gave up ends as one that reached its target does.
void LibraryMachine::TakeEndOfScan() {
    scanning_ = false;
    if (stopping_ || orders_.empty()) return;
    const auto *const scan = std::get_if<ScanWork>(&orders_.front().work);
    if (scan == nullptr || !scan->begun) return;
    const ScanOrder &order = scan->order;
    const Eigen::Vector3d end = order.axes * (scan->last.value_or(order.origin) - order.origin);
    if ((end.head<2>() - order.target).norm() > order.step) {
        FailAll({Trouble::Scan, "the scan ended before its target"});
        return;
    }
    FinishFirst();
}

void LibraryMachine::TakeEndOfMove() {
    lastNews_ = now_;
    if (filed_.empty()) return;  // of what was dropped
    const bool last = filed_.front().last;
    if (filed_.front().target) {
        position_.point = *filed_.front().target;
        if (watched_) listener_->OnPosition(0, position_);
    }
    filed_.pop_front();
    if (!last || stopping_) return;
    if (!returning_) return FinishFirst();
    const MachineTrouble trouble = *returning_;
    FailAll(trouble);
}

void LibraryMachine::TakeRejection(const News &news) {
    if (news.info == CC_LINK_LOST || stopping_) return;  // the loss of the link was told
    const bool searched =
        news.info == kNothingTouched && !filed_.empty() && filed_.front().kind == Filed::Kind::Search;
    if (!searched || returning_ || CC_GETSTATUS(kArm) != CC_STATUS_MEASURING) {
        FailAll({Trouble::Rejected, news.words});
        return;
    }
    // The library has dropped its buffer; what the controller acknowledges of it would be taken for what comes now.
    CC_OPBUF(kArm, CC_OPBUF_RESET);
    filed_.clear();
    filedOrders_ = 0;
    returning_ = MachineTrouble{Trouble::SurfaceNotFound, news.words + ": the probe met nothing"};
    lastNews_ = now_;
    FileMove(CC_MOVE_PLAIN, std::get<ProbeOrder>(orders_.front().work).approach, 0, true);
}

void LibraryMachine::TakeLink(const News &news) {
    linkLost_ = news.info != CC_LINK_IN_ORDER;
    asked_ = answered_;
    if (linkLost_) FailAll({Trouble::LinkLost, "the link to the controller is lost"});
}

void LibraryMachine::TakeResume(const News &news) {
    held_ = false;
    resumed_ = lastNews_ = now_;
    if (news.payload != CC_WORD_RESET) return;
    homed_ = headKnown_ = false;
    FailAll({Trouble::Held, news.words});
}

// ---- what the library does not tell

void LibraryMachine::Check() {
    const int16_t status = CC_GETSTATUS(kArm);
    if (emergency_ && status != CC_STATUS_STOPPED) emergency_ = false;
    const bool lost = acknowledgementMissed.exchange(false);
    if (lost && !linkLost_) {
        linkLost_ = true;
        FailAll({Trouble::LinkLost, "the controller no longer acknowledges what it is sent"});
    }
    if (leftovers_ && !linkLost_ && !stopping_) {
        leftovers_ = status == CC_STATUS_MEASURING && CC_OPBUF(kArm, CC_OPBUF_RESET) == 0;
    }
    if (asked_ != answered_ && now_ - askedAt_ > kLongestAnswer && !zeroing_) {
        asked_ = answered_;
        FailAll({Trouble::LinkLost, "the controller does not tell where the machine is"});
    }
    if ((filed_.empty() && !scanning_) || stopping_) return;
    if (status != CC_STATUS_MEASURING && !held_ && now_ - resumed_ > kStateTime)
        FailAll({Trouble::Held, "the controller left measuring state; it is " + StatusWord(status)});
    else if (now_ - lastNews_ > kLongestRest)
        FailAll({Trouble::Held, "the machine stands still"});
}

/// Asks for the position when it is due. Sent without waiting: the answer comes as an event.
void LibraryMachine::Ask() {
    const bool wanted =
        stopping_ || (!orders_.empty() && std::holds_alternative<PositionWork>(orders_.front().work));
    const Time period = wanted                     ? Time(0)
                        : watched_ || userEnabled_ ? kWatchPeriod
                        : orders_.empty()          ? Time(kRestingPeriod)
                                                   : Time(kMovingPeriod);
    if (linkLost_ || emergency_ || zeroing_ || asked_ != answered_ || now_ - askedAt_ < period) return;
    if (!MayRunLoop()) return;
    static constexpr uint8_t kTable[] = {2, 1, 'B'}, kPosition[] = {2, 1, 'A'};
    if (fitted_.rotaryTable) CC_FREEFRAME(kArm, kTable, sizeof kTable, CC_FRAME_QUEUED, 0);
    ++asked_;
    askedAt_ = now_;
    CC_FREEFRAME(kArm, kPosition, sizeof kPosition, CC_FRAME_QUEUED, 0);
}

/// While the loop stands still: a question that is waited for takes in what the controller has to say.
void LibraryMachine::Listen() {
    askedAt_ = now_;
    if (linkLost_ || zeroing_) return;
    ++asked_;
    CC_GETCOORD(kArm);
}

}  // namespace cmm::dme
