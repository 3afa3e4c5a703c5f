// The ways in which a driver may report the event character, or not: under Wine none ever does. The backend's lines run
// here on a driver that stands in for the system's.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace cc::test {
namespace {

struct StandInDriver {
    // How it behaves.
    DWORD acceptedMask = 254;
    bool silent = false;      // does not report the event character
    bool emptyWaits = false;  // its waits end at once, without an event
    bool failingWaits = false;
    bool hangingReads = false;
    bool hastyClock = false;  // a second passes with each look at it

    std::mutex lock;  // guards the fields below
    std::condition_variable released;
    std::vector<uint8_t> input;
    uint8_t eventChar = 0;
    DWORD mask = 0;
    DWORD pending = 0;  // events that nobody waited for
    DWORD *events = nullptr;
    OVERLAPPED *waiting = nullptr;
    uint64_t clock = 1000;

    void EndWait(DWORD happened) {
        if (waiting == nullptr) return;
        *events = happened;
        SetEvent(std::exchange(waiting, nullptr)->hEvent);
    }

    void Report(DWORD happened) {
        pending |= happened & mask;
        if (waiting != nullptr && pending != 0) EndWait(std::exchange(pending, 0));
    }

    void Send(const std::vector<uint8_t> &bytes) {
        const std::lock_guard guard(lock);
        input.insert(input.end(), bytes.begin(), bytes.end());
        const bool ends = std::find(bytes.begin(), bytes.end(), eventChar) != bytes.end();
        Report(EV_CTS | (ends && !silent ? EV_RXFLAG : 0));
    }

    BOOL SetMask(DWORD wanted) {
        const std::lock_guard guard(lock);
        if ((wanted & ~acceptedMask) != 0) return FALSE;
        mask = wanted;
        EndWait(0);  // a change ends the wait
        return TRUE;
    }

    BOOL Wait(DWORD *into, OVERLAPPED *operation) {
        const std::lock_guard guard(lock);
        *into = 0;
        if (emptyWaits) return TRUE;
        SetLastError(failingWaits ? ERROR_INVALID_FUNCTION : ERROR_IO_PENDING);
        if (failingWaits) return FALSE;
        events = into;
        waiting = operation;
        Report(0);
        return FALSE;
    }

    BOOL Read(void *buffer, DWORD count, DWORD *read) {
        std::unique_lock guard(lock);
        released.wait(guard, [this] { return !hangingReads; });
        *read = static_cast<DWORD>(std::min<size_t>(count, input.size()));
        std::copy_n(input.begin(), *read, static_cast<uint8_t *>(buffer));
        input.erase(input.begin(), input.begin() + static_cast<ptrdiff_t>(*read));
        return TRUE;
    }

    BOOL State(COMSTAT *state) {
        const std::lock_guard guard(lock);
        if (state != nullptr) state->cbInQue = static_cast<DWORD>(input.size());
        return TRUE;
    }

    BOOL Cancel() {
        const std::lock_guard guard(lock);
        EndWait(0);
        return TRUE;
    }

    ULONGLONG Clock() {
        const std::lock_guard guard(lock);
        return hastyClock ? clock += 1000 : GetTickCount();
    }
} driver;

}  // namespace
}  // namespace cc::test

#define CreateFileA(...) CreateEventA(nullptr, TRUE, FALSE, nullptr)
#define SetupComm(...) TRUE
#define SetCommState(handle, settings) \
    (cc::test::driver.eventChar = static_cast<uint8_t>((settings)->EvtChar), TRUE)
#define SetCommTimeouts(...) TRUE
#define GetCommTimeouts(handle, timeouts) ((timeouts)->ReadTotalTimeoutConstant = 25)
#define SetCommMask(handle, mask) cc::test::driver.SetMask(mask)
#define WaitCommEvent(handle, events, operation) cc::test::driver.Wait(events, operation)
#define GetOverlappedResult(...) TRUE
#define ReadFile(handle, buffer, count, read, operation) cc::test::driver.Read(buffer, count, read)
#define ClearCommError(handle, errors, state) cc::test::driver.State(state)
#define CancelIoEx(...) cc::test::driver.Cancel()
#define GetTickCount64() cc::test::driver.Clock()

