#include "trace/explanation.h"
#include "format.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

namespace cmm {
namespace {

using emulator::Format;

using emulator::Direction;
using emulator::RecordedLine;

std::string Counted(size_t count, const char *what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string DelayText(const Entry &entry) {
    return entry.delay ? Format("  (%.1f ms)", 1000 * *entry.delay) : std::string();
}

std::string FaultText(const Entry &entry) {
    std::string text =
        Format("  line %d  ", entry.line) + entry.name + (entry.name.empty() ? "" : "  ") + entry.words;
    if (!entry.isAnswered) text += ", not answered";
    return text + "\n";
}

bool IsWrong(const Entry &entry) {
    return entry.isFault || !entry.isAnswered;
}

}  // namespace

const Entry *Explanation::Take(const std::string &text) {
    ++lines_;
    const std::optional<RecordedLine> recorded = reader_.Read(text);
    if (!recorded) return nullptr;
    Entry entry;
    entry.line = lines_;
    entry.seconds = recorded->seconds;
    entry.direction = recorded->direction;
    entry.bytes = emulator::HexWords(recorded->bytes);
    if (!Explain(*recorded, entry)) return nullptr;
    entries_.push_back(std::move(entry));
    return &entries_.back();
}

bool Explanation::Explain(const RecordedLine &recorded, Entry &entry) {
    using Kind = RecordedLine::Kind;
    const Direction direction = recorded.direction;
    if (recorded.kind == Kind::EndOfZeroing) {
        entry.words = "the library has seen the end of zeroing";
        return true;
    }
    if (recorded.kind == Kind::Control) {
        const bool damaged = emulator::IsDamaged(recorded.bytes);
        entry.words = damaged ? "damaged frame" : emulator::FrameWords(direction, recorded.bytes);
        entry.isFault = damaged || entry.words == "line error" || entry.words == "undefined frame";
        return entry.isFault || entry.words == "start-link";
    }
    entry.name = emulator::MessageName(direction, recorded.bytes);
    if (recorded.kind == Kind::Repetition) {
        entry.words = "sent again";
        entry.isFault = true;
        return true;
    }
    const emulator::Dialogue::Remark remark = dialogue_.Take(direction, recorded.bytes);
    entry.words = remark.words;
    entry.move = remark.move;
    entry.isFault = remark.isFault;
    if (direction == Direction::ToController) commands_.push_back(entries_.size());
    if (remark.answers == 0) return true;
    const Entry &command = entries_[commands_[static_cast<size_t>(remark.answers) - 1]];
    entry.answersLine = command.line;
    if (entry.seconds && command.seconds) entry.delay = *entry.seconds - *command.seconds;
    return true;
}

void Explanation::Finish() {
    for (const int number : dialogue_.Unanswered())
        entries_[commands_[static_cast<size_t>(number) - 1]].isAnswered = false;
}

std::string EntryText(const Entry &entry) {
    std::string text = Format("%6d  ", entry.line);
    if (entry.seconds) text += Format("%11.6f  ", *entry.seconds);
    const char *const arrow = entry.direction == Direction::ToController ? "" : "<- ";
    text += arrow + (entry.name.empty() ? std::string() : Format("%-8s ", entry.name.c_str())) + entry.words;
    if (entry.answersLine != 0) text += Format("  (to line %d)", entry.answersLine);
    return text + DelayText(entry) + (IsWrong(entry) ? "  !" : "") + "\n";
}

std::string ExplanationText(const Explanation &explanation, const std::string &name) {
    const std::vector<Entry> &entries = explanation.Entries();
    int moves = 0;
    std::map<int, std::vector<const Entry *>> answers;  // by the line of their command
    for (const Entry &entry : entries) {
        moves = std::max(moves, entry.move);
        if (entry.answersLine != 0) answers[entry.answersLine].push_back(&entry);
    }
    const auto faults = static_cast<size_t>(std::count_if(entries.begin(), entries.end(), IsWrong));
    std::string text = name + ": " + Counted(entries.size(), "message") + ", " +
                       Counted(static_cast<size_t>(moves), "move") + ", " + Counted(faults, "fault") + "\n";
    for (const Entry &entry : entries) {
        if (IsWrong(entry)) text += FaultText(entry);
    }
    text += "\n";
    for (const Entry &entry : entries) {
        if (entry.answersLine != 0) continue;
        text += EntryText(entry);
        for (const Entry *const answer : answers[entry.line]) {
            text += Format("        %s-> ", entry.seconds ? "             " : "") + answer->words;
            text += Format("  (line %d)", answer->line) + DelayText(*answer) +
                    (IsWrong(*answer) ? "  !" : "") + "\n";
        }
    }
    return text;
}

nlohmann::json EntryJson(const Entry &entry) {
    nlohmann::json json = {{"line", entry.line},
                           {"from", entry.direction == Direction::ToController ? "host" : "controller"},
                           {"words", entry.words},
                           {"bytes", entry.bytes}};
    if (entry.seconds) json["seconds"] = *entry.seconds;
    if (!entry.name.empty()) json["name"] = entry.name;
    if (entry.move != 0) json["move"] = entry.move;
    if (entry.answersLine != 0) json["answers_line"] = entry.answersLine;
    if (entry.delay) json["delay"] = *entry.delay;
    if (entry.isFault) json["fault"] = true;
    if (!entry.isAnswered) json["answered"] = false;
    return json;
}

nlohmann::json ExplanationJson(const Explanation &explanation) {
    nlohmann::json entries = nlohmann::json::array(), faults = nlohmann::json::array();
    for (const Entry &entry : explanation.Entries()) {
        entries.push_back(EntryJson(entry));
        if (IsWrong(entry)) faults.push_back(entry.line);
    }
    return {{"entries", entries}, {"fault_lines", faults}};
}

}  // namespace cmm
