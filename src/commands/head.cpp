#include "commands/head.h"

#include <charconv>
#include <cmath>

#include "cc_interface.h"
#include "commands/modes.h"
#include "platform/floating_point.h"
#include "probehead/head_protocol.h"

using namespace cc;

namespace {

constexpr int kResends = 10;
constexpr int16_t kHeadErrorBase = 100;  // added to the error letter in the emergency code

// "A45.0\r": letter, angle with one decimal, carriage return; at most 15 characters. Not by printf, whose
// decimal point follows the process's locale.
class AngleCommand {
  public:
    AngleCommand(char letter, double angle) {
        const platform::FloatingPointScope scope;
        angle = scope.Confined(angle);
        text_[0] = letter;
        const auto end = std::to_chars(text_ + 1, text_ + kLongest - 1, angle, std::chars_format::fixed, 1);
        if (!std::isfinite(angle) || end.ec != std::errc()) return;
        *end.ptr = '\r';
        length_ = scope.Confined(static_cast<size_t>(end.ptr + 1 - text_));
    }

    /// Empty when the angle has no such text.
    std::string_view Text() const { return {text_, length_}; }

  private:
    static constexpr int kLongest = 15;
    char text_[kLongest];
    size_t length_ = 0;
};

bool IsEqual(double a, double b) {
    const platform::FloatingPointScope scope;
    return scope.Confined(scope.Confined(a) == scope.Confined(b));
}

// Waits for the head; an error answer is an emergency. Result: whether the awaited answer came.
bool WaitForHead(ArmContext &context, HeadAnswer awaited) {
    const HeadWait wait = WaitHead(context.head, awaited);
    if (wait == HeadWait::Error) RaiseHeadError(context);
    return wait == HeadWait::Answered;
}

// Sends a text and waits for its answer, up to 11 times. Result: whether the first text could be sent; the head need
// not have answered.
bool CommandHead(ArmContext &context, std::string_view text, HeadAnswer awaited) {
    if (!SendHeadCommand(context.head, text)) return false;
    for (int resends = 0; !WaitForHead(context, awaited) && resends < kResends; ++resends) {
        SendHeadCommand(context.head, text);
    }
    return true;
}

bool IsAt(const HeadRecord &head, double angleA, double angleB) {
    return IsEqual(head.headA, angleA) && IsEqual(head.headB, angleB);
}

}  // namespace

namespace cc {

bool AskHeadStatus(ArmContext &context) {
    if (context.head.headSimulated) return true;
    // The first question may meet a head that is still starting.
    SendHeadCommand(context.head, kHeadStatus);
    WaitForHead(context, kHeadPosition);
    return CommandHead(context, kHeadStatus, kHeadPosition);
}

bool SetHeadAutomatic(ArmContext &context) {
    if (!context.head.manualMode) return true;
    if (!CommandHead(context, kHeadAutomatic, kHeadPosition)) return false;
    context.head.manualMode = false;
    return true;
}

void RaiseHeadError(ArmContext &context) {
    OrderEmergency(context, static_cast<int16_t>(context.head.headErrorCode + kHeadErrorBase));
}

}  // namespace cc

void CC_CALL CC_PHGetPosition(int16_t arm, double *a, double *b) {
    if (a == nullptr || b == nullptr) return;
    const HeadRecord &head = SelectArm(arm).head;
    *a = head.headA;
    *b = head.headB;
}

int16_t CC_CALL CC_PHLevePresent(int16_t arm) {
    return SelectArm(arm).head.levePresent;
}

int16_t CC_CALL CC_PHCurrentMode(int16_t arm) {
    return SelectArm(arm).head.manualMode;
}

int16_t CC_CALL CC_PHUpdate(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    return context->head.headSimulated || CommandHead(*context, kHeadUpdate, kHeadPosition);
}

int16_t CC_CALL CC_PHMANMODE(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || !context->head.levePresent) return 0;
    if (context->head.manualMode) return 1;
    if (!CommandHead(*context, kHeadManual, kHeadPosition)) return 0;
    context->head.manualMode = true;
    return 1;
}

int16_t CC_CALL CC_PHAUTOMODE(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    return context != nullptr && SetHeadAutomatic(*context);
}

int16_t CC_CALL CC_PHSetPosition(int16_t arm, double angleA, double angleB, int16_t force, uint32_t) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || context->head.manualMode) return 0;
    HeadRecord &head = context->head;
    if (head.headSimulated) {
        head.headA = angleA;
        head.headB = angleB;
        return 1;
    }
    if (force == 0 && IsAt(head, angleA, angleB)) return 1;
    const AngleCommand orderA('A', angleA);
    const AngleCommand orderB('B', angleB);
    if (orderA.Text().empty() || orderB.Text().empty()) return 0;
    if (!CommandHead(*context, orderA.Text(), kHeadAcknowledge)) return 0;
    if (!CommandHead(*context, orderB.Text(), kHeadAcknowledge)) return 0;
    return CommandHead(*context, kHeadUpdate, kHeadPosition) && IsAt(head, angleA, angleB);
}

int16_t CC_CALL CC_PHMoving(int16_t arm) {
    const HeadRecord &head = SelectArm(arm).head;
    return IsEqual(head.headA, kHeadAngleUnknown) || IsEqual(head.headB, kHeadAngleUnknown);
}
