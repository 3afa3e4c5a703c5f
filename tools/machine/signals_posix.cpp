#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

#include "machine/operator_stop.h"

namespace cmm {

// The signals are blocked in every thread and read from a descriptor, so that what follows them may take locks.
struct Signals::Running {
    explicit Running(std::function<void()> onSignal) {
        sigset_t wanted;
        sigemptyset(&wanted);
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            // A shell that starts a program in the background has it ignore Ctrl-C; nohup's wish holds.
            if (number != SIGHUP) std::signal(number, SIG_DFL);
            sigaddset(&wanted, number);
        }
        std::signal(SIGPIPE, SIG_IGN);
        sigprocmask(SIG_BLOCK, &wanted, nullptr);
        incoming = signalfd(-1, &wanted, SFD_CLOEXEC);
        end = eventfd(0, EFD_CLOEXEC);
        if (incoming < 0 || end < 0) throw std::runtime_error("signals cannot be watched");
        thread = std::thread([this, onSignal = std::move(onSignal)] { Watch(onSignal); });
    }
    ~Running() {
        eventfd_write(end, 1);
        thread.join();
        close(incoming);
        close(end);
    }

    void Watch(const std::function<void()> &onSignal) const {
        for (;;) {
            pollfd waits[] = {{incoming, POLLIN, 0}, {end, POLLIN, 0}};
            poll(waits, 2, -1);
            if (waits[1].revents != 0) return;
            signalfd_siginfo signal{};
            if (read(incoming, &signal, sizeof signal) == sizeof signal) onSignal();
        }
    }

    int incoming = -1;
    int end = -1;
    std::thread thread;
};

Signals::Signals(std::function<void()> onSignal) : running_(std::make_unique<Running>(std::move(onSignal))) {}

Signals::~Signals() = default;

}  // namespace cmm
