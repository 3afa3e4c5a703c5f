#include "platform/line_watcher.h"

#include <algorithm>

#include "platform/win32/held_library.h"
#include "platform/win32/line.h"

namespace cc::platform {
namespace {

// Everything but the arrival of a plain character: event character, modem lines, break, line errors, end of
// sending.
constexpr DWORD kEventMask = EV_RXFLAG | EV_TXEMPTY | EV_CTS | EV_DSR | EV_RLSD | EV_BREAK | EV_ERR;  // 254
constexpr DWORD kReducedMask = EV_RXFLAG;

// A driver that has never reported the event character and lets input lie this long does not know it.
constexpr DWORD kUnreportedMs = 200;

constexpr DWORD kAfterFailureMs = 25;

// So many waits in a row that end without an event are the driver's failure; a change of the mask ends one
// that way.
constexpr int kMostEmptyWaits = 16;

enum class Outcome { Event, Empty, Nothing, Again, Failed, Unreported };

// Waits for one line event; `pending`: the wait of the last call goes on.
Outcome WaitForEvent(Line &line, bool &pending) {
    const DeviceUse use(line);
    if (!use) return Outcome::Nothing;
    const HANDLE handle = use.Device();
    if (!pending) {
        line.events = 0;
        ResetEvent(line.watching.data.hEvent);
        if (WaitCommEvent(handle, &line.events, &line.watching.data) != 0) {
            return line.events != 0 ? Outcome::Event : Outcome::Empty;
        }
        if (GetLastError() != ERROR_IO_PENDING) return Outcome::Failed;
        pending = true;
    }
    const HANDLE waits[] = {line.watching.data.hEvent, line.endEvent, line.againEvent};
    const DWORD waited = WaitForMultipleObjects(3, waits, FALSE, kUnreportedMs);
    if (waited == WAIT_OBJECT_0 + 2) return Outcome::Again;
    if (waited == WAIT_TIMEOUT) return line.PendingInput() > 0 ? Outcome::Unreported : Outcome::Nothing;
    if (waited != WAIT_OBJECT_0) return Outcome::Nothing;
    pending = false;
    DWORD unused = 0;
    const bool completed = GetOverlappedResult(handle, &line.watching.data, &unused, FALSE) != 0;
    return completed && line.events != 0 ? Outcome::Event : Outcome::Empty;
}

// Waits for these events from now on. Result: whether the driver accepts them.
bool SetMask(Line &line, DWORD mask) {
    line.mask = mask;
    const DeviceUse use(line);
    return SetCommMask(use.Device(), mask) != 0;
}

// Watches by line events. Ends with the line, or when the driver turns out not to report the event character.
void WatchEvents(Line &line) {
    bool pending = false;
    bool reports = false;
    int emptyWaits = 0;
    while (!line.ending) {
        ::Sleep(0);
        Outcome outcome = WaitForEvent(line, pending);
        emptyWaits = outcome == Outcome::Empty ? emptyWaits + 1 : 0;
        if (emptyWaits > kMostEmptyWaits) outcome = Outcome::Failed;
        switch (outcome) {
            case Outcome::Event:
                if ((line.events & EV_RXFLAG) == 0 || line.ending) break;
                reports = true;
                line.Report();
                break;
            case Outcome::Again:
                if (!line.ending && (line.PendingInput() > 0 || line.HasPulledEventChar())) line.Report();
                break;
            case Outcome::Empty:
            case Outcome::Nothing:
                break;
            case Outcome::Failed:
                if (line.mask == kReducedMask) return;
                SetMask(line, kReducedMask);
                emptyWaits = 0;
                break;
            case Outcome::Unreported:
                if (!reports) return;
                break;  // its reader takes its time
        }
    }
}

// Ends the wait for an event that is still under way: a change of the mask does. A driver that does not
// follow leaves it to the closing of the device; its memory lives as long as the line.
void EndWait(Line &line) {
    const DeviceUse use(line);
    if (SetCommMask(use.Device(), 0) != 0) WaitForSingleObject(line.watching.data.hEvent, kUnreportedMs);
}

// Watches the input itself: each pull waits for a byte up to the read time-out. An unplugged device fails at
// once; it is asked again at intervals.
void WatchInput(Line &line) {
    line.watchesInput = true;
    while (!line.ending) {
        const bool again =
            WaitForSingleObject(line.againEvent, 0) == WAIT_OBJECT_0 && line.HasPulledEventChar();
        if (line.TakeEvent() || again) {
            line.Report();
        } else if (!line.PullInput(line.pulling)) {
            WaitForSingleObject(line.endEvent, kAfterFailureMs);
        }
    }
}

DWORD WINAPI Watch(void *state) {
    Line &line = *static_cast<Line *>(state);
    WatchEvents(line);
    EndWait(line);
    if (!line.ending) WatchInput(line);
    line.watched = false;
    return 0;
}

}  // namespace

bool LineWatcher::Start(SerialLine &serialLine, WatcherPriority priority, LineEventProcedure procedure,
                        void *user) {
    Line &line = *serialLine.State();
    if (!line.IsOpen() || line.watched) return false;
    line.procedure = procedure;
    line.user = user;
    line.watched = true;
    // Before the thread runs: what comes until it does is to be reported.
    if (!SetMask(line, kEventMask)) SetMask(line, kReducedMask);
    line.thread = CreateThread(nullptr, 0, Watch, &line, 0, &line.threadId);
    if (line.thread == nullptr) {
        line.watched = false;
        return false;
    }
    SetThreadPriority(line.thread, priority == WatcherPriority::TimeCritical ? THREAD_PRIORITY_TIME_CRITICAL
                                                                             : THREAD_PRIORITY_HIGHEST);
    line_ = &line;
    return true;
}

void LineWatcher::Rearm() {
    if (line_ == nullptr || line_->watchesInput) return;
    const DeviceUse use(*line_);
    if (use) SetCommMask(use.Device(), line_->mask);
}

bool LineWatcher::Stop(uint32_t milliseconds) {
    if (line_ == nullptr) return true;
    Line &line = *line_;
    line_ = nullptr;
    line.End();
    const DWORD wait = std::min<DWORD>(milliseconds, line.ClosingTimeLeft());
    const bool ended = WaitForSingleObject(line.thread, wait) == WAIT_OBJECT_0;
    if (!ended) HoldLibrary();  // for ever: a thread that hangs in the driver comes back into it
    CloseHandle(line.thread);
    line.thread = nullptr;
    return ended;
}

}  // namespace cc::platform
