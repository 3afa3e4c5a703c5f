// Entry of the fuzzer: FUZZ_TARGET is the number of the target, by the build.
#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    cc::fuzz::kTargets[FUZZ_TARGET].run(data, size);
    return 0;
}
