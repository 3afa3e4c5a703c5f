// What the library gets from Windows itself: message boxes, initialisation files, serial ports.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <string>
#include <thread>

#include "conformance/backend.h"
#include "platform/message_box.h"
#include "platform/message_loop.h"
#include "platform/profile.h"
#include "serial/serial.h"
#include "serial/serial_ph9.h"

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

TEST(Profile, IsReadFromTheFileOnly) {
    const std::string file = testing::TempDir() + "cc_profile.ini";
    FILE *const out = std::fopen(file.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fputs("[Timers]\r\nLo Period = 20ms\r\n[CONTROLLER]\r\nKX_AXES_CONVENTION = True\r\n", out);
    std::fclose(out);
    EXPECT_EQ(platform::ReadProfileInt(file.c_str(), "Timers", "Lo Period", 50), 20);
    EXPECT_EQ(platform::ReadProfileInt(file.c_str(), "timers", "hi period", 50), 50);
    EXPECT_EQ(platform::ReadProfileInt(nullptr, "Timers", "Lo Period", 50), 50);
    char value[40];
    platform::ReadProfileText(file.c_str(), "CONTROLLER", "KX_AXES_CONVENTION", "FALSE", value, sizeof value);
    EXPECT_STREQ(value, "True");
    platform::ReadProfileText(nullptr, "CONTROLLER", "KX_AXES_CONVENTION", "FALSE", value, sizeof value);
    EXPECT_STREQ(value, "FALSE");
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

class Port final : public CSerial {
  public:
    std::atomic<int> events{0};

  private:
    void OnEventChar() override { ++events; }
};

TEST(SerialPortWindows, IsConfiguredOpenedReadWrittenAndPurged) {
    const std::unique_ptr<FarEnd> farEnd = FarEnd::Create();
    Port port;
    uint8_t bytes[8] = {};
    EXPECT_EQ(port.Read(bytes, 1), 0u);
    EXPECT_EQ(port.Write(bytes, 1), 0u);
    EXPECT_EQ(port.Configure(FarEnd::kPort, 9600, 'Z', 8, 1, 3, 8), 0);
    EXPECT_EQ(port.Open(8), 0);  // nothing was stored
    EXPECT_EQ(port.Configure(FarEnd::kPort, 9600, 'E', 8, 1, 3, 8), 1);
    ASSERT_EQ(port.Open(8), 1);
    EXPECT_EQ(port.Configure(FarEnd::kPort, 19200, 'N', 0, 2, 1, 8), 1);  // on the open port

    const Bytes hello = {3, 4, 1, 8};
    EXPECT_EQ(port.Write(hello.data(), 4), 4u);
    EXPECT_TRUE(Eventually([&] { return farEnd->Received() == hello; }));
    farEnd->Send({2, 8});
    ASSERT_TRUE(Eventually([&] { return port.events == 1; }));
    EXPECT_EQ(port.Read(bytes, 2), 2u);
    EXPECT_EQ(bytes[0], 2);

    farEnd->Send(Bytes(600, 5));
    farEnd->Send({8});
    ASSERT_TRUE(Eventually([&] { return port.events == 2; }));  // all have come
    EXPECT_EQ(port.Purge(), 601u);
    EXPECT_EQ(port.Read(bytes, 1), 0u);
    EXPECT_EQ(port.Close(), 1);
    EXPECT_EQ(port.IsOpen(), 0);
    EXPECT_EQ(port.Close(), 1);
}

TEST(SerialPortWindows, OfTheHeadRaisesAFlagAtACarriageReturn) {
    const std::unique_ptr<FarEnd> farEnd = FarEnd::Create();
    CSerialPH9 port;
    ASSERT_EQ(port.Configure(FarEnd::kPort, 4800, 'N', 8, 2, 2, 8), 1);
    ASSERT_EQ(port.Open(13), 1);
    EXPECT_EQ(port.IsLineReady(), 0);
    farEnd->Send({'O', 'K', '\r'});
    ASSERT_TRUE(Eventually([&] { return port.IsLineReady() == 1; }));
    uint8_t bytes[8] = {};
    EXPECT_EQ(port.Read(bytes, 3), 3u);
    EXPECT_EQ(bytes[2], '\r');
    EXPECT_EQ(port.Read(bytes, 1), 0u);  // waits, and so takes the flag down
    EXPECT_EQ(port.IsLineReady(), 0);
    EXPECT_EQ(port.Close(), 1);
}

}  // namespace
}  // namespace cc::test
