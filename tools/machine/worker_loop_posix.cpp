#include "cc_interface_posix.h"
#include "machine/worker_loop.h"

namespace cmm {

void RunLoop(int milliseconds) {
    CC_LOOP_RUN(milliseconds);
}

}  // namespace cmm
