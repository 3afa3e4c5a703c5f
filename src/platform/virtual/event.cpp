#include "platform/event.h"

#include <map>
#include <string>

#include "platform/virtual/world.h"

namespace cc::platform {
namespace {

struct SharedEvent {
    int handles = 0;
    bool signalled = false;
};

std::map<std::string, SharedEvent> &Events() {
    static auto &events = *new std::map<std::string, SharedEvent>;
    return events;
}

}  // namespace

bool Event::OpenShared(const char *name) {
    Close();
    if (World::Instance().CallFails()) return false;
    SharedEvent &event = Events()[name];
    if (event.handles++ == 0) event.signalled = false;
    handle_ = &event;
    return true;
}

bool Event::OpenPrivate() {
    return OpenShared(std::to_string(reinterpret_cast<uintptr_t>(this)).c_str());
}

void Event::Signal() {
    if (handle_ != nullptr) static_cast<SharedEvent *>(handle_)->signalled = true;
}

bool Event::Wait(uint32_t milliseconds) {
    if (handle_ == nullptr) return false;
    auto &event = *static_cast<SharedEvent *>(handle_);
    World &world = World::Instance();
    const bool signalled =
        world.PassUntil(world.Now() + milliseconds * kMillisecond, [&event] { return event.signalled; });
    event.signalled = false;
    return signalled;
}

void Event::Close() {
    if (handle_ != nullptr) --static_cast<SharedEvent *>(handle_)->handles;
    handle_ = nullptr;
}

}  // namespace cc::platform
