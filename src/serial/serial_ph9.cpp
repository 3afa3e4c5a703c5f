#include "serial/serial_ph9.h"

namespace cc {

int CSerialPH9::Close() {
    if (!MarkClosed()) return 1;
    line_.Close();
    watcher_.Stop(kThreadEndTimeoutMs);
    return 1;
}

void CSerialPH9::AfterRead(bool waited) {
    watcher_.Rearm();
    if (waited) lineReady.store(0, std::memory_order_relaxed);
}

}  // namespace cc
