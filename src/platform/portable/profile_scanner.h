// Reads one value out of an initialisation file that arrives in pieces. No allocation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace cc::platform {

/// Finds the first line "key = value" in the first section of the given name. Lines longer than 511
/// characters lose their tail; lines that start with ';' are comments.
class ProfileScanner {
  public:
    /// Section and key must outlive the scanner.
    ProfileScanner(std::string_view section, std::string_view key) : section_(section), key_(key) {}

    /// Takes the next bytes of the file.
    void Feed(const char *bytes, size_t count);
    /// Takes the end of the file. Result: whether the value was found.
    bool Finish();
    /// The value without surrounding blanks and without one pair of quotes; valid after Finish() gave true.
    std::string_view Value() const { return value_; }

  private:
    enum class State { BeforeSection, InSection, Found, Missing };

    void TakeLine();

    std::string_view section_;
    std::string_view key_;
    State state_ = State::BeforeSection;
    char line_[512];
    size_t lineLength_ = 0;
    std::string_view value_;
};

/// The integer that `text` starts with: sign and digits, saturated to 32 bits; 0 without digits.
int32_t LeadingInteger(std::string_view text);

/// Copies text into out, cut to capacity - 1 characters, with a NUL.
void CopyText(std::string_view text, char *out, size_t capacity);

}  // namespace cc::platform
