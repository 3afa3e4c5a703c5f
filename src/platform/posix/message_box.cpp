#include "platform/message_box.h"

#include <unistd.h>

#include <cstdio>

#include "platform/posix/monotonic.h"

namespace cc::platform {
namespace {

struct BoxHandler {
    Monitor monitor;
    MessageBoxHandler show CC_GUARDED_BY(monitor) = nullptr;
    void *user CC_GUARDED_BY(monitor) = nullptr;
} handler;

void ShowOnStandardError(const char *text) {
    std::fprintf(stderr, "%s\n", text);
    if (isatty(STDIN_FILENO) == 0) return;
    std::fprintf(stderr, "[Enter]\n");
    char c = 0;
    while (read(STDIN_FILENO, &c, 1) == 1 && c != '\n') {
    }
}

}  // namespace

void ShowMessageBox(const char *text) {
    MessageBoxHandler show = nullptr;
    void *user = nullptr;
    {
        const Guard guard(handler.monitor);
        show = handler.show;
        user = handler.user;
    }
    if (show != nullptr) {
        show(text, user);
    } else {
        ShowOnStandardError(text);
    }
}

void SetMessageBoxHandler(MessageBoxHandler show, void *user) {
    const Guard guard(handler.monitor);
    handler.show = show;
    handler.user = user;
}

}  // namespace cc::platform
