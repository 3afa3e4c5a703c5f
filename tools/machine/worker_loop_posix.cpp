#include "cc_interface_posix.h"
#include "machine/worker_loop.h"

namespace cmm {

void RunLoop(int milliseconds) {
    CC_LOOP_RUN(milliseconds);
}

void TakeBoxes(void (*onBox)(const char *text, void *user)) {
    CC_SET_MESSAGE_BOX(onBox, nullptr);
}

}  // namespace cmm
