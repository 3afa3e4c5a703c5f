// The ways in which a driver may report the event character, or not: under Wine none ever does.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "platform/line_watcher.h"
#include "platform/serial_line.h"
#include "platform/win32/line.h"

namespace cc::test {

StandInDriver driver;

void StandInDriver::Report(DWORD happened) {
    pending |= happened & mask;
    if (waiting == nullptr || pending == 0) return;
    *events = std::exchange(pending, 0);
    SetEvent(std::exchange(waiting, nullptr)->hEvent);
}

void StandInDriver::Send(const std::vector<uint8_t> &bytes) {
    const std::lock_guard guard(lock);
    input.insert(input.end(), bytes.begin(), bytes.end());
    const bool ends = std::find(bytes.begin(), bytes.end(), eventChar) != bytes.end();
    Report(EV_CTS | (ends && !silent ? EV_RXFLAG : 0));
}

HANDLE StandInOpen() {
    return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

BOOL StandInSetState(const DCB *settings) {
    driver.eventChar = static_cast<uint8_t>(settings->EvtChar);
    return TRUE;
}

BOOL StandInSetMask(DWORD mask) {
    const std::lock_guard guard(driver.lock);
    if ((mask & ~driver.acceptedMask) != 0) return FALSE;
    driver.mask = mask;
    if (driver.waiting == nullptr) return TRUE;
    *driver.events = 0;  // a change ends the wait
    SetEvent(std::exchange(driver.waiting, nullptr)->hEvent);
    return TRUE;
}

BOOL StandInWait(DWORD *events, OVERLAPPED *operation) {
    const std::lock_guard guard(driver.lock);
    *events = 0;
    if (driver.emptyWaits) return TRUE;
    SetLastError(driver.failingWaits ? ERROR_INVALID_FUNCTION : ERROR_IO_PENDING);
    if (driver.failingWaits) return FALSE;
    driver.events = events;
    driver.waiting = operation;
    driver.Report(0);
    return FALSE;
}

BOOL StandInRead(void *buffer, DWORD count, DWORD *read) {
    std::unique_lock guard(driver.lock);
    driver.released.wait(guard, [] { return !driver.hangingReads; });
    *read = static_cast<DWORD>(std::min<size_t>(count, driver.input.size()));
    std::copy_n(driver.input.begin(), *read, static_cast<uint8_t *>(buffer));
    driver.input.erase(driver.input.begin(), driver.input.begin() + static_cast<ptrdiff_t>(*read));
    return TRUE;
}

BOOL StandInState(COMSTAT *state) {
    const std::lock_guard guard(driver.lock);
    if (state != nullptr) state->cbInQue = static_cast<DWORD>(driver.input.size());
    return TRUE;
}

BOOL StandInCancel() {
    const std::lock_guard guard(driver.lock);
    if (driver.waiting != nullptr) SetEvent(std::exchange(driver.waiting, nullptr)->hEvent);
    return TRUE;
}

BOOL StandInTimeouts(COMMTIMEOUTS *timeouts) {
    timeouts->ReadTotalTimeoutConstant = 25;
    return TRUE;
}

ULONGLONG StandInClock() {
    const std::lock_guard guard(driver.lock);
    return driver.hastyClock ? driver.clock += 1000 : GetTickCount();
}

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
    driver.Send({8});
    EXPECT_TRUE(Eventually([this] { return events == 5 && taken == 9; }));
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
