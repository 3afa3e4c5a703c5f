#include "head.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace emulator {
namespace {

constexpr char kEnd = '\r';
constexpr size_t kLongestCommand = 40;
constexpr size_t kOverLong = 130;

}  // namespace

void Head::Receive(uint8_t byte) {
    if (IsUnplugged()) return;
    if (byte != kEnd) {
        if (incoming_.size() < kLongestCommand) incoming_ += static_cast<char>(byte);
        return;
    }
    std::string command;
    command.swap(incoming_);
    commands_.push_back(command);
    if (!command.empty()) Act(command);
}

void Head::Act(const std::string &command) {
    switch (command[0]) {
        case 'S':
        case 'U':
            return AnswerLater(options.answerDelay, "");
        case 'M':
        case 'N':
            manual_ = command[0] == 'M' && options.hasManualMode;
            return AnswerLater(options.answerDelay, "");
        case 'A':
        case 'B':
            return Turn(command[0] - 'A', std::strtod(command.c_str() + 1, nullptr));
        default:
            return;
    }
}

void Head::Turn(int axis, double angle) {
    const double way = std::abs(angle - angles_[axis]);
    const auto duration = static_cast<int64_t>(way / options.speed * kSecond);
    agenda_.After(duration, [this, axis, angle] { angles_[axis] = angle; });
    AnswerLater(duration + options.answerDelay, "V");
}

// An empty text stands for the position at the time of the answer.
void Head::AnswerLater(int64_t delay, const std::string &text) {
    agenda_.After(delay, [this, text] { Answer(text.empty() ? Position() : text); });
}

std::string Head::Position() const {
    char text[64];
    std::snprintf(text, sizeof text, "%s%sA%.1fB%.1f", options.hasManualMode ? "" : "H", manual_ ? "M" : "",
                  angles_[0], angles_[1]);
    return text;
}

void Head::SwitchByHand(bool manual) {
    manual_ = manual;
    Answer(Position());
}

void Head::Answer(std::string text) {
    if (options.silent) return;
    if (failNext_ != 0) text = failNext_;
    failNext_ = 0;
    if (options.overLong) text.resize(kOverLong, ' ');
    text += kEnd;
    if (options.twoAtOnce && heldBack_.empty()) {
        heldBack_ = text;
        return;
    }
    text = heldBack_ + text;
    heldBack_.clear();
    Output(Bytes(text.begin(), text.end()));
}

}  // namespace emulator
