#include "platform/event.h"

#include <cstring>

#include "platform/portable/profile_scanner.h"
#include "platform/posix/monotonic.h"

namespace cc::platform {
namespace {

struct SharedEvent {
    char name[32];
    int handles;
    bool signalled;
};

Monitor monitor;
SharedEvent events[4];  // an acknowledgement event and a private one for each arm, and one to spare

}  // namespace

bool Event::OpenShared(const char *name) {
    Close();
    const Guard guard(monitor);
    SharedEvent *free = nullptr;
    for (SharedEvent &event : events) {
        if (event.handles == 0) {
            free = &event;
        } else if (*name != '\0' && std::strcmp(event.name, name) == 0) {
            ++event.handles;
            handle_ = &event;
            return true;
        }
    }
    if (free == nullptr) return false;
    CopyText(name, free->name, sizeof free->name);
    free->handles = 1;
    free->signalled = false;
    handle_ = free;
    return true;
}

bool Event::OpenPrivate() {
    return OpenShared("");
}

void Event::Signal() {
    if (handle_ == nullptr) return;
    const Guard guard(monitor);
    static_cast<SharedEvent *>(handle_)->signalled = true;
    monitor.NotifyAll();
}

bool Event::Wait(uint32_t milliseconds) {
    if (handle_ == nullptr) return false;
    auto &event = *static_cast<SharedEvent *>(handle_);
    const int64_t deadline = MonotonicNow() + int64_t{milliseconds} * 1'000'000;
    const Guard guard(monitor);
    while (!event.signalled && MonotonicNow() < deadline) monitor.WaitUntil(deadline);
    const bool signalled = event.signalled;
    event.signalled = false;
    return signalled;
}

void Event::Close() {
    if (handle_ == nullptr) return;
    const Guard guard(monitor);
    --static_cast<SharedEvent *>(handle_)->handles;
    handle_ = nullptr;
}

}  // namespace cc::platform
