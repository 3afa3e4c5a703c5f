// The exported motion commands: each files a message and a history entry into the move buffer.
#include "arm/arm_context.h"
#include "cc_interface.h"
#include "exchange/flush.h"
#include "motion/move_buffer.h"
#include "protocol/command_message.h"

using namespace cc;

namespace {

// Approach values follow the three target values in a position array.
const double *Approach(const double *position) {
    return position + 3;
}

void File(ArmContext &context, uint16_t reportCode, const double *approach, const CommandMessage &message) {
    FileHistory(context.motion, ReportTag(reportCode), approach);
    FileMove(context, message.Data(), message.Size());
}

void FileTemplate(ArmContext &context, int32_t size) {
    uint8_t *const bytes = context.motion.moveTemplate.bytes;
    bytes[0] = static_cast<uint8_t>(size - 1);
    FileMove(context, bytes, size);
}

void SetTarget(ArmContext &context, const double *position) {
    const double scale = context.axes.linearScale;
    MoveTemplate &image = context.motion.moveTemplate;
    image.Set(MoveTemplate::X, Counts(position[0], scale));
    image.Set(MoveTemplate::Y, Counts(position[1], scale));
    image.Set(MoveTemplate::Z, Counts(position[2], scale));
}

enum MoveMode { kMove = 0, kMoveG06 = 1, kProbe = 2 };

// Other modes leave the second digit of the last move.
void NameMove(MoveTemplate &image, int16_t mode, uint8_t classByte) {
    constexpr CommandName kNames[] = {command::G01, command::G06, command::G05};
    CommandName name = command::G01;
    name.digit2 = static_cast<char>(image.bytes[at::kLetter + 2]);
    if (mode >= kMove && mode <= kProbe) name = kNames[mode];
    image.Name(name, mode == kProbe ? classByte : kBufferedClass);
}

double ValueOrZero(const double *value) {
    return value != nullptr ? *value : 0.0;
}

// A move of the rotary axes, one or two, with an optional last field.
void FileRotaryMove(ArmContext &context, CommandName name, uint16_t reportCode, const double *position,
                    int axes, double scale, char lastField, int16_t lastValue) {
    CommandMessage message(name, kBufferedClass);
    for (int axis = 0; axis < axes; ++axis)
        message.Field(static_cast<char>('A' + axis), Counts(position[axis], scale));
    if (lastValue != 0) message.Field(lastField, lastValue);
    File(context, reportCode, Approach(position), message);
}

}  // namespace

void CC_CALL CC_BUFFRESET(int16_t arm) {
    ResetMoveBuffer(SelectArm(arm).motion);
}

int16_t CC_CALL CC_CANSEND(int16_t arm, int16_t ahead) {
    const MoveBuffer &moves = SelectArm(arm).motion;
    if (moves.scanActive) return 0;
    const auto wrapped = [ahead](int32_t index, int32_t size) {
        return ((index + ahead) % size + size) % size;
    };
    if (moves.moveRing[wrapped(moves.moveRingWrite, kMoveSlots)].IsBusy()) return 0;
    return moves.moveHistory[wrapped(moves.moveHistoryWrite, kHistoryEntries)].inUse ? 0 : 1;
}

void CC_CALL CC_MOVE(int16_t arm, int16_t mode, const double *position, uint32_t pointId, uint8_t classByte,
                     const double *mValue, const double *nValue, int16_t feed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    MoveBuffer &moves = context->motion;
    MoveTemplate &image = moves.moveTemplate;
    SetTarget(*context, position);
    NameMove(image, mode, classByte);
    if (mode == kProbe) {
        FileHistory(moves, static_cast<uint16_t>(pointId), Approach(position));
        FileHistory(moves, ReportTag(CC_REPORT_PROBING_MOVE), nullptr);
    } else {
        FileHistory(moves, ReportTag(CC_REPORT_MOVE), Approach(position));
    }
    const double scale = context->axes.linearScale;
    image.Set(MoveTemplate::M, Counts(ValueOrZero(mValue), scale));
    if (mode == kProbe) image.Set(MoveTemplate::N, Counts(ValueOrZero(nValue), scale));
    if (feed != 0) image.Set(MoveTemplate::F, feed);
    FileTemplate(*context, feed != 0 ? MoveTemplate::kThroughF : MoveTemplate::kThroughN);
}

void CC_CALL CC_MOVEINCR(int16_t arm, const double *position, uint32_t, int16_t withM) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    MoveBuffer &moves = context->motion;
    SetTarget(*context, position);
    moves.moveTemplate.Name(command::G03, kBufferedClass);
    FileHistory(moves, ReportTag(CC_REPORT_INCREMENTAL), Approach(position));
    FileTemplate(*context, withM != 0 ? MoveTemplate::kThroughM : MoveTemplate::kThroughZ);
}

void CC_CALL CC_MOVERT(int16_t arm, const double *position, uint32_t, int16_t feed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    FileRotaryMove(*context, command::G01, CC_REPORT_MOVE, position, 1, context->axes.linearScale, 'F', feed);
}

void CC_CALL CC_MOVEINCRRT(int16_t arm, const double *position, uint32_t, int16_t feed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    FileRotaryMove(*context, command::G03, CC_REPORT_INCREMENTAL, position, 1, context->axes.linearScale, 'F',
                   feed);
}

void CC_CALL CC_MOVEWRIST(int16_t arm, const double *position, uint32_t, int16_t speed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    FileRotaryMove(*context, command::G01, CC_REPORT_MOVE, position, 2, context->axes.wristScale, 'M', speed);
}

void CC_CALL CC_MOVEWRISTINCR(int16_t arm, const double *position, uint32_t, int16_t speed) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || position == nullptr) return;
    FileRotaryMove(*context, command::G03, CC_REPORT_INCREMENTAL, position, 2, context->axes.linearScale, 'F',
                   speed);
}

void CC_CALL CC_SPEED(int16_t arm, int16_t kind, int16_t value) {
    constexpr struct {
        CommandName name;
        uint16_t reportCode;
    } kKinds[] = {{command::G30, CC_REPORT_SPEED_0},
                  {command::G37, CC_REPORT_SPEED_1},
                  {command::G36, CC_REPORT_SPEED_2}};
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || kind < 0 || kind > 2) return;
    MoveBuffer &moves = context->motion;
    for (const auto axis : {MoveTemplate::X, MoveTemplate::Y, MoveTemplate::Z})
        moves.moveTemplate.Set(axis, value);
    moves.moveTemplate.Name(kKinds[kind].name, kBufferedClass);
    FileHistory(moves, ReportTag(kKinds[kind].reportCode), nullptr);
    FileTemplate(*context, MoveTemplate::kThroughZ);
}

int16_t CC_CALL CC_MOVING(int16_t arm) {
    ArmContext &context = SelectArm(arm);
    if (context.link.simulationMode) return 0;
    return context.motion.movesInFlight != 0 || NextToFlush(context.motion).IsBusy();
}

void CC_CALL CC_FLYONOFF(int16_t arm, int16_t on) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return;
    const CommandMessage message(on != 0 ? command::G31 : command::G32, kBufferedClass);
    File(*context, CC_REPORT_FLY, nullptr, message);
}

void CC_CALL CC_FLYLEN(int16_t arm, double flyLength) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return;
    const int32_t counts = Counts(flyLength, context->axes.linearScale);
    if (counts == 0) return;
    CommandMessage message(command::G34, kBufferedClass);
    message.Field('M', counts).Field('N', counts);
    File(*context, CC_REPORT_FLY_LENGTH, nullptr, message);
}
