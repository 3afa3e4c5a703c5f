// What the library gets from Windows itself: message boxes and window timers.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <thread>

#include "conformance/backend.h"
#include "platform/message_box.h"
#include "platform/message_loop.h"

namespace cc::test {
namespace {

TEST(MessageBoxWindows, IsModalWithoutAnOwnerUnderTheSystemsCaption) {
    std::atomic<bool> confirmed{false};
    std::thread operatorCalled([&confirmed] {
        platform::ShowMessageBox(" No ACK Received ");
        confirmed = true;
    });
    HWND box = nullptr;
    HWND text = nullptr;
    const bool shown = Eventually([&] {
        box = FindWindowA("#32770", "Error");
        text = FindWindowExA(box, nullptr, "STATIC", " No ACK Received ");
        return box != nullptr && text != nullptr;
    });
    EXPECT_TRUE(shown);
    EXPECT_EQ(GetWindow(box, GW_OWNER), nullptr);
    EXPECT_FALSE(confirmed);
    if (box != nullptr) PostMessageA(box, WM_COMMAND, IDOK, 0);
    operatorCalled.join();
    EXPECT_TRUE(confirmed);
}

std::atomic<int> timerRuns[2];  // on the first thread, and on others
DWORD firstThread = 0;

bool CountTimer() {
    ++timerRuns[GetCurrentThreadId() == firstThread ? 0 : 1];
    return true;
}

// Result: timer messages that came.
int DispatchFor(DWORD milliseconds) {
    int timers = 0;
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
            timers += message.message == WM_TIMER ? 1 : 0;
            DispatchMessageA(&message);
        }
    }
    return timers;
}

TEST(WindowTimer, ThatAnotherThreadStopsRunsNothingMore) {
    firstThread = GetCurrentThreadId();
    const uintptr_t first = platform::StartWindowTimer(nullptr, 10, CountTimer);
    ASSERT_NE(first, 0u);
    EXPECT_GT(DispatchFor(100), 0);
    EXPECT_GT(timerRuns[0], 0);
    std::thread([first] { platform::StopWindowTimer(nullptr, first); }).join();
    timerRuns[0] = 0;
    std::atomic<bool> runs{false};
    std::thread second([&runs] {
        const uintptr_t id = platform::StartWindowTimer(nullptr, 10, CountTimer);
        runs = id != 0;
        DispatchFor(300);
        platform::StopWindowTimer(nullptr, id);
        EXPECT_EQ(DispatchFor(50), 0);
    });
    EXPECT_TRUE(Eventually([&runs] { return runs.load(); }));
    EXPECT_LE(DispatchFor(200), 2);  // one more, or one that had been posted too
    EXPECT_EQ(DispatchFor(50), 0);
    second.join();
    EXPECT_EQ(timerRuns[0], 0);
    EXPECT_GT(timerRuns[1], 0);
}

}  // namespace
}  // namespace cc::test