#include "platform/win32/line_watcher.cpp"
#include "platform/win32/serial_line.cpp"

namespace cc::test {
namespace {

bool Eventually(const std::function<bool()> &reached) {
    for (int i = 0; i < 5000 && !reached(); ++i) Sleep(1);
    return reached();
}

class EventPath : public testing::Test {
  protected:
    void Open() {
        ASSERT_TRUE(line.Open(9));
        ASSERT_TRUE(line.Apply({9600, 'E', 8, 1, 3, 8}));
        const auto take = [](void *self) {
            auto &test = *static_cast<EventPath *>(self);
            uint8_t bytes[8];
            test.taken += static_cast<int>(test.line.Read(bytes, sizeof bytes).count);
            ++test.events;
        };
        ASSERT_TRUE(watcher.Start(line, platform::WatcherPriority::Highest, take, this));
    }
    void TearDown() override {
        EXPECT_TRUE(watcher.Stop(5000));
        line.Close();
        events = taken = 0;
        driver.~StandInDriver();
        new (&driver) StandInDriver;
    }

    // Two frames come, each is an event whose procedure reads it whole. Result: the mask that the watcher
    // ended up with.
    DWORD Receive() {
        Open();
        driver.Send({2, 8});
        EXPECT_TRUE(Eventually([this] { return events == 1 && taken == 2; }));
        driver.Send({1, 5, 8});
        EXPECT_TRUE(Eventually([this] { return events == 2 && taken == 5; }));
        watcher.Rearm();
        driver.Send({8});
        EXPECT_TRUE(Eventually([this] { return events == 3 && taken == 6; }));
        const std::lock_guard guard(driver.lock);
        return driver.mask;
    }

    platform::SerialLine line;
    platform::LineWatcher watcher;
    std::atomic<int> events{0};
    std::atomic<int> taken{0};
};

TEST_F(EventPath, TakesWhatTheDriverReports) {
    EXPECT_EQ(Receive(), 254u);
    // Nothing but a reported character is an event, also when input lies for long.
    driver.Send({1, 2});
    Sleep(500);
    EXPECT_EQ(events, 3);
    EXPECT_TRUE(line.HasUnreadEvent());
    line.ReportAgain();
    EXPECT_TRUE(Eventually([this] { return events == 4 && taken == 8; }));
    // What lies there is looked at without being lost.
    driver.Send({3});
    EXPECT_FALSE(line.HoldsEventChar());
    driver.Send({8});
    EXPECT_TRUE(Eventually([this] { return events == 5 && taken == 10; }));
}

TEST_F(EventPath, AsksForTheCharacterAloneWhereMoreIsRefused) {
    driver.acceptedMask = EV_RXFLAG;
    EXPECT_EQ(Receive(), static_cast<DWORD>(EV_RXFLAG));
}

// The mask 0 marks a watcher that has ended its waits and reads by itself: where nothing is reported, where waits
// end without an event and where they fail.
TEST_F(EventPath, ReadsByItselfWhereTheDriverIsOfNoUse) {
    for (bool StandInDriver::*const fault :
         {&StandInDriver::silent, &StandInDriver::emptyWaits, &StandInDriver::failingWaits}) {
        driver.*fault = true;
        EXPECT_EQ(Receive(), 0u);
        TearDown();
    }
}

TEST_F(EventPath, ClosingGivesUpOnADriverThatHangs) {
    driver.hangingReads = true;
    driver.hastyClock = true;
    Open();
    driver.Send({8});
    EXPECT_TRUE(Eventually([] {
        const std::lock_guard guard(driver.lock);
        return driver.input.size() == 1 && driver.pending == 0;
    }));
    line.Close();  // comes back, although the procedure hangs in its read
    EXPECT_EQ(events, 0);
    {
        const std::lock_guard guard(driver.lock);
        driver.hangingReads = false;
        driver.released.notify_all();
    }
    EXPECT_TRUE(Eventually([this] { return !line.State()->watched; }));
    watcher.Stop(0);  // by this clock no time is left to see the thread's end
}

}  // namespace
}  // namespace cc::test
