// Entry of the fuzzer: FUZZ_TARGET is the function of the target, by the build.
#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    cc::fuzz::FUZZ_TARGET(data, size);
    return 0;
}
