// Every export, called as a 32-bit host may call it: by its bytes of arguments, on a stack aligned to 4 bytes.
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <string>

#include "cc_interface.h"

namespace {

struct Called {
    uint32_t takenOff;  // bytes of the stack
    bool keptRegisters;
};

// Calls `function` with `words` zeros, on a stack that is `offset` below a multiple of 16 before they are pushed.
Called Call(FARPROC function, uint32_t words, uint32_t offset) {
    uint32_t taken = reinterpret_cast<uintptr_t>(function);
    uint32_t kept = 0;
    asm volatile(
        "pushl %%ebp; pushl %%ebx; movl %%esp, %%esi\n\t"
        "andl $-16, %%esp; subl %%edx, %%esp; pushl %%esi\n\t"
        "jecxz 2f\n\t"
        "1: pushl $0; decl %%ecx; jnz 1b\n\t"
        "2: movl %%esp, %%edi; movl $0x5A5A5A5A, %%ebx; movl %%esi, %%ebp\n\t"
        "call *%%eax\n\t"
        "movl %%esp, %%eax; subl %%edi, %%eax\n\t"
        "cmpl $0x5A5A5A5A, %%ebx; setne %%cl; cmpl %%esi, %%ebp; setne %%ch\n\t"
        "movl %%esi, %%esp; popl %%ebx; popl %%ebp"
        : "+a"(taken), "+c"(words), "+d"(offset)
        :
        : "esi", "edi", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7");
    kept = words & 0xFFFF;
    return {taken, kept == 0};
}

TEST(Exports32, TakeTheirArgumentsOffAnyStack) {
    const HMODULE library = LoadLibraryA("CC_Interface.dll");
    ASSERT_NE(library, nullptr);
    const auto found = [library](const std::string &name) { return GetProcAddress(library, name.c_str()); };
    const auto init = reinterpret_cast<decltype(&CC_INIT)>(reinterpret_cast<void *>(found("CC_INIT")));
    const auto status =
        reinterpret_cast<decltype(&CC_GETSTATUS)>(reinterpret_cast<void *>(found("CC_GETSTATUS")));
    const std::string ini = testing::TempDir() + "cc_exports.ini";
    std::ofstream(ini) << "[Timers]\nLo Period=1\ntimeout=0\n";
    std::ifstream table(CC_EXPORTS_TABLE);
    std::string name;
    std::string bytes;
    int called = 0;
    while (table >> name >> bytes) {
        if (bytes == "posix") continue;
        const FARPROC function = found(name);
        ASSERT_NE(function, nullptr) << name;
        const uint32_t expected = bytes == "cdecl" ? 0 : static_cast<uint32_t>(std::stoul(bytes));
        for (const uint32_t offset : {0, 4, 8, 12}) {
            for (const int16_t arm : {1, 2}) {
                if (status(arm) != -1) continue;
                ASSERT_EQ(init(nullptr, arm, nullptr, nullptr, nullptr, 1, 0.001, 0.5,
                               CC_SIMULATION | CC_SIMULATED_HEAD, ini.c_str()),
                          CC_OK);
            }
            const Called result = Call(function, bytes == "cdecl" ? 1 : expected / 4, offset);
            EXPECT_EQ(result.takenOff, expected) << name;
            EXPECT_TRUE(result.keptRegisters) << name;
        }
        ++called;
    }
    EXPECT_GT(called, 90);
}

}  // namespace
