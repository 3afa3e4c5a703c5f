#include "platform/profile.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/portable/profile_scanner.h"

namespace cc::platform {
namespace {

// Feeds the file to the scanner; a file that cannot be read is an empty one.
bool ScanFile(const char *file, ProfileScanner &scanner) {
    const int descriptor = file == nullptr ? -1 : open(file, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    char bytes[1024];
    ssize_t count = 0;
    while ((count = read(descriptor, bytes, sizeof bytes)) > 0)
        scanner.Feed(bytes, static_cast<size_t>(count));
    close(descriptor);
    return scanner.Finish();
}

}  // namespace

int32_t ReadProfileInt(const char *file, const char *section, const char *key, int32_t defaultValue) {
    ProfileScanner scanner(section, key);
    return ScanFile(file, scanner) && !scanner.Value().empty() ? LeadingInteger(scanner.Value())
                                                               : defaultValue;
}

void ReadProfileText(const char *file, const char *section, const char *key, const char *defaultText,
                     char *out, size_t capacity) {
    ProfileScanner scanner(section, key);
    CopyText(ScanFile(file, scanner) ? scanner.Value() : defaultText, out, capacity);
}

}  // namespace cc::platform
