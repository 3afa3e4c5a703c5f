// Buffered motion of the emulated controller: moves over time, probing, scanning.
#include <algorithm>
#include <cmath>

#include "controller.h"
#include "protocol/little_endian.h"

namespace emulator {
namespace {

using namespace cc;

// Reason, in the acknowledgement, why a probing move brought no point; code of the emergency after a
// collision.
constexpr uint8_t kNothingTouched = 2;
constexpr uint8_t kCollision = 3;

constexpr size_t kScanMatrix =
    6;  // behind the letter: nine elements in billionths, then the offset in counts
constexpr double kSquare = 1e-6;
constexpr double kScanReach = 50;  // mm above and below in which a scan looks for the part

}  // namespace

void Controller::FileMotion(const Command &command) {
    if (state_ != state::kMeasuring) return;
    motion_.push_back(command.message);
    RunMotion();
}

void Controller::ResetBuffer(const Command &command) {
    ForgetMotion();
    AcknowledgeSetting(command);
}

void Controller::ForgetMotion() {
    agenda_.Cancel(motionEnd_);
    motion_.clear();
    moving_ = false;
    machine_.Stop(agenda_.Now());
}

void Controller::RunMotion() {
    if (moving_ || motion_.empty()) return;
    moving_ = true;
    const Command command{motion_.front()};
    switch (command.Number()) {
        case CommandNumber(command::G01):
        case CommandNumber(command::G03):
        case CommandNumber(command::G05):
        case CommandNumber(command::G06):
            return StartMovement(command);
        case CommandNumber(command::G07):
            return ScanStep();
        default:
            SetSpeed(command);
            EndCommand();
    }
}

Machine::Target Controller::TargetOf(const Command &command) const {
    const Machine::Target here = Position();
    const bool incremental = command.Number() == CommandNumber(command::G03);
    Machine::Target target = here;
    for (size_t axis = 0; axis < 3; ++axis) {
        const auto counts = command.Field("XYZ"[axis]);
        if (counts)
            target.linear[axis] = *counts * options_.mmPerCount + (incremental ? here.linear[axis] : 0);
    }
    for (size_t axis = 0; axis < 2; ++axis) {
        const auto counts = command.Field("AB"[axis]);
        if (counts) target.rotary[axis] = *counts + (incremental ? here.rotary[axis] : 0);
    }
    return target;
}

void Controller::StartMovement(const Command &command) {
    const bool probing = command.Number() == CommandNumber(command::G05);
    const Machine::Movement movement =
        machine_.Start(agenda_.Now(), TargetOf(command), probing ? probingSpeed_ : speed_,
                       probing ? Machine::Contact::Probe : Machine::Contact::Avoid);
    motionEnd_ = agenda_.After(movement.duration,
                               [this, probing, movement] { EndMovement(probing, movement.touched); });
}

void Controller::EndMovement(bool probing, bool touched) {
    if (probing && touched) {
        ReportPoint();
        EndCommand();
    } else if (probing) {
        // The host drops everything behind a move that found nothing, and so does the controller.
        const Bytes failed = motion_.front();
        ForgetMotion();
        motion_.push_back(failed);
        EndCommand(kNothingTouched);
    } else if (touched) {
        Collide();
    } else {
        EndCommand();
    }
}

void Controller::Collide() {
    EnterState(state::kEmergency);
    Reply(reply::kEmergency, {kCollision, '1'});
}

void Controller::EndCommand(uint8_t reason) {
    Reply(reply::kBuffered, {0, reason != 0 ? reason : CurrentClass()});
    motion_.pop_front();
    moving_ = false;
    RunMotion();
}

void Controller::ReportPoint() {
    Bytes payload{0, CurrentClass()};
    const Bytes counts = Counts(Position().linear);
    for (size_t axis = 0; axis < 3; ++axis) {
        payload.push_back(static_cast<uint8_t>("XYZ"[axis]));
        payload.insert(payload.end(), counts.begin() + static_cast<std::ptrdiff_t>(4 * axis),
                       counts.begin() + static_cast<std::ptrdiff_t>(4 * axis + 4));
    }
    Reply(reply::kPoint, payload);
}

// Speeds in mm/s: kind 0 of moves, kind 1 of probing moves. Other settings change nothing here.
void Controller::SetSpeed(const Command &command) {
    const int32_t value = command.Field('X').value_or(0);
    if (value <= 0) return;
    if (command.Number() == CommandNumber(command::G30)) speed_ = value;
    if (command.Number() == CommandNumber(command::G37)) probingSpeed_ = value;
}

// ---- scanning: along a line in the scan's X and Y, its Z following the part from above

/// A matrix that is none of right angles, as before the host has set one, leaves the axes as they are.
void Controller::TakeScanAxes(const Command &command) {
    std::array<Vector, 3> axes{};
    for (size_t i = 0; i < 9; ++i) axes[i / 3][i % 3] = command.Long(kScanMatrix + 4 * i) * 1e-9;
    bool square = true;
    for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j)
            square = square && std::abs(Dot(axes[i], axes[j]) - (i == j ? 1 : 0)) < kSquare;
    }
    if (!square) return;
    scanAxes_ = axes;
    for (size_t i = 0; i < 3; ++i)
        scanOrigin_[i] = command.Long(kScanMatrix + 36 + 4 * i) * options_.mmPerCount;
}

void Controller::TakeScanParameters(const Command &command) {
    if (command.Number() == CommandNumber(command::S50)) TakeScanAxes(command);
    if (command.Number() == CommandNumber(command::S52)) {
        scanTarget_[0] = command.Field('X').value_or(0) * options_.mmPerCount;
        scanTarget_[1] = command.Field('Y').value_or(0) * options_.mmPerCount;
        const double step = command.Field('M').value_or(0) * options_.mmPerCount;
        scanStep_ = step > 0 ? step : 1;
    }
    AcknowledgeSetting(command);
}

void Controller::ScanStep() {
    const Vector here = Position().linear;
    const Vector seen = here - scanOrigin_;
    const double x = scanTarget_[0] - Dot(seen, scanAxes_[0]), y = scanTarget_[1] - Dot(seen, scanAxes_[1]);
    const Vector way = x * scanAxes_[0] + y * scanAxes_[1];
    const double left = Length(way);
    if (left < options_.mmPerCount) return EndCommand();
    Machine::Target next = Position();
    next.linear = here + (std::min(scanStep_, left) / left) * way;
    if (const Part *const part = machine_.ThePart()) {
        const Vector above = next.linear + kScanReach * scanAxes_[2];
        const Vector below = next.linear - kScanReach * scanAxes_[2];
        next.linear = part->Touch(above, below).value_or(next.linear);
    }
    const auto movement = machine_.Start(agenda_.Now(), next, options_.scanSpeed, Machine::Contact::Follow);
    motionEnd_ = agenda_.After(movement.duration, [this] {
        ReportPoint();
        ScanStep();
    });
}

void Controller::StopScan(const Command &) {
    if (motion_.empty() || Command{motion_.front()}.Number() != CommandNumber(command::G07)) return;
    agenda_.Cancel(motionEnd_);
    machine_.Stop(agenda_.Now());
    EndCommand();
}

}  // namespace emulator
