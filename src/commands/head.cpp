// The exported head functions.
#include <charconv>
#include <cmath>

#include "cc_interface.h"
#include "platform/floating_point.h"
#include "probehead/head_protocol.h"

using namespace cc;

namespace {

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

bool IsAt(const HeadRecord &head, double angleA, double angleB) {
    return IsEqual(head.headA, angleA) && IsEqual(head.headB, angleB);
}

}  // namespace

void CC_CALL CC_PHGetPosition(int16_t arm, double *a, double *b) {
    if (a == nullptr || b == nullptr) return;
    const HeadRecord &head = SelectArm(arm).head;
    *a = head.headA;
    *b = head.headB;
}

int16_t CC_CALL CC_PHLevePresent(int16_t arm) {
    return static_cast<int16_t>(SelectArm(arm).head.levePresent);
}

int16_t CC_CALL CC_PHCurrentMode(int16_t arm) {
    return static_cast<int16_t>(SelectArm(arm).head.manualMode);
}

int16_t CC_CALL CC_PHUpdate(int16_t arm) {
    const ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    return context->head.headSimulated != 0 ? int16_t{1} : CommandHead(arm, kHeadUpdate, kHeadPosition);
}

int16_t CC_CALL CC_PHMANMODE(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || context->head.levePresent == 0) return 0;
    if (context->head.manualMode == 1) return 1;
    if (CommandHead(arm, kHeadManual, kHeadPosition) == 0) return 0;
    context->head.manualMode = 1;
    return 1;
}

int16_t CC_CALL CC_PHAUTOMODE(int16_t arm) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr) return 0;
    if (context->head.manualMode == 0) return 1;
    if (CommandHead(arm, kHeadAutomatic, kHeadPosition) == 0) return 0;
    context->head.manualMode = 0;
    return 1;
}

int16_t CC_CALL CC_PHSetPosition(int16_t arm, double angleA, double angleB, int16_t force, uint32_t) {
    ArmContext *const context = OpenArm(arm);
    if (context == nullptr || context->head.manualMode == 1) return 0;
    HeadRecord &head = context->head;
    if (head.headSimulated != 0) {
        head.headA = angleA;
        head.headB = angleB;
        return 1;
    }
    if (force == 0 && IsAt(head, angleA, angleB)) return 1;
    const AngleCommand orderA('A', angleA);
    const AngleCommand orderB('B', angleB);
    if (orderA.Text().empty() || orderB.Text().empty()) return 0;
    if (CommandHead(arm, orderA.Text(), kHeadAcknowledge) == 0) return 0;
    if (CommandHead(arm, orderB.Text(), kHeadAcknowledge) == 0) return 0;
    if (CommandHead(arm, kHeadUpdate, kHeadPosition) == 0) return 0;
    return IsAt(head, angleA, angleB) ? 1 : 0;
}

int16_t CC_CALL CC_PHMoving(int16_t arm) {
    const HeadRecord &head = SelectArm(arm).head;
    return IsEqual(head.headA, kHeadAngleUnknown) || IsEqual(head.headB, kHeadAngleUnknown) ? 1 : 0;
}
