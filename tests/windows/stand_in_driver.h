// A serial driver behind the system's calls, for the sources of the Windows backend: included before anything of them.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace cc::test {

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

    void Send(const std::vector<uint8_t> &bytes);
    void Report(DWORD happened);  // under the lock
};

extern StandInDriver driver;

HANDLE StandInOpen();
BOOL StandInSetState(const DCB *settings);
BOOL StandInSetMask(DWORD mask);
BOOL StandInWait(DWORD *events, OVERLAPPED *operation);
BOOL StandInRead(void *buffer, DWORD count, DWORD *read);
BOOL StandInState(COMSTAT *state);
BOOL StandInCancel();
BOOL StandInTimeouts(COMMTIMEOUTS *timeouts);
ULONGLONG StandInClock();

}  // namespace cc::test

#define CreateFileA(...) cc::test::StandInOpen()
#define SetupComm(...) TRUE
#define SetCommState(handle, settings) cc::test::StandInSetState(settings)
#define SetCommTimeouts(...) TRUE
#define GetCommTimeouts(handle, timeouts) cc::test::StandInTimeouts(timeouts)
#define SetCommMask(handle, mask) cc::test::StandInSetMask(mask)
#define WaitCommEvent(handle, events, operation) cc::test::StandInWait(events, operation)
#define GetOverlappedResult(...) TRUE
#define ReadFile(handle, buffer, count, read, operation) cc::test::StandInRead(buffer, count, read)
#define ClearCommError(handle, errors, state) cc::test::StandInState(state)
#define CancelIoEx(...) cc::test::StandInCancel()
#define GetTickCount64() cc::test::StandInClock()
