// A client's bytes as lines.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cmm::dme {

/// Holds at most one line and a half: who feeds takes the lines first.
class ClientLines {
  public:
    /// `text`: without CR LF. A LF without its CR ends a line too and stays in it, as an illegal character. Of a line
    /// that is too long only so much is kept that it can be told to be.
    /// `early`: it began to come before the line in front of it could be answered.
    struct Line {
        std::string text;
        bool early;
    };

    /// What has come at once.
    void Feed(std::string_view bytes);
    /// Nothing: there is no whole line.
    std::optional<Line> Next();

    /// Bytes that were fed and not taken.
    size_t Size() const { return line_.size() + bytes_.size() - at_; }
    /// Whether a line has begun and not ended.
    bool IsInside() const { return at_ == bytes_.size() && !line_.empty(); }

  private:
    std::string bytes_;  // as they were fed; those before at_ are done
    size_t at_ = 0;
    std::string line_;      // the beginning of the next line
    bool early_ = false;    // it came behind another one
    bool another_ = false;  // a line of bytes_ was taken
};

}  // namespace cmm::dme
