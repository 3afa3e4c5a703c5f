#include "serial/serial.h"

namespace cc {

void CSerial::Close() {
    if (!MarkClosed()) return;
    watcher_.Stop(kThreadEndTimeoutMs);
    line_.Close();
}

}  // namespace cc
