#include "dme/client_lines.h"

#include <algorithm>

#include "dme/grammar.h"

namespace cmm::dme {
namespace {

constexpr size_t kMostKept = kLongestLine + 2;

}  // namespace

void ClientLines::Feed(std::string_view bytes) {
    // What was left lies behind a line that has not been answered.
    another_ = at_ < bytes_.size();
    bytes_.erase(0, at_);
    at_ = 0;
    bytes_ += bytes;
}

std::optional<ClientLines::Line> ClientLines::Next() {
    if (at_ == bytes_.size()) return std::nullopt;
    if (line_.empty()) early_ = another_;
    const size_t end = bytes_.find('\n', at_);
    const size_t behind = end == std::string::npos ? bytes_.size() : end + 1;
    const size_t room = kMostKept - std::min(kMostKept, line_.size());
    const bool hasCr = end != std::string::npos && (end > at_       ? bytes_[end - 1]
                                                    : line_.empty() ? ' '
                                                                    : line_.back()) == '\r';
    line_.append(bytes_, at_, std::min(room, behind - at_));
    at_ = behind;
    if (end == std::string::npos) return std::nullopt;
    another_ = true;
    Line line{std::move(line_), early_};
    line_.clear();
    if (hasCr && line.text.ends_with("\r\n")) line.text.resize(line.text.size() - 2);
    return line;
}

}  // namespace cmm::dme
