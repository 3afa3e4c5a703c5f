// A measuring program as its users write it: loads the library, has a window, a message loop and an initialisation
// file.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <set>
#include <sstream>

#include "cc_interface.h"

namespace {

struct Seen {
    int points = 0;
    int outsideTheLoop = 0;  // calls of the callback that no message was dispatched for, or on another thread
    uint32_t lastTag = 0;
};

Seen seen[2];
DWORD loopThread = 0;
bool dispatching = false;

void Notify(Seen &arm, int32_t event, void *data) {
    if (!dispatching || GetCurrentThreadId() != loopThread) ++arm.outsideTheLoop;
    if (event != CC_EVENT_POINT) return;
    ++arm.points;
    arm.lastTag = static_cast<PointRecord *>(data)->tag;
}

void CC_CALL NotifyArm1(int32_t event, uint32_t, void *data) {
    Notify(seen[0], event, data);
}
void CC_CALL NotifyArm2(int32_t event, uint32_t, void *data) {
    Notify(seen[1], event, data);
}

class MeasuringProgram : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(library, nullptr) << "error " << GetLastError();
        init = Export<decltype(&CC_INIT)>("CC_INIT");
        done = Export<decltype(&CC_DONE)>("CC_DONE");
        setStatus = Export<decltype(&CC_SETSTATUS)>("CC_SETSTATUS");
        getStatus = Export<decltype(&CC_GETSTATUS)>("CC_GETSTATUS");
        move = Export<decltype(&CC_MOVE)>("CC_MOVE");
        std::filesystem::current_path(std::filesystem::temp_directory_path());
        for (const char *const file : kTraces) std::filesystem::remove(file);
        seen[0] = seen[1] = {};
        loopThread = GetCurrentThreadId();
    }
    void TearDown() override { EXPECT_NE(FreeLibrary(library), FALSE); }

    template <typename Function>
    Function Export(const char *name) {
        const FARPROC found = GetProcAddress(library, name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function>(reinterpret_cast<void *>(found));
    }

    // The message loop, until `reached` or for 10 s. Result: whether it was reached.
    static bool Loop(const std::function<bool()> &reached) {
        const ULONGLONG end = GetTickCount64() + 10000;
        for (ULONGLONG now = GetTickCount64(); now < end && !reached(); now = GetTickCount64()) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
            MSG message;
            while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
                dispatching = true;
                DispatchMessageA(&message);
                dispatching = false;
            }
        }
        return reached();
    }

    static const char *IniFile(const char *text) {
        static std::string path;
        path = (std::filesystem::temp_directory_path() / "cc_client.ini").string();
        std::ofstream(path) << text;
        return path.c_str();
    }

    static constexpr const char *kTraces[] = {"wtraceArm1.log", "wtraceArm2.log"};
    static constexpr double kTarget[6] = {10, 20, 30, 0, 0, -1};

    HMODULE library = LoadLibraryA("CC_Interface.dll");
    decltype(&CC_INIT) init = nullptr;
    decltype(&CC_DONE) done = nullptr;
    decltype(&CC_SETSTATUS) setStatus = nullptr;
    decltype(&CC_GETSTATUS) getStatus = nullptr;
    decltype(&CC_MOVE) move = nullptr;
};

