// Queries: coordinate reporting, controller information, I/O words, parameters, temperatures.
#include "commands/queries.h"

#include <cstring>
#include <iterator>

#include "cc_interface.h"
#include "exchange/waits.h"
#include "link/send_path.h"
#include "platform/floating_point.h"
#include "protocol/little_endian.h"

using namespace cc;

namespace {

// Factors from a parameter's count to its value.
constexpr double kSpeedFactor = 0.000006;
constexpr double kAccelerationFactor = 1.019367991845056e-8;  // 1 / 98100000
constexpr double kLengthFactor = 0.0001;
constexpr double kAngleFactor = 0.0002777777777777778;  // 1 / 3600
constexpr double kLeft = 0;                             // the element keeps its value

// A parameter reply holds groups of five bytes: an axis mark and a 32-bit value.
constexpr int kGroups = at::kReplyPayload;
constexpr int kGroupBytes = 5;

constexpr uint16_t kLinearAxis = 1;
constexpr uint16_t kNoAxis = 0;

// One parameter set: the reply that brings it, the groups that it converts, and the factors by kind of axis.
constexpr struct ParameterSet {
    int32_t replyCode;
    int firstGroup;
    int lastGroup;
    double linear;
    double angular;
} kParameterSets[] = {
    {reply::kParameters1, 0, 4, kSpeedFactor, kAngleFactor},
    {reply::kParameters1 + 1, 0, 4, kAccelerationFactor, kAngleFactor},
    {reply::kParameters1 + 2, 0, 4, kLengthFactor, kAngleFactor},
    {reply::kParameters1 + 3, 0, 4, kLengthFactor, kAngleFactor},
    {reply::kParameters1 + 4, 0, -1, kLeft, kLeft},
    {reply::kParameters6, 3, 4, kAngleFactor, kAngleFactor},
    {reply::kParameters7, 0, 2, kLengthFactor, kLeft},
};

// The set that holds a single value instead of groups.
constexpr int16_t kSingleValueSet = 5;

// A 32-bit value of the reply, times its factor.
double Converted(const uint8_t *value, double factor) {
    const platform::FloatingPointScope scope;
    return scope.Confined(ReadI32(value) * scope.Confined(factor));
}

void ConvertGroups(const ParameterSet &set, const ReplyState &replies, double *out) {
    for (int group = set.firstGroup; group <= set.lastGroup; ++group) {
        const uint16_t kind = replies.controllerInfo.axes[group].kind;
        const double factor = kind == kNoAxis ? kLeft : kind == kLinearAxis ? set.linear : set.angular;
        if (factor != kLeft)
            out[group] = Converted(replies.replyBuffer + kGroups + kGroupBytes * group + 1, factor);
    }
}

// Whether the controller reports coordinates by itself when told to; otherwise the worker asks for them.
bool ControllerStreams(const ArmContext &context) {
    return context.settings.enableAutoCoord ||
           (context.session.controllerClass == ControllerClass::Streaming &&
            context.replies.controllerState != state::kMeasuring && context.settings.autoCoordMs != 0);
}

// Asks for the controller information, unless a zeroing is under way. Result: false without an answer.
bool RefreshInfo(ArmContext &context, int16_t arm) {
    if (context.replies.awaitedReply == awaited::kZeroing) return true;
    context.replies.awaitedReply = awaited::kAnyState;
    const CommandMessage message(command::N00);
    QueueMessage(context.link, kNormal, message);
    if (!WaitForAck(context)) return false;
    return WaitForCompletion(context, arm) || SendWithRetries(context, arm, message);
}

}  // namespace

void cc::ReportCoordinatesPeriodically(ArmContext &context, int16_t mode) {
    SessionState &session = context.session;
    session.askCoordMode = mode;
    const bool on = mode != 0;
    const bool streams = ControllerStreams(context);
    session.autoCoordOn = on && !streams;
    context.replies.coordAnswered = !streams;
    if (!streams) return;
    CommandMessage message(on ? command::J : command::K, kCoordinateModeClass);
    if (on) message.Word(0).Word(static_cast<uint16_t>(context.settings.autoCoordMs));
    QueueMessage(context.link, kNormal, message);
}

void CC_CALL CC_ASKCOORD(int16_t arm, int16_t mode) {
    ArmContext *const context = OpenArm(arm);
    if (context != nullptr) ReportCoordinatesPeriodically(*context, mode);
}

int16_t CC_CALL CC_INFO(int16_t arm, void *out) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || out == nullptr) return 0;
    const bool changes =
        context->session.controllerClass != ControllerClass::Old && context->session.extendedStart;
    if (changes && !RefreshInfo(*context, arm)) return 0;
    std::memcpy(out, &context->replies.controllerInfo, sizeof context->replies.controllerInfo);
    return 1;
}

int16_t CC_CALL CC_IO(int16_t arm, int16_t read, uint16_t *words) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || words == nullptr) return 0;
    if (read == 0) {
        QueueMessage(context->link, kPriority, CommandMessage(command::O00).Word(words[0]).Word(words[1]));
        return 1;
    }
    context->replies.awaitedReply = awaited::kAnyState;
    QueueMessage(context->link, kPriority, CommandMessage(command::I00));
    if (!WaitForCompletion(*context, arm)) return 0;
    std::memcpy(words, context->replies.ioWords, sizeof context->replies.ioWords);
    return 1;
}

int16_t CC_CALL CC_READ_PARAM(int16_t arm, int16_t set, double *out) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || out == nullptr) return 0;
    ReplyState &replies = context->replies;
    const bool known = set >= 1 && set <= static_cast<int16_t>(std::size(kParameterSets));
    if (known) replies.awaitedReply = kParameterSets[set - 1].replyCode;
    QueueMessage(context->link, kPriority, CommandMessage(command::R(set)));
    if (!WaitForCompletion(*context, arm)) return 0;
    if (known) ConvertGroups(kParameterSets[set - 1], replies, out);
    if (set == kSingleValueSet) out[0] = Converted(replies.replyBuffer + at::kReplyPayload, kSpeedFactor);
    return 1;
}

int16_t CC_CALL CC_READTEMP(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    return QueueMessage(context->link, kPriority, CommandMessage(command::S48));
}
