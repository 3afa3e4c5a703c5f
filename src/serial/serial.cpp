#include "serial/serial.h"

namespace cc {

int CSerial::Close() {
    if (!MarkClosed()) return 1;
    watcher_.Stop(kThreadEndTimeoutMs);
    line_.Close();
    return 1;
}

}  // namespace cc