TEST_F(MeasuringProgram, HasTheWorkerOfBothArmsRunFromTheTimerOfItsWindow) {
    const HWND window = CreateWindowA("STATIC", "measuring", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr,
                                      nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    const char *const ini = IniFile("[Timers]\nLo Period=1\nHi Period=20\ntimeout=1\nLog file=1\n");
    ASSERT_EQ(init(window, 1, NotifyArm1, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
    ASSERT_EQ(init(window, 2, NotifyArm2, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
    for (const int16_t arm : {1, 2}) {
        ASSERT_EQ(setStatus(arm, 1), 1);
        move(arm, 2, kTarget, 40u + static_cast<uint32_t>(arm), 0, nullptr, nullptr, 0);
    }
    seen[0].outsideTheLoop = seen[1].outsideTheLoop = 0;  // the calls decode replies themselves
    EXPECT_EQ(seen[0].points + seen[1].points, 0);        // but only the worker sends a move
    EXPECT_TRUE(Loop([] { return seen[0].points == 1 && seen[1].points == 1; }));
    EXPECT_EQ(seen[0].lastTag, 41u);
    EXPECT_EQ(seen[1].lastTag, 42u);
    EXPECT_EQ(seen[0].outsideTheLoop + seen[1].outsideTheLoop, 0);

    done(1, 2);
    EXPECT_EQ(getStatus(1), -1);
    move(2, 2, kTarget, 43, 0, nullptr, nullptr, 0);
    EXPECT_TRUE(Loop([] { return seen[1].points == 2; }));  // the timer is there as long as one arm needs it
    done(2, 2);
    EXPECT_EQ(KillTimer(window, 0), FALSE);  // gone with the last arm
    EXPECT_NE(DestroyWindow(window), FALSE);
    for (const char *const file : kTraces) EXPECT_GT(std::filesystem::file_size(file), 0u) << file;
    // It may leave the window to the library.
    ASSERT_EQ(init(nullptr, 2, NotifyArm2, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
    ASSERT_EQ(setStatus(2, 1), 1);
    move(2, 2, kTarget, 44, 0, nullptr, nullptr, 0);
    EXPECT_TRUE(Loop([] { return seen[1].points == 3; }));
    done(2, 2);
}

TEST_F(MeasuringProgram, GetsEveryHandleBack) {
    const char *const ini = IniFile("[Timers]\nLo Period=1\ntimeout=0\nLog file=1\n");
    const auto handlesAfterASession = [&] {
        EXPECT_EQ(init(nullptr, 1, NotifyArm1, nullptr, nullptr, 1, 0.001, 0.5, CC_SIMULATION, ini), CC_OK);
        EXPECT_EQ(init(nullptr, 2, NotifyArm2, "COM8:9600,e,8,1", nullptr, 1, 0.001, 0.5, 0, ini),
                  CC_PORT_NOT_OPENED);
        done(1, 2);
        // A fresh handle takes the lowest place that is free, or the last that was freed.
        std::array<HANDLE, 20> fresh{};
        for (HANDLE &handle : fresh) handle = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        for (const HANDLE handle : fresh) CloseHandle(handle);
        return std::set<HANDLE>(fresh.begin(), fresh.end());
    };
    const auto first = handlesAfterASession();  // the system keeps some from then on
    handlesAfterASession();
    EXPECT_EQ(handlesAfterASession(), first);
}

TEST_F(MeasuringProgram, IsToldWhyAPortCannotBeOpened) {
    EXPECT_EQ(init(nullptr, 1, NotifyArm1, "COM8:9600,e,8,1", nullptr, 1, 0.001, 0.5, 0, nullptr),
              CC_PORT_NOT_OPENED);
    EXPECT_EQ(init(nullptr, 1, NotifyArm1, "com8", nullptr, 1, 0.001, 0.5, 0, nullptr), CC_PORT_NOT_OPENED);
    for (const char *const port : {"COM8:9600,z,8,1", "COM0", "COM257:9600", "COM", "CO", "", "LPT8:9600",
                                   "baud=9600", "8", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(init(nullptr, 1, NotifyArm1, port, nullptr, 1, 0.001, 0.5, 0, nullptr), CC_BAD_PORT);
        if (port == nullptr) continue;  // no head
        EXPECT_EQ(init(nullptr, 1, NotifyArm1, nullptr, port, 1, 0.001, 0.5, CC_SIMULATION, nullptr),
                  CC_BAD_HEAD_PORT);
    }
    EXPECT_EQ(getStatus(1), -1);
}

// The client's control words of the older and of the newer floating-point unit.
struct Environment {
    uint16_t older = 0;
    uint32_t newer = 0;
    void Keep() { asm volatile("fnstcw %0\n\tstmxcsr %1" : "=m"(older), "=m"(newer)); }
    void Set() const { asm volatile("fnclex\n\tfldcw %0\n\tldmxcsr %1" ::"m"(older), "m"(newer)); }
};

Environment inCallback;
double reported = 0;

void CC_CALL NotifyInEnvironment(int32_t event, uint32_t, void *data) {
    if (event != CC_EVENT_POINT) return;
    inCallback.Keep();
    std::memcpy(&reported, static_cast<PointRecord *>(data)->position, sizeof reported);
}

TEST_F(MeasuringProgram, SendsTheSameCountsWhateverItsFloatingPointEnvironment) {
    const auto worker = Export<decltype(&L2HI_WORKER)>("L2HI_WORKER");
    const auto moveRotary = Export<decltype(&CC_MOVERT)>("CC_MOVERT");
    const std::string ini = IniFile("[Timers]\nLo Period=1\ntimeout=0\nLog file=1\n");
    // The third is 0x1332, whose bit 6 always reads 1. The last ones mask no exception, and round upwards.
    const Environment environments[] = {
        {0x037F, 0x1F80}, {0x027F, 0x1F80}, {0x1372, 0x1F80}, {0x0340, 0x0000}, {0x0B40, 0x4000}};
    const double target[6] = {10, 0.3, -2.5, 0, 0, -1};
    const double nothing[6] = {std::numeric_limits<double>::quiet_NaN(), 0, 0, 0, 0, 0};
    Environment own;
    own.Keep();
    for (const Environment &environment : environments) {
        reported = 0;
        environment.Set();
        const uint16_t opened =
            init(nullptr, 1, NotifyInEnvironment, nullptr, nullptr, 1, 0.0001, 0, CC_SIMULATION, ini.c_str());
        setStatus(1, 1);
        moveRotary(1, nothing, 0, 0);
        move(1, 2, target, 41, 0, nullptr, nullptr, 0);
        for (int step = 0; step < 20 && reported == 0; ++step) worker(nullptr, 0, 0, 0);
        done(1, 2);
        Environment after;
        after.Keep();
        own.Set();
        ASSERT_EQ(opened, CC_OK);
        EXPECT_EQ(after.older, environment.older);
        EXPECT_EQ(after.newer, environment.newer);
        EXPECT_EQ(inCallback.older, environment.older);
        EXPECT_EQ(inCallback.newer, environment.newer);
        EXPECT_EQ(reported, 10.0);
        std::stringstream trace;
        trace << std::ifstream(kTraces[0]).rdbuf();
        // 100000, 2999 (the quotient is a little below 3000), -25000
        EXPECT_NE(trace.str().find("47 30 35 58 A0 86 01 00 59 B7 0B 00 00 5A 58 9E FF FF "),
                  std::string::npos);
        EXPECT_NE(trace.str().find("47 30 31 41 00 00 00 00 "), std::string::npos);
    }
}

}  // namespace
