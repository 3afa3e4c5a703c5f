#include "exchange/point_reports.h"

#include <algorithm>

#include "platform/floating_point.h"
#include "protocol/little_endian.h"
#include "replies/notifications.h"

namespace cc {
namespace {

// Point reports longer than this carry a second point.
constexpr uint16_t kPlainPointBytes = 20;

// Byte of the point report that holds the kind, or the direction bits.
constexpr int kPointKind = 4;

constexpr uint32_t kMachineTag = 0;
constexpr uint32_t kWristTag = 1;

// Three counts, at first, first + step, first + 2 step of the reply, into an array of the client's axes.
void Convert(const AxisState &axes, const uint8_t *reply, int first, int step, double *target) {
    const platform::FloatingPointScope scope;
    const double scale = scope.Confined(axes.linearScale);
    for (int k = 0; k < 3; ++k) {
        const double value = ReadI32(reply + first + k * step) * scale * axes.axisSign[k];
        target[axes.axisSlot[k]] = scope.Confined(value);
    }
}

// The same for the two wrist angles.
void ConvertWrist(const AxisState &axes, const uint8_t *reply, int first, double *target) {
    const platform::FloatingPointScope scope;
    const double scale = scope.Confined(axes.wristScale);
    for (int k = 0; k < 2; ++k) {
        const double value = ReadI32(reply + first + 4 * k) * scale;
        target[axes.axisSlot[k]] = scope.Confined(value);
    }
}

// Two bits an axis: the lower one plus, the upper one minus.
void DecodeDirection(uint8_t bits, double *approach) {
    for (int axis = 0; axis < 3; ++axis) {
        const int axisBits = bits >> (2 * axis) & 3;
        approach[axis] = (axisBits & 1) != 0 ? 1.0 : (axisBits & 2) != 0 ? -1.0 : 0.0;
    }
}

bool HasWidePointReport(uint16_t controllerType) {
    return controllerType == 0 || controllerType == 4 || controllerType == 16;
}

uint16_t ReportBufferedPoint(ArmContext &arm, const uint8_t *reply) {
    PointRecord &point = arm.replies.pointRecord;
    const MoveHistoryEntry &entry = OldestEntry(arm.motion);
    point.kind = static_cast<int8_t>(reply[kPointKind]);
    point.tag = entry.tag;
    std::copy_n(entry.approach, 3, point.approach);
    ConsumeOldestEntry(arm.motion);
    return info::kPointBuffered;
}

uint16_t ReportFreePoint(ArmContext &arm, const uint8_t *reply, uint16_t length) {
    PointRecord &point = arm.replies.pointRecord;
    DecodeDirection(reply[kPointKind], point.approach);
    if (length <= kPlainPointBytes) return info::kPointPlain;
    const int first = HasWidePointReport(arm.replies.controllerInfo.controllerType) ? 30 : 20;
    Convert(arm.axes, reply, first, 4, point.second);
    return info::kPointWithSecond;
}

}  // namespace

void ReportPoint(ArmContext &arm, const uint8_t *reply, uint16_t length) {
    ReplyState &replies = arm.replies;
    PointRecord &point = replies.pointRecord;
    const MoveHistoryEntry &entry = OldestEntry(arm.motion);
    const bool waiting = entry.inUse;
    const bool scanning = waiting && entry.tag == kScanTag;
    const bool buffered = waiting && replies.controllerState == state::kMeasuring;
    uint16_t infoWord = 0;
    if (!scanning)
        infoWord = buffered ? ReportBufferedPoint(arm, reply) : ReportFreePoint(arm, reply, length);
    Convert(arm.axes, reply, 6, 5, point.position);
    Notify(replies, scanning ? CC_EVENT_SCAN_POINT : CC_EVENT_POINT, infoWord, &point);
}

void ReportPosition(ArmContext &arm, const uint8_t *reply) {
    PointRecord &point = arm.replies.pointRecord;
    Convert(arm.axes, reply, 4, 5, point.position);
    Notify(arm.replies, CC_EVENT_POSITION, 0, &point);
}

void ReportCoordinates(ArmContext &arm, const uint8_t *reply) {
    PointRecord &point = arm.replies.pointRecord;
    if (reply[at::kReplyPayload] == 'A') {
        point.tag = kMachineTag;
        Convert(arm.axes, reply, 4, 4, point.position);
    } else {
        point.tag = kWristTag;
        ConvertWrist(arm.axes, reply, 4, point.position);
    }
    Notify(arm.replies, CC_EVENT_COORDINATES, 0, &point);
}

}  // namespace cc
