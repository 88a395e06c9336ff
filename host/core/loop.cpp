// The event loop on Boost.Asio.
#include "host/core/loop.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

namespace pcsim::host {

namespace asio = boost::asio;

struct Loop::State {
    asio::io_context context;
    asio::signal_set signals{context, SIGINT, SIGTERM};
    bool interrupted = false;
    bool stopped = false;

    State() {
        signals.async_wait([this](const boost::system::error_code& error, int) {
            if (error) return;
            interrupted = true;
            context.stop();
        });
    }
};

Loop::Loop(Scheduler& scheduler) : scheduler_(scheduler), state_(std::make_unique<State>()) {}

Loop::~Loop() = default;

bool Loop::interrupted() const {
    return state_->interrupted;
}

void Loop::stop() {
    state_->stopped = true;
    state_->context.stop();
}

// Waits at most 'ms' of real time, at most until the next action is due, and runs what is due.
void Loop::runSlice(uint64_t ms) {
    if (!scheduler_.stopped()) {
        if (const auto due = scheduler_.nextDueMs()) {
            const uint64_t now = scheduler_.nowMs();
            ms = std::min(ms, *due > now ? *due - now : 0);
        }
    }
    asio::steady_timer timer(state_->context, std::chrono::milliseconds(ms));
    timer.async_wait([this](const boost::system::error_code& error) {
        if (!error) state_->context.stop();
    });
    state_->context.restart();
    state_->context.run();
    scheduler_.runDue();
}

void Loop::sleep(uint64_t ms) {
    waitUntil([] { return false; }, ms);
}

bool Loop::waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) {
    const uint64_t deadline = scheduler_.nowMs() + timeoutMs;
    for (;;) {
        if (done()) return true;
        const uint64_t now = scheduler_.nowMs();
        if (now >= deadline || state_->interrupted) return false;
        if (scheduler_.stopped()) {
            const auto due = scheduler_.nextDueMs();
            const uint64_t next = due ? std::clamp(*due, now, deadline) : deadline;
            scheduler_.warp(next - now);
        } else {
            runSlice(deadline - now);
        }
    }
}

void Loop::run(int descriptor, std::function<void()> readable) {
    asio::posix::stream_descriptor input(state_->context, dup(descriptor));
    std::function<void()> watch = [&] {
        input.async_wait(asio::posix::stream_descriptor::wait_read,
                         [&](const boost::system::error_code& error) {
                             if (error) return;
                             readable();
                             if (!state_->stopped) watch();
                         });
    };
    watch();
    constexpr uint64_t kIdleMs = 60000;
    while (!state_->stopped && !state_->interrupted) runSlice(kIdleMs);
    input.cancel();
}

}  // namespace pcsim::host
