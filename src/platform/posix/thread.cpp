#include "platform/thread.h"

#include <pthread.h>

namespace cc::platform {

uintptr_t CurrentThread() {
    return static_cast<uintptr_t>(pthread_self());
}

}  // namespace cc::platform
