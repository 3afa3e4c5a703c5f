#include "replay.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "recording.h"

namespace emulator {

ReplayController::ReplayController(const ReplayOptions &options, std::istream &recording)
    : LinkPeer(options.link), replyDelay_(options.replyDelay) {
    Read(recording);
    if (asked_.empty()) throw std::invalid_argument("no command of a host in the recording");
}

void ReplayController::Read(std::istream &recording) {
    RecordingReader reader;
    Dialogue dialogue;
    std::string text;
    while (std::getline(recording, text)) {
        const std::optional<RecordedLine> line = reader.Read(text);
        if (!line || line->kind != RecordedLine::Kind::Message) continue;
        const Dialogue::Remark remark = dialogue.Take(line->direction, line->bytes);
        if (line->direction == Direction::ToController) {
            asked_.push_back({line->bytes, line->seconds});
            asked_.back().buffered = IsBuffered(line->bytes);
            continue;
        }
        const bool timed = !asked_.empty() && line->seconds && asked_.back().seconds;
        const double seconds = timed ? *line->seconds - *asked_.back().seconds : 0;
        replies_.push_back(
            {line->bytes, timed ? static_cast<int64_t>(seconds * kSecond) : replyDelay_, asked_.size()});
        if (remark.answers == 0) continue;
        const auto number = static_cast<size_t>(remark.answers) - 1;
        Asked &asked = asked_[number];
        if (asked.buffered) {
            replies_.back().asked = number;
        } else {
            replies_.back().inOrder = false;
            asked.answers.push_back(replies_.size() - 1);
        }
    }
}

size_t ReplayController::Find(const Bytes &command) const {
    const std::string name = MessageName(Direction::ToController, command);
    size_t sameName = kNone, last = kNone;
    for (size_t i = 0; i < asked_.size(); ++i) {
        const Asked &asked = asked_[i];
        if (MessageName(Direction::ToController, asked.command) != name) continue;
        if (!asked.given && asked.command == command) return i;
        if (!asked.given && sameName == kNone) sameName = i;
        last = i;
    }
    return sameName != kNone ? sameName : last;
}

void ReplayController::OnMessage(const Bytes &message) {
    const size_t number = Find(message);
    if (number == kNone) {
        if (onStranger) onStranger(message);
        return;
    }
    asked_[number].given = true;
    progress_ = std::max(progress_, number + 1);
    for (const size_t answer : asked_[number].answers) Send(replies_[answer]);
    SendInOrder();
}

void ReplayController::Send(Reply &reply) {
    reply.sent = true;
    lastSend_ = std::max(lastSend_, agenda_.Now() + reply.delay);
    agenda_.After(lastSend_ - agenda_.Now(), [this, message = reply.message] { SendMessage(message); });
}

void ReplayController::SendInOrder() {
    for (Reply &reply : replies_) {
        if (reply.sent || !reply.inOrder) continue;
        const bool due = reply.asked != kNone ? asked_[reply.asked].given : reply.commands <= progress_;
        if (!due) return;
        Send(reply);
    }
}

bool ReplayController::IsThrough() const {
    return std::all_of(replies_.begin(), replies_.end(), [](const Reply &reply) { return reply.sent; });
}

}  // namespace emulator
