#include "dialogue.h"

#include <algorithm>
#include <cstdio>

#include "command.h"

namespace emulator {
namespace {

using namespace cc;

std::string Numbered(int number) {
    return std::string("move ").append(std::to_string(number));
}

// "probing move to X 1" of move 3 is "probing move 3 to X 1".
std::string WithNumber(std::string words, int number) {
    const std::string text = std::string(" ").append(std::to_string(number));
    const size_t end = words.find("move");
    if (end == std::string::npos) return words;
    return words.insert(end + 4, text);
}

bool IsPoint(uint8_t code) {
    return code == reply::kPoint || code == 21 || code == 40 || code == 41 || code == 70 || code == 71;
}

bool IsEmergency(uint8_t code) {
    return code == reply::kEmergency || code == reply::kEmergency51;
}

}  // namespace

Dialogue::Remark Dialogue::Take(Direction direction, const Bytes &message) {
    return direction == Direction::ToController ? TakeCommand(message) : TakeReply(message);
}

Dialogue::Remark Dialogue::TakeCommand(const Bytes &command) {
    Remark remark;
    remark.words = MessageWords(Direction::ToController, command, mmPerCount_);
    ++commands_;
    if (IsBuffered(command)) {
        const int32_t number = Command{command}.Number();
        remark.move = ++moves_;
        remark.words = WithNumber(remark.words, remark.move);
        pending_.push_back({remark.move, commands_, number == CommandNumber(command::G05),
                            number == CommandNumber(command::G07)});
    } else if (ExpectsAnswer(command)) {
        asked_.push_back({commands_, command});
    }
    return remark;
}

Dialogue::Remark Dialogue::TakeReply(const Bytes &reply) {
    Remark remark;
    remark.words = MessageWords(Direction::ToHost, reply, mmPerCount_);
    const auto question = std::find_if(asked_.begin(), asked_.end(),
                                       [&](const Asked &asked) { return IsAnswer(asked.command, reply); });
    const bool resets =
        question != asked_.end() && Command{question->command}.Number() == CommandNumber(command::S25);
    if (question != asked_.end()) {
        remark.answers = question->number;
        // Temperatures come in two replies.
        if (Command{reply}.At(at::kReplyCode) != reply::kTemperatures1) asked_.erase(question);
    }
    if (reply.size() < 3) {
        remark.isFault = true;
        return remark;
    }
    const uint8_t code = reply[at::kReplyCode];
    if (resets) ResetBuffer(remark);
    if (IsPoint(code)) TakePoint(reply, remark);
    if (code == reply::kBuffered) EndMove(reply, remark);
    if (IsEmergency(code)) remark.isFault = true;
    return remark;
}

void Dialogue::ResetBuffer(Remark &remark) {
    if (!pending_.empty()) remark.words += ", dropped: " + std::to_string(pending_.size()) + " moves";
    pending_.clear();
}

void Dialogue::TakePoint(const Bytes &reply, Remark &remark) {
    if (pending_.empty() || static_cast<int8_t>(reply[at::kReplyState]) != state::kMeasuring) return;
    Move &move = pending_.front();
    if (!move.scan && (!move.probing || move.touched)) return;
    move.touched = true;
    remark.move = move.number;
    remark.answers = move.command;
    remark.words = (move.scan ? "scan " : "touch ") + remark.words + " of " + Numbered(move.number);
}

void Dialogue::EndMove(const Bytes &reply, Remark &remark) {
    if (pending_.empty()) {
        remark.words += ", none was under way";
        return;
    }
    const Move move = pending_.front();
    pending_.pop_front();
    remark.move = move.number;
    remark.answers = move.command;
    remark.isFault = move.probing && !move.touched;
    const int reason = static_cast<int8_t>(Command{reply}.At(4));
    remark.words = Numbered(move.number) + (remark.isFault ? " rejected, nothing was touched" : " done");
    if (remark.isFault) remark.words += ", reason " + std::to_string(reason);
}

std::vector<int> Dialogue::Unanswered() const {
    std::vector<int> numbers;
    for (const Asked &asked : asked_) numbers.push_back(asked.number);
    return numbers;
}

}  // namespace emulator
