#include "machine.h"

#include <algorithm>

namespace emulator {
namespace {

// A movement that leaves the part may touch it on this first way.
constexpr double kLeaving = 0.2;  // mm

// Rotary axes count seconds of arc, and turn as many degrees as the linear ones go millimetres.
constexpr double kCountsPerDegree = 3600;

double Between(double from, double to, double share) {
    return from + share * (to - from);
}

}  // namespace

Machine::Target Machine::PositionAt(int64_t now) const {
    if (now >= end_) return to_;
    const double share = static_cast<double>(now - begin_) / static_cast<double>(end_ - begin_);
    Target position = from_;
    position.linear = from_.linear + share * (to_.linear - from_.linear);
    for (int i = 0; i < 2; ++i) position.rotary[i] = Between(from_.rotary[i], to_.rotary[i], share);
    return position;
}

Machine::Movement Machine::Start(int64_t now, const Target &target, double speed, Contact contact) {
    from_ = PositionAt(now);
    to_ = target;
    Movement movement;
    const Vector way = to_.linear - from_.linear;
    const double length = Length(way);
    const double leaving = contact == Contact::Avoid ? kLeaving : 0;
    if (part_ && contact != Contact::Follow && length > leaving) {
        if (const auto touch = part_->Touch(from_.linear + (leaving / length) * way, to_.linear)) {
            to_.linear = *touch;
            movement.touched = true;
        }
    }
    double distance = Length(to_.linear - from_.linear);
    for (int i = 0; i < 2; ++i)
        distance = std::max(distance, std::abs(to_.rotary[i] - from_.rotary[i]) / kCountsPerDegree);
    movement.duration = static_cast<int64_t>(distance / speed * kSecond);
    begin_ = now;
    end_ = now + movement.duration;
    return movement;
}

void Machine::Stop(int64_t now) {
    to_ = from_ = PositionAt(now);
    begin_ = end_ = now;
}

void Machine::Zero(int64_t now) {
    from_ = to_ = {};
    begin_ = end_ = now;
}

}  // namespace emulator
