// The orders: what is begun, what goes into the library's buffer, how all of it is stopped.
#include "dme/library_machine.h"

#include <algorithm>
#include <cmath>

#include "format.h"
#include "machine/machine_words.h"

namespace cmm::dme {
namespace {

using emulator::Format;
using std::chrono::milliseconds;
using std::chrono::seconds;

// A probing order files so much at most: two speeds, approach, search (of two entries), retract.
constexpr int16_t kMostPlaces = 6;
constexpr int kFastest = 32767;
constexpr auto kLongestZeroing = seconds(300);
constexpr auto kHeldLoopPeriod = milliseconds(100);
constexpr auto kLongestTurn = seconds(25);
constexpr auto kLongestStop = seconds(2);
constexpr auto kReleaseTime = seconds(5);  // nobody releases an emergency at once
constexpr double kAtRest = 0.001;          // mm between two reports
constexpr double kSameAngle = 0.05;        // degrees

}  // namespace

bool LibraryMachine::IsMotion(const Work &work) {
    return std::holds_alternative<MoveOrder>(work) || std::holds_alternative<ProbeOrder>(work) ||
           std::holds_alternative<TableWork>(work);
}

void LibraryMachine::Add(OrderNumber number, Work work) {
    orders_.push_back({number, std::move(work)});
}

void LibraryMachine::Advance(Time now) {
    now_ = now;
    if (!MayRunLoop() && now_ - askedAt_ >= kHeldLoopPeriod) Listen();
    TakeNews();
    Check();
    if (stopping_) return CarryStop();
    CarryOn();
    Ask();
}

void LibraryMachine::CarryOn() {
    while (!orders_.empty() && !stopping_ && !returning_ && !IsMotion(orders_.front().work)) {
        const Progress progress =
            std::visit([this](auto &work) { return Carry(work); }, orders_.front().work);
        if (progress == Progress::Open) return;
        if (progress == Progress::Done) FinishFirst();
    }
    if (!stopping_ && !returning_) FileAhead();
}

void LibraryMachine::FinishFirst() {
    const OrderNumber number = orders_.front().number;
    orders_.pop_front();
    if (filedOrders_ > 0) --filedOrders_;
    listener_->OnDone(number);
}

LibraryMachine::Progress LibraryMachine::FailAll(const MachineTrouble &trouble) {
    options_.log("failed: " + trouble.words);
    std::deque<Order> failed;
    failed.swap(orders_);
    DropMotion();
    if (failed.empty()) {
        listener_->OnTrouble(trouble);
        return Progress::Failed;
    }
    listener_->OnFailed(failed.front().number, trouble);
    failed.pop_front();
    for (const Order &order : failed) listener_->OnFailed(order.number, {Trouble::AfterFailure, ""});
    return Progress::Failed;
}

void LibraryMachine::DropMotion() {
    if (!filed_.empty() || scanning_) leftovers_ = true;
    CC_BUFFRESET(kArm);
    filed_.clear();
    filedOrders_ = 0;
    returning_.reset();
    stateOrderedAt_.reset();
    scanning_ = zeroing_ = false;
}

std::optional<MachineTrouble> LibraryMachine::Hindrance() const {
    if (linkLost_) return MachineTrouble{Trouble::LinkLost, "the link to the controller is lost"};
    if (emergency_) return MachineTrouble{Trouble::Emergency, emergencyWords_};
    if (held_) return MachineTrouble{Trouble::Held, "the machine is held at its panel"};
    return std::nullopt;
}

// ---- motion

/// One order at a time: the library's next run sends all that is filed, which takes some 35 ms a message.
void LibraryMachine::FileAhead() {
    if (filedOrders_ == orders_.size() || !IsMotion(orders_[filedOrders_].work)) return;
    if (EnsureMeasuring() != Progress::Done || !HasRoom()) return;
    File(orders_[filedOrders_]);
    ++filedOrders_;
}

bool LibraryMachine::HasRoom() const {
    return CC_CANSEND(kArm, 1) != 0 && CC_CANSEND(kArm, kMostPlaces) != 0;
}

LibraryMachine::Progress LibraryMachine::EnsureMeasuring() {
    if (const auto trouble = Hindrance()) return FailAll(*trouble);
    userEnabled_ = false;
    if (CC_GETSTATUS(kArm) == CC_STATUS_MEASURING) {
        stateOrderedAt_.reset();
        return leftovers_ ? Progress::Open : Progress::Done;
    }
    if (stateOrderedAt_ && now_ - *stateOrderedAt_ > kStateTime)
        return FailAll({Trouble::Held, "the controller does not go to measuring state; it is " +
                                           StatusWord(CC_GETSTATUS(kArm))});
    if (stateOrderedAt_) return Progress::Open;
    stateOrderedAt_ = now_;
    if (CC_GETSTATUS(kArm) == CC_STATUS_STOPPED) CC_SETSTATUS(kArm, CC_ORDER_READY);
    if (CC_SETSTATUS(kArm, CC_ORDER_MEASURING) != 0 && CC_GETSTATUS(kArm) == CC_STATUS_MEASURING)
        leftovers_ = CC_OPBUF(kArm, CC_OPBUF_RESET) == 0;
    speed_[0] = speed_[1] = -1;
    return CC_GETSTATUS(kArm) == CC_STATUS_MEASURING && !leftovers_ ? Progress::Done : Progress::Open;
}

void LibraryMachine::File(const Order &order) {
    if (filed_.empty()) lastNews_ = now_;
    if (const auto *const move = std::get_if<MoveOrder>(&order.work)) {
        FileSpeed(CC_SPEED_0, move->motion.speed);
        FileMove(CC_MOVE_PLAIN, move->target, 0, true);
    } else if (const auto *const probe = std::get_if<ProbeOrder>(&order.work)) {
        FileSpeed(CC_SPEED_0, probe->travel.speed);
        FileSpeed(CC_SPEED_1, probe->search.speed);
        FileMove(CC_MOVE_PLAIN, probe->approach, 0, false);
        FileMove(CC_MOVE_PROBING, options_.arm.simulation ? probe->nominal : probe->searchEnd,
                 PointId(order.number), false);
        FileRetract(*probe);
    } else if (const auto *const table = std::get_if<TableWork>(&order.work)) {
        const double position[6] = {ForCounts(table->angle / options_.tableUnit)};
        CC_MOVERT(kArm, position, 0, 0);
        filed_.push_back({Filed::Kind::Move, true, {}});
    }
}

/// The library cuts off what is less than a count, of a whole one too when it lies a hair below.
double LibraryMachine::ForCounts(double counts) const {
    const double whole = std::round(counts);
    return (whole + std::copysign(0.25, whole)) * options_.arm.linearScale;
}

void LibraryMachine::FileMove(int16_t mode, const Eigen::Vector3d &target, uint32_t pointId, bool last) {
    const double scale = options_.arm.linearScale;
    const double position[6] = {ForCounts(target.x() / scale), ForCounts(target.y() / scale),
                                ForCounts(target.z() / scale)};
    const bool search = mode == CC_MOVE_PROBING;
    CC_MOVE(kArm, mode, position, pointId, 1, nullptr, nullptr, 0);
    filed_.push_back({search ? Filed::Kind::Search : Filed::Kind::Move, last, {}});
    if (!search) filed_.back().target = target;
    options_.log(
        Format("%s to X %.4f Y %.4f Z %.4f", search ? "search" : "move", target.x(), target.y(), target.z()));
}

/// From the touch on: known beforehand only as a way, not as a place.
void LibraryMachine::FileRetract(const ProbeOrder &order) {
    if (order.retract < 0) return FileMove(CC_MOVE_PLAIN, order.approach, 0, true);
    const Eigen::Vector3d way = order.retract * order.direction;
    // The simulator does not answer moves by a way. It has touched at the nominal place.
    if (options_.arm.simulation) return FileMove(CC_MOVE_PLAIN, order.nominal + way, 0, true);
    const double scale = options_.arm.linearScale;
    const double position[6] = {ForCounts(way.x() / scale), ForCounts(way.y() / scale),
                                ForCounts(way.z() / scale)};
    CC_MOVEINCR(kArm, position, 0, 0);
    filed_.push_back({Filed::Kind::Move, true, {}});
    options_.log(Format("retract by X %.4f Y %.4f Z %.4f", way.x(), way.y(), way.z()));
}

void LibraryMachine::FileSpeed(int16_t kind, double speed) {
    const auto value =
        static_cast<int16_t>(std::clamp(std::round(speed / options_.speedUnit), 1.0, double{kFastest}));
    if (speed_[kind] == value) return;
    speed_[kind] = value;
    CC_SPEED(kArm, kind, value);
    filed_.push_back({Filed::Kind::Setting, false, {}});
}

// ---- what needs a machine that stands

LibraryMachine::Progress LibraryMachine::Carry(HomeWork &work) {
    const int16_t status = CC_GETSTATUS(kArm);
    if (!work.begun) {
        if (const auto trouble = Hindrance()) return FailAll(*trouble);
        if (status == CC_STATUS_MEASURING) CC_SETSTATUS(kArm, CC_ORDER_READY);
        options_.log("zeroing");
        userEnabled_ = false;
        zeroing_ = CC_ZEROES(kArm) != 0;
        if (!zeroing_)
            return FailAll({Trouble::ZeroingFailed,
                            "zeroing was refused; the controller is " + StatusWord(CC_GETSTATUS(kArm))});
        work = {true, now_};
        return Progress::Open;
    }
    if (now_ - work.since > kLongestZeroing)
        return FailAll({Trouble::ZeroingFailed, "zeroing did not end in five minutes"});
    if (status == CC_STATUS_STOPPED && !held_)
        return FailAll({Trouble::ZeroingFailed, "zeroing was broken off: the controller is stopped"});
    if (status != CC_STATUS_READY) return Progress::Open;
    zeroing_ = false;
    homed_ = true;
    return Progress::Done;
}

LibraryMachine::Progress LibraryMachine::Carry(const UserWork &work) {
    if (work.enable) {
        if (linkLost_ || emergency_) return FailAll(*Hindrance());
        if (CC_GETSTATUS(kArm) == CC_STATUS_MEASURING) CC_SETSTATUS(kArm, CC_ORDER_READY);
    }
    userEnabled_ = work.enable;
    return Progress::Done;
}

LibraryMachine::Progress LibraryMachine::Carry(ScanWork &work) {
    if (work.begun && !options_.arm.simulation) return Progress::Open;
    if (!fitted_.scanning) return FailAll({Trouble::NotFitted, "scanning"});
    const Progress measuring = EnsureMeasuring();
    if (measuring != Progress::Done) return measuring;
    if (options_.arm.simulation) return Simulate(work);
    const ScanOrder &order = work.order;
    double matrix[9];
    for (int i = 0; i < 9; ++i) matrix[i] = order.axes(i / 3, i % 3);
    const double none = 0;
    L2S_SetRotMatrix(matrix, order.origin.data());
    L2S_SetTipRad(&order.tipRadius);
    L2S_SetTargetPoint(order.target.data(), order.target.data() + 1);
    L2S_SetMaxMinStep(&order.step, &none);
    L2S_SetTreshold(&none);
    options_.log(Format("scan to %.4f %.4f in its plane", order.target[0], order.target[1]));
    if (L2S_StartScan() == 0)
        return orders_.empty() ? Progress::Failed
                               : FailAll({Trouble::Scan, "the controller refused the scan"});
    work.begun = scanning_ = true;
    lastNews_ = now_;
    return Progress::Open;
}

/// The simulator ends a scan at once, without a point. It does touch where it is told to.
LibraryMachine::Progress LibraryMachine::Simulate(ScanWork &work) {
    work.begun = true;
    const ScanOrder &order = work.order;
    const int steps = std::max(1, static_cast<int>(std::ceil(order.target.norm() / order.step - 1e-9)));
    for (; work.filed <= steps && HasRoom(); ++work.filed) {
        const Eigen::Vector2d place = order.target * work.filed / steps;
        const Eigen::Vector3d seen(place.x(), place.y(), 0);
        FileMove(CC_MOVE_PROBING, order.origin + order.axes.transpose() * seen,
                 PointId(orders_.front().number), work.filed == steps);
    }
    return Progress::Open;
}

LibraryMachine::Progress LibraryMachine::Carry(HeadWork &work) {
    if (!head_) return FailAll({Trouble::NotFitted, "there is no probe head"});
    if (!work.begun) {
        const bool there =
            std::abs(position_.a - work.a) < kSameAngle && std::abs(position_.b - work.b) < kSameAngle;
        if (there && headKnown_) return Progress::Done;
        if (head_->IsBusy()) return FailAll({Trouble::Head, "the probe head does not answer"});
        options_.log(Format("head to A %.1f B %.1f", work.a, work.b));
        headKnown_ = false;
        head_->Begin(work.a, work.b);
        work.begun = true;
        work.since = now_;
    }
    if (const int code = ProbeHead::ErrorCode(); code != 0 && !options_.waitsForHead)
        return FailAll({Trouble::Head, EmergencyCause(static_cast<uint8_t>(code))});
    if (!head_->IsBusy()) {
        if (!head_->HasTurned()) return FailAll({Trouble::Head, "the probe head did not turn"});
        position_.a = work.a;
        position_.b = work.b;
        headKnown_ = true;
        return Progress::Done;
    }
    if (now_ - work.since > kLongestTurn) return FailAll({Trouble::Head, "the probe head does not answer"});
    return Progress::Open;
}

LibraryMachine::Progress LibraryMachine::Carry(PositionWork &work) {
    if (linkLost_) return FailAll(*Hindrance());
    if (work.answer == 0) {
        work.answer = asked_ + 1;
        Ask();
    }
    if (answered_ < work.answer && !emergency_) return Progress::Open;
    const OrderNumber number = orders_.front().number;
    listener_->OnPosition(number, position_);
    return !orders_.empty() && orders_.front().number == number ? Progress::Done : Progress::Failed;
}

LibraryMachine::Progress LibraryMachine::Carry(RecoverWork &work) {
    if (linkLost_ || held_) return FailAll(*Hindrance());
    const int16_t status = CC_GETSTATUS(kArm);
    if (status != CC_STATUS_STOPPED) {
        emergency_ = false;
        return Progress::Done;
    }
    if (!work.since) work.since = now_;
    // By itself it tells that it is released; a controller that waits for the host's order then does not.
    const auto patience = emergency_ ? kReleaseTime : kStateTime;
    if (now_ - *work.since < patience) return Progress::Open;
    if (!work.ordered) {
        work.ordered = true;
        if (CC_SETSTATUS(kArm, CC_ORDER_READY) != 0) return Progress::Open;
    }
    return FailAll({emergency_ ? Trouble::Emergency : Trouble::Held,
                    emergency_ ? emergencyWords_ + ", and it is not released" : "the controller is stopped"});
}

// ---- stopping

void LibraryMachine::Stop() {
    if (stopping_) return;
    options_.log("stop");
    stopping_ = true;
    stopOrdered_ = false;
    stoppedAt_.reset();
}

void LibraryMachine::OrderStop() {
    stopOrdered_ = true;
    stopSince_ = now_;
    if (scanning_) L2S_StopScan();
    const bool runs = !filed_.empty() || scanning_ || zeroing_ || leftovers_ || returning_;
    DropMotion();
    if (linkLost_ || emergency_ || !runs) return;
    // The buffer first: that stops the machine, the state only keeps it so.
    if (CC_GETSTATUS(kArm) == CC_STATUS_MEASURING) leftovers_ = CC_OPBUF(kArm, CC_OPBUF_RESET) == 0;
    CC_SETSTATUS(kArm, CC_ORDER_STOPPED);
}

void LibraryMachine::CarryStop() {
    if (!stopOrdered_) {
        OrderStop();
        stopAnswer_ = asked_ + 1;
    }
    bool stands = linkLost_ || emergency_ || now_ - stopSince_ > kLongestStop;
    if (!stands && answered_ >= stopAnswer_) {
        stands = stoppedAt_ && (*stoppedAt_ - position_.point).norm() < kAtRest;
        stoppedAt_ = position_.point;
        stopAnswer_ = asked_ + 1;
    }
    if (!stands) return Ask();
    std::deque<Order> stopped;
    stopped.swap(orders_);
    stopping_ = false;
    for (const Order &order : stopped) listener_->OnFailed(order.number, {Trouble::Stopped, "stopped"});
    listener_->OnStopped();
}

}  // namespace cmm::dme
