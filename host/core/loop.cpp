// The event loop on poll().
#include "host/core/loop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace pcsim::host {

namespace {

constexpr uint64_t kLongestSliceMs = 60000;

}  // namespace

Loop::Loop(Scheduler& scheduler) : scheduler_(scheduler) {}

Loop::~Loop() = default;

bool Loop::interrupted() const {
    return signals_.interrupted();
}

bool Loop::terminated() const {
    return signals_.terminated();
}

void Loop::forgetInterrupt() {
    signals_.forgetInterrupt();
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
    pollfd watched[] = {{signals_.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
    if (poll(watched, 2, static_cast<int>(ms)) < 0) watched[1].revents = 0;
    if (watched[0].revents != 0) signals_.drain();
    if (signals_.takeContinuation() && onContinue) onContinue();
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
