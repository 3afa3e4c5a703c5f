#include "serial/serial_ph9.h"

namespace cc {

void CSerialPH9::Close() {
    if (!MarkClosed()) return;
    line_.Close();
    watcher_.Stop(kThreadEndTimeoutMs);
}

void CSerialPH9::AfterRead(bool waited) {
    watcher_.Rearm();
    if (waited) lineReady.store(false, std::memory_order_relaxed);
}

}  // namespace cc
