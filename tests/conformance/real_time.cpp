// The time of the backends that run on real clocks.
#include <chrono>
#include <thread>

#include "conformance/backend.h"

namespace cc::test {

int64_t BackendNow() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool Eventually(const std::function<bool()> &reached) {
    const int64_t deadline = BackendNow() + 5000;
    for (; !reached(); std::this_thread::yield()) {
        if (BackendNow() >= deadline) return false;
    }
    return true;
}

}  // namespace cc::test
