#include "cc_interface_posix.h"
#include "dme/library_loop.h"

namespace cmm::dme {

struct LibraryLoop::Running : std::enable_shared_from_this<LibraryLoop::Running> {
    Running(asio::io_context &context, std::function<bool()> mayRunNow, std::function<void()> onRunDone)
        : descriptor(context), mayRun(std::move(mayRunNow)), onRun(std::move(onRunDone)) {}
    // The descriptor is the library's.
    void Release() {
        if (descriptor.is_open()) descriptor.release();
    }

    void Watch() {
        if (watching || !descriptor.is_open()) return;
        watching = true;
        descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                              [self = shared_from_this()](asio::error_code error) {
                                  self->watching = false;
                                  if (error) return;
                                  // What may not run now stays due: the next turn looks again.
                                  if (!self->mayRun()) return;
                                  CC_LOOP_DISPATCH();
                                  self->onRun();
                                  self->Watch();
                              });
    }

    asio::posix::stream_descriptor descriptor;
    std::function<bool()> mayRun;
    std::function<void()> onRun;
    bool watching = false;
};

LibraryLoop::LibraryLoop(asio::io_context &context, std::function<bool()> mayRun, std::function<void()> onRun)
    : running_(std::make_shared<Running>(context, std::move(mayRun), std::move(onRun))) {
    Turn();
}

LibraryLoop::~LibraryLoop() {
    running_->Release();
}

void LibraryLoop::Turn() {
    Running &running = *running_;
    const int fresh = CC_LOOP_FD();
    const bool same = running.descriptor.is_open() && running.descriptor.native_handle() == fresh;
    if (!same) {
        running.Release();
        if (fresh >= 0) running.descriptor.assign(fresh);
    }
    running.Watch();
}

}  // namespace cmm::dme
