// Nothing is allocated while an arm is open: every allocation of the process is counted.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "cc_interface.h"
#include "cc_interface_posix.h"

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};

}  // namespace

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size) {
    allocations += counting;
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    allocations += counting;
    return __libc_calloc(count, size);
}
void *realloc(void *block, size_t size) {
    allocations += counting;
    return __libc_realloc(block, size);
}
}

namespace {

int events = 0;

void CC_CALL CountEvent(int32_t, uint32_t, void *) {
    ++events;
}

TEST(Allocation, NoneInASessionOfThousandsOfCommands) {
    ASSERT_EQ(CC_INIT(nullptr, 1, CountEvent, nullptr, nullptr, 1, 0.001, 1, CC_SIMULATION, nullptr), CC_OK);
    uint8_t record[48] = {};
    uint16_t words[2] = {};
    const double position[6] = {1, 2, 3, 0, 0, 1};
    events = 0;
    counting = true;
    ASSERT_EQ(CC_SETSTATUS(1, 1), 1);
    for (uint32_t i = 0; i < 500; ++i) {
        CC_FEED(1, 100);
        CC_IO(1, 0, words);
        CC_READTEMP(1);
        CC_ASKCOORD(1, static_cast<int16_t>(i % 2));
        if (CC_CANSEND(1, 2) != 0) CC_MOVE(1, 2, position, i, 0, nullptr, nullptr, 0);
        if (i % 50 == 0) {
            CC_SETINFO(1, record);
            CC_GETINFO(1, record);
            CC_IO(1, 1, words);
            CC_GETCOORD(1);
            CC_INFO(1, record);
            CC_LOOP_RUN(20);
        }
    }
    CC_LOOP_RUN(100);
    counting = false;
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(events, 100);
    counting = true;
    void *volatile block = malloc(1);
    counting = false;
    free(block);
    EXPECT_EQ(allocations, 1);  // the count does count
    CC_DONE(1, 2);
}

}  // namespace
