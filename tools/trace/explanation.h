// A recording of a line, message by message, in plain words.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "dialogue.h"
#include "recording.h"

namespace cmm {

/// One line of a recording, explained.
struct Entry {
    int line = 0;  // of the recording, from 1
    std::optional<double> seconds;
    emulator::Direction direction = emulator::Direction::ToController;
    std::string name;     // "S73", "reply 4"; empty for what is no message
    std::string words;    // what it says
    std::string bytes;    // of the message, or of the frame, in hexadecimal digits
    int move = 0;         // number of the buffered message that it is, or is about; 0: none
    int answersLine = 0;  // line of the command that it answers; 0: it was not asked for, or is a command
    std::optional<double> delay;  // from that command, s
    bool isFault = false;
    bool isAnswered = true;  // false: a command that a reply should have answered
};

/// Explains a recording line by line. Frames that only acknowledge are left out.
class Explanation {
  public:
    /// mmPerCount: length of a controller count, 0: lengths are told in counts.
    explicit Explanation(double mmPerCount) : dialogue_(mmPerCount) {}

    /// Takes the next line. Result: its entry, or null for a line that says nothing.
    const Entry *Take(const std::string &text);
    /// Marks the commands that were not answered. To be called at the end.
    void Finish();

    const std::vector<Entry> &Entries() const { return entries_; }
    int Lines() const { return lines_; }

  private:
    bool Explain(const emulator::RecordedLine &recorded, Entry &entry);

    emulator::RecordingReader reader_;
    emulator::Dialogue dialogue_;
    std::vector<Entry> entries_;
    std::vector<size_t> commands_;  // index of their entries, by number - 1
    int lines_ = 0;
};

/// An entry in one line, as it stands in a list: "  12  1.234567  S73     to state 3".
std::string EntryText(const Entry &entry);

/// All of it: what went wrong first, then each command with its answers below it.
std::string ExplanationText(const Explanation &explanation, const std::string &name);

/// An entry as an object, and all of it with its faults.
nlohmann::json EntryJson(const Entry &entry);
nlohmann::json ExplanationJson(const Explanation &explanation);

}  // namespace cmm
