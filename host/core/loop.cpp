// The event loop on poll().
#include "host/core/loop.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include "console/error.h"

namespace pcsim::host {

namespace {

constexpr uint64_t kLongestSliceMs = 60000;
constexpr std::array kSignals{SIGINT, SIGTERM, SIGCONT};

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

// A pipe wakes poll() for a signal that comes just before it; the handlers are given back.
struct Loop::State {
    int wake[2] = {-1, -1};
    struct sigaction before[kSignals.size()] = {};

    State() {
        if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0)
            fail("no pipe for the event loop: {}", std::strerror(errno));
        wakeDescriptor = wake[1];
        struct sigaction action = {};
        action.sa_handler = noteSignal;  // interrupts system calls: output may be blocked for ever
        for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before[i]);
    }

    ~State() {
        for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before[i], nullptr);
        wakeDescriptor = -1;
        close(wake[0]);
        close(wake[1]);
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;
};

Loop::Loop(Scheduler& scheduler) : scheduler_(scheduler), state_(std::make_unique<State>()) {}

Loop::~Loop() = default;

bool Loop::interrupted() const {
    return signalSeen != 0;
}

bool Loop::terminated() const {
    return terminationSeen != 0;
}

void Loop::forgetInterrupt() {
    signalSeen = terminationSeen;
}

// Waits at most 'ms' of real time, at most until the next action is due, and runs what is due.
// Returns whether 'descriptor' (-1: none) can be read.
bool Loop::runSlice(uint64_t ms, int descriptor) {
    ms = std::min(ms, kLongestSliceMs);
    if (!scheduler_.stopped()) {
        if (const auto due = scheduler_.nextDueMs()) {
            const uint64_t now = scheduler_.nowMs();
            ms = std::min(ms, *due > now ? *due - now : 0);
        }
    }
    pollfd watched[] = {{state_->wake[0], POLLIN, 0}, {descriptor, POLLIN, 0}};
    if (poll(watched, 2, static_cast<int>(ms)) < 0) watched[1].revents = 0;
    char bytes[16];
    while (read(state_->wake[0], bytes, sizeof bytes) > 0) {
    }
    if (continuationSeen != 0) {
        continuationSeen = 0;
        if (onContinue) onContinue();
    }
    scheduler_.runDue();
    return watched[1].revents != 0;  // an end or an error is for whoever reads
}

void Loop::sleep(uint64_t ms) {
    waitUntil([] { return false; }, ms);
}

void Loop::block(uint64_t ms) {
    const timespec asked{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000 * 1000000)};
    timespec left = asked;
    if (!scheduler_.stopped())
        while (!interrupted() && nanosleep(&left, &left) != 0 && errno == EINTR) continue;
    scheduler_.pass(ms);
}

bool Loop::waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) {
    const uint64_t deadline = scheduler_.nowMs() + timeoutMs;
    for (;;) {
        checkInterrupt();
        if (done()) return true;
        const uint64_t now = scheduler_.nowMs();
        if (now >= deadline) return false;
        if (scheduler_.stopped()) {
            const auto due = scheduler_.nextDueMs();
            const uint64_t next = due ? std::clamp(*due, now, deadline) : deadline;
            scheduler_.warp(next - now);
        } else {
            runSlice(deadline - now, -1);
        }
    }
}

bool Loop::waitReadable(int descriptor) {
    while (!interrupted())
        if (runSlice(kLongestSliceMs, descriptor)) return true;
    return false;
}

}  // namespace pcsim::host
