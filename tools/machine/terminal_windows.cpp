#include <io.h>
#include <windows.h>

#include "machine/terminal.h"

namespace cmm {

int TerminalColumns(std::FILE *stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (GetConsoleScreenBufferInfo(handle, &info) == 0) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool IsAnswered() {
    return _isatty(_fileno(stdin)) != 0;
}

}  // namespace cmm
