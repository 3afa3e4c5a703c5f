// Scanning on arm 1: the parameter messages, start and stop.
#include "cc_interface.h"
#include "exchange/flush.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "motion/move_buffer.h"

using namespace cc;

namespace {

constexpr int16_t kScanArm = 1;
constexpr double kUnitElement = 1000000000;  // how a matrix element of 1 is sent

ScanParameters &Parameters() {
    return SelectArm(kScanArm).scan;
}

int32_t LengthCounts(const double *value) {
    return Counts(*value, SelectArm(kScanArm).axes.linearScale);
}

CommandMessage MatrixMessage(const ScanParameters &parameters) {
    CommandMessage message(command::S50);
    message.Letter('M');
    for (const int32_t element : parameters.matrix) message.Long(static_cast<uint32_t>(element));
    for (const int32_t element : parameters.offset) message.Long(static_cast<uint32_t>(element));
    return message;
}

CommandMessage ProbeMessage(const ScanParameters &parameters) {
    CommandMessage message(command::S51);
    message.Field('A', 0).Field('B', 0).Field('M', parameters.tipRadius);
    message.Field('N', parameters.depth1).Field('F', parameters.depth2);
    return message;
}

// The controller takes the message with half of its last field only.
CommandMessage TargetMessage(const ScanParameters &parameters) {
    CommandMessage message(command::S52);
    message.Field('X', parameters.targetX).Field('Y', parameters.targetY);
    message.Field('A', parameters.minStep).Field('M', parameters.maxStep).Field('N', parameters.threshold);
    message.Letter('F').Word(0);
    return message;
}

bool SendParameters(ArmContext &context, CommandName name, const CommandMessage &message) {
    if (!QueueMessage(context.link, kNormal, message)) return false;
    context.replies.awaitedReply = awaited::Setting(name);
    return WaitForCompletion(context, kScanArm);
}

// Sends everything in the ring, whatever the controller's state and without counting it as in flight.
bool DrainMoveRing(ArmContext &context) {
    MoveBuffer &moves = context.motion;
    while (NextToFlush(moves).IsBusy()) {
        if (moves.flushedTo == kNotFlushed && !QueueOldestMove(context)) return false;
        ReleaseFlushedSlot(moves);
    }
    return true;
}

}  // namespace

void CC_CALL L2S_SetRotMatrix(const double *matrix, const double *offset) {
    if (matrix == nullptr || offset == nullptr) return;
    ScanParameters &parameters = Parameters();
    for (int i = 0; i < 9; ++i) parameters.matrix[i] = Counts(matrix[i], 1.0, kUnitElement);
    for (int i = 0; i < 3; ++i) parameters.offset[i] = LengthCounts(offset + i);
}

void CC_CALL L2S_SetTipRad(const double *tipRadius) {
    if (tipRadius != nullptr) Parameters().tipRadius = LengthCounts(tipRadius);
}

void CC_CALL L2S_SetRegDepth(const double *depth1, const double *depth2) {
    if (depth1 == nullptr || depth2 == nullptr) return;
    ScanParameters &parameters = Parameters();
    parameters.depth1 = LengthCounts(depth1);
    parameters.depth2 = LengthCounts(depth2);
}

void CC_CALL L2S_SetTargetPoint(const double *targetX, const double *targetY) {
    if (targetX == nullptr || targetY == nullptr) return;
    ScanParameters &parameters = Parameters();
    parameters.targetX = LengthCounts(targetX);
    parameters.targetY = LengthCounts(targetY);
}

void CC_CALL L2S_SetMaxMinStep(const double *maxStep, const double *minStep) {
    if (maxStep == nullptr || minStep == nullptr) return;
    ScanParameters &parameters = Parameters();
    parameters.maxStep = LengthCounts(maxStep);
    parameters.minStep = LengthCounts(minStep);
}

void CC_CALL L2S_SetTreshold(const double *threshold) {
    if (threshold != nullptr) Parameters().threshold = LengthCounts(threshold);
}

int16_t CC_CALL L2S_StartScan(void) {
    ArmContext *const context = OpenArm(kScanArm);
    if (context == nullptr) return 0;
    const ScanParameters &parameters = context->scan;
    if (!SendParameters(*context, command::S50, MatrixMessage(parameters))) return 0;
    if (!SendParameters(*context, command::S51, ProbeMessage(parameters))) return 0;
    if (!SendParameters(*context, command::S52, TargetMessage(parameters))) return 0;
    const CommandMessage start(command::G07, kBufferedClass);
    FileHistory(context->motion, kScanTag, nullptr);
    FileMove(*context, start.Data(), start.Size());
    if (!DrainMoveRing(*context)) return 0;
    context->motion.scanActive = true;
    return 1;
}

int16_t CC_CALL L2S_StopScan(void) {
    ArmContext *const context = OpenArm(kScanArm);
    if (context == nullptr || !context->motion.scanActive) return 0;
    if (context->replies.controllerState != state::kMeasuring) return 0;
    return QueueMessage(context->link, kPriority, CommandMessage(command::P04));
}
