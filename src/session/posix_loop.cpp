// The exports that exist outside Windows only.
#include "cc_interface_posix.h"
#include "platform/message_box.h"
#include "platform/message_loop.h"

int CC_LOOP_FD(void) {
    return cc::platform::LoopDescriptor();
}

int CC_LOOP_DISPATCH(void) {
    return cc::platform::LoopDispatch();
}

int CC_LOOP_RUN(int milliseconds) {
    return cc::platform::LoopRun(milliseconds);
}

void CC_SET_MESSAGE_BOX(void (*show)(const char *text, void *user), void *user) {
    cc::platform::SetMessageBoxHandler(show, user);
}
