// Initialisation files: sections in brackets, "key = value" lines below them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cc::platform {

/// Reads a decimal integer: an optional sign and the leading digits of the value, saturated to 32 bits; 0
/// when the value has no leading digits. A missing file (null included), section or key, or an empty value,
/// gives `defaultValue`. Section and key are compared without regard to case.
int32_t ReadProfileInt(const char *file, const char *section, const char *key, int32_t defaultValue);

/// Reads a text into `out`, at most capacity - 1 characters and a NUL. Blanks around the value and one pair
/// of quotes are removed. A missing file (null included), section or key gives `defaultText`.
void ReadProfileText(const char *file, const char *section, const char *key, const char *defaultText,
                     char *out, size_t capacity);

}  // namespace cc::platform
