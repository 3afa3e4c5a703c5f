#include <sys/ioctl.h>
#include <unistd.h>

#include "machine/terminal.h"

namespace cmm {

int TerminalColumns(std::FILE *stream) {
    constexpr int kUsual = 80;
    winsize size{};
    if (isatty(fileno(stream)) == 0) return 0;
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

bool IsAnswered() {
    return isatty(STDIN_FILENO) != 0;
}

}  // namespace cmm
