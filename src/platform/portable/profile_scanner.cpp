#include "platform/portable/profile_scanner.h"

#include <algorithm>
#include <cstring>

#include "platform/portable/text.h"

namespace cc::platform {

void ProfileScanner::Feed(const char *bytes, size_t count) {
    for (size_t i = 0; i < count && state_ != State::Found && state_ != State::Missing; ++i) {
        if (bytes[i] == '\n' || bytes[i] == '\r') {
            TakeLine();
            if (state_ != State::Found) lineLength_ = 0;  // a value found points into the line
        } else if (lineLength_ < sizeof line_) {
            line_[lineLength_++] = bytes[i];
        }
    }
}

bool ProfileScanner::Finish() {
    if (state_ == State::BeforeSection || state_ == State::InSection) TakeLine();
    return state_ == State::Found;
}

void ProfileScanner::TakeLine() {
    const std::string_view line = Trimmed({line_, lineLength_});
    if (line.empty() || line.front() == ';') return;
    if (line.front() == '[') {
        const std::string_view name = line.substr(1, line.find(']') - 1);
        if (state_ == State::InSection) {
            state_ = State::Missing;
        } else if (EqualIgnoringCase(Trimmed(name), section_)) {
            state_ = State::InSection;
        }
        return;
    }
    const size_t equals = line.find('=');
    if (state_ != State::InSection || equals == std::string_view::npos) return;
    if (!EqualIgnoringCase(Trimmed(line.substr(0, equals)), key_)) return;
    value_ = Trimmed(line.substr(equals + 1));
    if (value_.size() >= 2 && (value_.front() == '"' || value_.front() == '\'') &&
        value_.back() == value_.front()) {
        value_ = value_.substr(1, value_.size() - 2);
    }
    state_ = State::Found;
}

int32_t LeadingInteger(std::string_view text) {
    text = Trimmed(text);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        value = std::min<int64_t>(value * 10 + (c - '0'), int64_t{INT32_MAX} + 1);
    }
    return static_cast<int32_t>(negative ? -value : std::min<int64_t>(value, INT32_MAX));
}

void CopyText(std::string_view text, char *out, size_t capacity) {
    if (capacity == 0) return;
    const size_t length = std::min(text.size(), capacity - 1);
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
}

}  // namespace cc::platform
