#include "probehead/head_answer.h"

#include <algorithm>
#include <charconv>

#include "platform/floating_point.h"

namespace cc {
namespace {

constexpr std::string_view kErrorLetters = "ECIJXOFD";
constexpr std::string_view kPositionLetters = "HMAB";
constexpr std::string_view kNumberCharacters = "0123456789.+-";
constexpr size_t kLongestNumber = 11;  // of a longer run the beginning counts

bool Contains(std::string_view text, char letter) {
    return text.find(letter) != std::string_view::npos;
}

// The number behind the first `letter`; the angle keeps its value when there is none.
void DecodeAngle(std::string_view answer, char letter, double &angle) {
    const size_t at = answer.find(letter);
    if (at == std::string_view::npos) return;
    std::string_view number = answer.substr(at + 1);
    number = number.substr(0, std::min(number.find_first_not_of(kNumberCharacters), kLongestNumber));
    // from_chars knows no plus sign; a second sign behind it makes the text no number.
    const bool plus = number.starts_with('+');
    if (plus) number.remove_prefix(1);
    if (plus && number.starts_with('-')) return;
    const platform::FloatingPointScope scope;
    double read = angle;
    std::from_chars(number.data(), number.data() + number.size(), read);
    angle = scope.Confined(read);
}

void DecodeHeadAnswer(HeadRecord &head, std::string_view answer) {
    head.levePresent = !Contains(answer, 'H');
    head.manualMode = Contains(answer, 'M');
    DecodeAngle(answer, 'A', head.headA);
    DecodeAngle(answer, 'B', head.headB);
}

}  // namespace

void ClassifyHeadAnswer(HeadRecord &head, std::string_view answer) {
    head.headEvent = kHeadNothing;
    head.headErrorCode = 0;
    const size_t error = answer.find_first_of(kErrorLetters);
    if (error != std::string_view::npos) {
        head.headErrorCode = static_cast<uint8_t>(answer[error]);
        head.headEvent = kHeadError;
    } else if (answer.find_first_of(kPositionLetters) != std::string_view::npos) {
        DecodeHeadAnswer(head, answer);
        head.headEvent = kHeadPosition;
    } else if (Contains(answer, 'T')) {
        head.headEvent = kHeadWantsAutomatic;
    } else if (Contains(answer, 'V')) {
        head.headEvent = kHeadAcknowledge;
    }
}

}  // namespace cc
