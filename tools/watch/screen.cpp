#include "watch/screen.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "format.h"
#include "machine/console.h"
#include "watch/readout_text.h"

namespace cmm {
namespace {

using emulator::Format;
using Clock = Readout::Clock;
using std::chrono::seconds;

constexpr char kPromise[] = "asks only: nothing is moved or changed";
constexpr char kFooter[] = " q or Ctrl-C ends, and leaves the machine as it is";
constexpr auto kStale = seconds(2);
constexpr int kMargin = 1;
constexpr int kTemperatureWidth = 9;  // " 12 20.12"
constexpr int kLeastHappenings = 2;

std::string Duration(Clock::duration duration) {
    const auto whole = static_cast<long>(std::chrono::duration_cast<seconds>(duration).count());
    return Format("%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
}

uint32_t CountOf(const Readout &readout, const std::string &name) {
    for (const auto &[known, count] : readout.counts) {
        if (known == name) return count;
    }
    return 0;
}

std::string Bits(uint16_t word) {
    std::string bits;
    for (int bit = 15; bit >= 0; --bit) {
        bits += (word >> bit & 1) != 0 ? '1' : '0';
        if (bit % 4 == 0 && bit > 0) bits += ' ';
    }
    return bits;
}

class Screen {
  public:
    Screen(const Readout &readout, const ScreenOptions &options)
        : readout_(readout), options_(options), now_(Clock::now()) {}

    std::vector<Piece> Compose() {
        Title();
        Condition();
        Skip();
        Places();
        Temperatures();
        Parameters();
        Link();
        Happenings();
        Put(options_.rows - 1, 0, Wide(kFooter, ""), Style::Title);
        return std::move(pieces_);
    }

  private:
    void Put(int row, int column, const std::string &text, Style style = Style::Plain) {
        const int room = options_.columns - column;
        if (row < 0 || row >= options_.rows || room <= 0 || text.empty()) return;
        pieces_.push_back({row, column, text.substr(0, static_cast<size_t>(room)), style});
    }

    // A line as wide as the screen, with a text at each end.
    std::string Wide(const std::string &left, const std::string &right) const {
        const auto width = static_cast<size_t>(options_.columns);
        const size_t used = left.size() + right.size() + 1;
        return left + std::string(width > used ? width - used : 1, ' ') + right + " ";
    }

    // Rows between sections are there while all sections have room.
    void Skip() {
        if (options_.rows >= RowsOfSections() + kLeastHappenings) ++row_;
    }
    int TemperatureColumns() const { return std::max(1, (options_.columns - kMargin) / kTemperatureWidth); }
    int TemperatureRows() const {
        const int columns = std::min(8, TemperatureColumns());
        return (static_cast<int>(readout_.temperatures.size()) + columns - 1) / columns;
    }
    int RowsOfSections() const {
        constexpr int kTitleConditionPlaces = 6, kLinkRows = 3, kHeadings = 2, kGaps = 5, kFooterRow = 1;
        const int parameters = std::max<int>(1, static_cast<int>(readout_.parameters.size()));
        return kTitleConditionPlaces + std::max(1, TemperatureRows()) + parameters + kLinkRows + kHeadings +
               kGaps + kFooterRow;
    }

    void Title() {
        Put(0, 0, Wide(" cmm watch  " + options_.machine, kPromise), Style::Title);
        row_ = 1;
    }

    void Condition() {
        const bool lost = readout_.line == Readout::Line::Lost;
        if (readout_.line == Readout::Line::Opening) {
            Put(row_, kMargin, "The line is being opened ...", Style::Warning);
        } else if (lost) {
            Put(row_, kMargin,
                " LINE LOST " + Duration(now_ - readout_.heard) +
                    " ago; it is opened anew as soon as it is back ",
                Style::Bad);
        } else {
            State();
        }
        const std::string since = Duration(now_ - readout_.begin);
        if (!lost)
            Put(row_, options_.columns - static_cast<int>(since.size()) - kMargin, since, Style::Faint);
        ++row_;
    }

    void State() {
        const bool good = readout_.state == "ready" || readout_.state == "measuring";
        std::string state = readout_.state;
        std::transform(state.begin(), state.end(), state.begin(),
                       [](unsigned char c) { return std::toupper(c); });
        const Style style = good ? Style::Good : state == "EMERGENCY" ? Style::Bad : Style::Warning;
        Put(row_, kMargin, state, style);
        std::string about;
        if (readout_.controller)
            about = Format("controller type %u, level %u", readout_.controller->controllerType,
                           readout_.controller->controllerLevel);
        if (now_ - readout_.heard > kStale) about += "   silent for " + Duration(now_ - readout_.heard);
        Put(row_, 14, about);
    }

    // Position, rotary axes, head and I/O words side by side.
    void Places() {
        const Style told = readout_.line == Readout::Line::InOrder ? Style::Plain : Style::Faint;
        const Style placed = now_ - readout_.positionTold > kStale ? Style::Faint : told;
        Put(row_, kMargin, "POSITION mm", Style::Heading);
        constexpr const char *kAxes[] = {"X", "Y", "Z"};
        for (size_t i = 0; i < 3; ++i) {
            const std::string value = readout_.position ? Format("%12.4f", (*readout_.position)[i]) : "-";
            Put(row_ + 1 + static_cast<int>(i), kMargin, Format("%s %12s", kAxes[i], value.c_str()), placed);
        }
        constexpr int kRotaryColumn = 20, kHeadColumn = 37, kWordsColumn = 52;
        if (!readout_.rotary.empty()) {
            Put(row_, kRotaryColumn, readout_.rotary.size() > 1 ? "WRIST deg" : "ROTARY TABLE deg",
                Style::Heading);
            for (size_t i = 0; i < readout_.rotary.size(); ++i)
                Put(row_ + 1 + static_cast<int>(i), kRotaryColumn,
                    Format("%c %11.4f", i == 0 ? 'A' : 'B', readout_.rotary[i]), told);
        }
        if (readout_.head) Head(kHeadColumn);
        Put(row_, kWordsColumn, "I/O WORDS", Style::Heading);
        for (size_t i = 0; i < 2; ++i) {
            const std::string word =
                readout_.io ? Format("%04X ", (*readout_.io)[i]) + Bits((*readout_.io)[i]) : "-";
            Put(row_ + 1 + static_cast<int>(i), kWordsColumn, word, told);
        }
        row_ += 4;
    }

    void Head(int column) {
        const HeadReadout &head = *readout_.head;
        const bool answers = head.condition == HeadReadout::Condition::Answers;
        Put(row_, column, "HEAD deg", Style::Heading);
        if (head.isKnown) {
            const Style style = answers ? Style::Plain : Style::Faint;
            Put(row_ + 1, column, Format("A %8.1f", head.a), style);
            Put(row_ + 2, column, Format("B %8.1f", head.b), style);
        }
        if (answers) {
            Put(row_ + 3, column, head.manual ? "manual" : "automatic");
        } else {
            const bool mute = head.condition == HeadReadout::Condition::Mute;
            Put(row_ + 3, column, mute ? "no answer" : "asked", mute ? Style::Warning : Style::Faint);
        }
    }

    void Temperatures() {
        Skip();
        const std::vector<double> degrees = Degrees(readout_, options_.temperatureScale);
        Put(row_++, kMargin, "TEMPERATURES", Style::Heading);
        if (degrees.empty()) {
            Put(row_++, kMargin, "not told", Style::Faint);
            return;
        }
        const int columns = std::min(8, TemperatureColumns());
        for (size_t i = 0; i < degrees.size(); ++i) {
            const int index = static_cast<int>(i);
            Put(row_ + index / columns, kMargin + index % columns * kTemperatureWidth, Format("%2d", index),
                Style::Faint);
            Put(row_ + index / columns, kMargin + index % columns * kTemperatureWidth + 2,
                Format(degrees[i] < 100 ? "%6.2f" : "%6.1f", degrees[i]));
        }
        row_ += TemperatureRows();
    }

    void Parameters() {
        Skip();
        Put(row_, kMargin, "PARAMETERS", Style::Heading);
        if (readout_.parameters.empty()) {
            Put(row_ + 1, kMargin, readout_.parametersAsked ? "not told" : "...", Style::Faint);
            row_ += 2;
            return;
        }
        for (int axis = 0; axis < Readout::kParameterAxes; ++axis)
            Put(row_, 14 + 13 * axis, Format("%12c", "XYZAB"[axis]), Style::Heading);
        ++row_;
        for (const auto &[set, values] : readout_.parameters) {
            Put(row_, kMargin, Format("set %d", set));
            for (size_t axis = 0; axis < values.size(); ++axis) {
                const std::string value = std::isnan(values[axis]) ? "-" : Format("%.6g", values[axis]);
                Put(row_, 14 + 13 * static_cast<int>(axis), Format("%12s", value.c_str()));
            }
            ++row_;
        }
    }

    void Link() {
        if (readout_.counts.empty()) return;
        Skip();
        const auto count = [this](const char *name) { return CountOf(readout_, name); };
        const uint32_t errors = count("lineErrorsSent") + count("lineErrorsReceived");
        const uint32_t bad = count("framesRepeated") + count("framesGivenUp") + errors;
        Put(row_, kMargin, "LINK", Style::Heading);
        Put(row_, 7,
            Format("lost %d  errors %u  sent %u (%u again, %u given up)  received %u (%u again)",
                   readout_.losses, errors, count("framesSent"), count("framesRepeated"),
                   count("framesGivenUp"), count("framesReceived"), count("framesIgnored")),
            bad > 0 || readout_.losses > 0 ? Style::Warning : Style::Plain);
        ++row_;
    }

    // What happened fills the rows that are left, the last one at the bottom.
    void Happenings() {
        Skip();
        const int room = options_.rows - 1 - row_;
        if (room <= 0) return;
        if (readout_.happenings.empty()) {
            Put(row_, kMargin, "Nothing has happened yet.", Style::Faint);
            return;
        }
        constexpr int kWordsColumn = 11;
        std::vector<std::pair<std::string, std::string>>
            lines;  // time, empty in the rest of a text, and words
        for (const Happening &happening : readout_.happenings) {
            std::string time = TimeOfDay(happening.time);
            std::istringstream words(Wrapped(happening.words, options_.columns - kWordsColumn, 2));
            for (std::string line; std::getline(words, line); time.clear()) lines.emplace_back(time, line);
        }
        const size_t shown = std::min(lines.size(), static_cast<size_t>(room));
        for (auto line = lines.end() - static_cast<std::ptrdiff_t>(shown); line != lines.end();
             ++line, ++row_) {
            Put(row_, kMargin, line->first, Style::Faint);
            Put(row_, kWordsColumn, line->second);
        }
    }

    const Readout &readout_;
    const ScreenOptions &options_;
    const Clock::time_point now_;
    int row_ = 0;
    std::vector<Piece> pieces_;
};

}  // namespace

std::vector<Piece> ComposeScreen(const Readout &readout, const ScreenOptions &options) {
    return Screen(readout, options).Compose();
}

}  // namespace cmm
