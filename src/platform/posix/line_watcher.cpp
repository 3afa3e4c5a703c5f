#include "platform/line_watcher.h"

#include <poll.h>
#include <sched.h>

#include "platform/posix/line.h"

namespace cc::platform {
namespace {

void *Watch(void *state) {
    Line &line = *static_cast<Line *>(state);
    const Guard guard(line.monitor);
    while (!line.ending) {
        if (line.eventPending) {
            line.eventPending = false;
            line.reporting = true;
            line.monitor.unlock();
            line.procedure(line.user);
            line.monitor.lock();
            line.reporting = false;
            continue;
        }
        ++line.users;
        line.PollForWatcher();
        line.Release();
    }
    line.watched = false;
    line.monitor.NotifyAll();
    return nullptr;
}

// Needs a privilege that ordinary users lack; without it the thread keeps the priority of its process.
void RaisePriority(pthread_t thread, WatcherPriority priority) {
    const int highest = sched_get_priority_max(SCHED_RR);
    const sched_param parameters{priority == WatcherPriority::TimeCritical ? highest : highest / 2};
    pthread_setschedparam(thread, SCHED_RR, &parameters);
}

}  // namespace

bool LineWatcher::Start(SerialLine &serialLine, WatcherPriority priority, LineEventProcedure procedure,
                        void *user) {
    Line &line = *serialLine.State();
    const Guard guard(line.monitor);
    if (line.device < 0 || line.watched) return false;
    line.procedure = procedure;
    line.user = user;
    line.watched = pthread_create(&line.watcher, nullptr, Watch, &line) == 0;
    if (!line.watched) return false;
    RaisePriority(line.watcher, priority);
    line_ = &line;
    return true;
}

void LineWatcher::Rearm() {}

bool LineWatcher::Stop(uint32_t milliseconds) {
    if (line_ == nullptr) return true;
    Line &line = *line_;
    line_ = nullptr;
    bool ended = false;
    pthread_t thread{};
    {
        const Guard guard(line.monitor);
        line.End();
        const int64_t deadline = MonotonicNow() + int64_t{milliseconds} * 1'000'000;
        while (line.watched && MonotonicNow() < deadline) line.monitor.WaitUntil(deadline);
        ended = !line.watched;
        thread = line.watcher;
    }
    if (ended) {
        pthread_join(thread, nullptr);
    } else {
        pthread_detach(thread);
    }
    return ended;
}

}  // namespace cc::platform
