// What the library gets from Windows itself: message boxes and window timers.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <thread>

#include "conformance/backend.h"
#include "platform/message_box.h"
#include "platform/message_loop.h"
#include "windows/message_loop.h"

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

class WindowTimer : public testing::Test {
  protected:
    WindowTimer() { periods = wakes = elsewhere = 0; }

    static bool Count(bool periodic) {
        ++(GetCurrentThreadId() != thread ? elsewhere : periodic ? periods : wakes);
        return true;
    }
    static void WakeTwiceElsewhere() {
        std::thread([] {
            platform::WakeWindowTimer();
            platform::WakeWindowTimer();
        }).join();
    }

    inline static const DWORD thread = GetCurrentThreadId();
    inline static std::atomic<int> periods, wakes;  // runs on that thread
    inline static std::atomic<int> elsewhere;       // and on others
};

TEST_F(WindowTimer, ThatAnotherThreadStopsRunsNothingMore) {
    const uintptr_t first = platform::StartWindowTimer(nullptr, 10, Count);
    EXPECT_TRUE(Loop([] { return periods > 0; }));
    std::thread([first] { platform::StopWindowTimer(nullptr, first); }).join();
    periods = 0;
    std::thread second([] {
        const uintptr_t id = platform::StartWindowTimer(nullptr, 10, Count);
        LoopFor(300);
        platform::StopWindowTimer(nullptr, id);
        EXPECT_EQ(KillTimer(nullptr, id), FALSE);
    });
    EXPECT_TRUE(Eventually([] { return elsewhere > 0; }));
    LoopFor(100);
    EXPECT_EQ(KillTimer(nullptr, first), FALSE);  // it fired once more
    second.join();
    EXPECT_EQ(periods, 0);
}

TEST_F(WindowTimer, RunsOnItsThreadAtOnceWhenAnotherWakesIt) {
    const HWND real = CreateWindowA("STATIC", "timer", 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(real, nullptr);
    for (const HWND window : {HWND{nullptr}, real}) {
        uintptr_t id = platform::StartWindowTimer(window, 3'600'000, Count);
        for (wakes = 0; wakes < 3;) {
            const int before = wakes;
            WakeTwiceElsewhere();
            LoopFor(50);
            ASSERT_EQ(wakes, before + 1);
        }
        WakeTwiceElsewhere();
        platform::StopWindowTimer(window, id);
        WakeTwiceElsewhere();
        LoopFor(50);
        EXPECT_EQ(wakes, 3);
        EXPECT_EQ(periods, 0);
        id = platform::StartWindowTimer(window, 10, Count);
        WakeTwiceElsewhere();
        EXPECT_TRUE(Loop([] { return periods == 3; }));
        EXPECT_EQ(wakes, 4);
        platform::StopWindowTimer(window, id);
        periods = 0;
    }
    EXPECT_EQ(elsewhere, 0);
    DestroyWindow(real);
}

}  // namespace
}  // namespace cc::test
