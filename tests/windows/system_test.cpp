// What the library gets from Windows itself: message boxes and window timers.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

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

bool CountTimer(bool) {
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

struct TimerRun {
    DWORD thread;
    bool periodic;
    auto operator<=>(const TimerRun &) const = default;
};
std::vector<TimerRun> runs;

bool KeepRun(bool periodic) {
    runs.push_back({GetCurrentThreadId(), periodic});
    return true;
}

TEST(WindowTimer, RunsOnItsThreadAtOnceWhenAnotherWakesIt) {
    const HWND real = CreateWindowA("STATIC", "timer", 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(real, nullptr);
    const TimerRun woken{GetCurrentThreadId(), false};
    const TimerRun fired{GetCurrentThreadId(), true};
    for (const HWND window : {HWND{nullptr}, real}) {
        runs.clear();
        const auto wakeTwice = [] {
            std::thread([] {
                for (int i = 0; i < 2; ++i) platform::WakeWindowTimer();
            }).join();
        };
        uintptr_t id = platform::StartWindowTimer(window, 3'600'000, KeepRun);
        ASSERT_NE(id, 0u);
        for (size_t wakes = 1; wakes <= 3; ++wakes) {
            wakeTwice();
            DispatchFor(50);
            EXPECT_EQ(runs, std::vector<TimerRun>(wakes, woken));
        }
        wakeTwice();
        platform::StopWindowTimer(window, id);
        wakeTwice();
        DispatchFor(50);
        EXPECT_EQ(runs.size(), 3u);
        runs.clear();
        id = platform::StartWindowTimer(window, 10, KeepRun);
        DispatchFor(200);
        wakeTwice();
        DispatchFor(200);
        platform::StopWindowTimer(window, id);
        EXPECT_GT(runs.size(), 4u);
        EXPECT_EQ(std::count(runs.begin(), runs.end(), woken), 1);
        EXPECT_EQ(std::count(runs.begin(), runs.end(), fired) + 1, runs.size());
    }
    DestroyWindow(real);
}

}  // namespace
}  // namespace cc::test
