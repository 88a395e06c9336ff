// Signal handlers, and the pipe that wakes poll().
#include "console/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console/error.h"

namespace pcsim {

namespace {

// What a signal handler may touch.
volatile std::sig_atomic_t signalSeen = 0;
volatile std::sig_atomic_t terminationSeen = 0;
volatile std::sig_atomic_t continuationSeen = 0;
volatile int wakeDescriptor = -1;

extern "C" void noteSignal(int signal) {
    const int error = errno;
    if (signal == SIGCONT)
        continuationSeen = 1;
    else
        signalSeen = 1;
    if (signal == SIGTERM) terminationSeen = 1;
    // A full pipe wakes the loop as well.
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, "", 1);
    errno = error;
}

}  // namespace

Signals::Signals() {
    if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0)
        fail("no pipe for the event loop: {}", std::strerror(errno));
    signalSeen = 0;
    terminationSeen = 0;
    continuationSeen = 0;
    wakeDescriptor = wake_[1];
    struct sigaction action = {};
    action.sa_handler = noteSignal;  // interrupts system calls: output may be blocked for ever
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before_[i]);
}

Signals::~Signals() {
    const bool ending = interrupted();
    if (ending) endUndisturbed();
    for (size_t i = 0; i < kSignals.size(); ++i)
        if (!ending || kSignals[i] == SIGCONT) sigaction(kSignals[i], &before_[i], nullptr);
    wakeDescriptor = -1;
    close(wake_[0]);
    close(wake_[1]);
}

void Signals::endUndisturbed() {
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_IGN);
}

bool Signals::interrupted() const {
    return signalSeen != 0;
}

bool Signals::terminated() const {
    return terminationSeen != 0;
}

void Signals::forgetInterrupt() {
    signalSeen = terminationSeen;
}

void Signals::terminate() {
    noteSignal(SIGTERM);
}

bool Signals::takeContinuation() {
    const bool seen = continuationSeen != 0;
    continuationSeen = 0;
    return seen;
}

void Signals::drain() {
    char bytes[16];
    while (read(wake_[0], bytes, sizeof bytes) > 0) {
    }
}

}  // namespace pcsim
