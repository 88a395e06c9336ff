// The event loop: runs the scheduler's actions at their real times, and watches a descriptor and
// signals meanwhile. In stopped time waiting means warping from one due action to the next.
//
// Descriptors are watched as they are, files as well as terminals: what the loop watches is often
// shared with other programs and with our own output, so it is never made non-blocking.
#ifndef PCSIM_HOST_CORE_LOOP_H
#define PCSIM_HOST_CORE_LOOP_H

#include <cstdint>
#include <functional>
#include <memory>

#include "host/core/scheduler.h"

namespace pcsim::host {

// There is one in a process: it takes SIGINT, SIGTERM and SIGCONT while it lives.
class Loop {
public:
    explicit Loop(Scheduler& scheduler);
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    // Lets 'ms' of simulated time pass. Like the next, it throws a CommandError when interrupted.
    void sleep(uint64_t ms);

    // Lets time pass until 'done' holds or 'timeoutMs' of simulated time are over; whether it held.
    bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs);

    // Lets time pass until 'descriptor' can be read or has ended; false when interrupted first.
    bool waitReadable(int descriptor);

    // Whether the user asked to end what runs (SIGINT) or all of it (SIGTERM).
    bool interrupted() const;
    bool terminated() const;
    // The SIGINT has been answered. A SIGTERM stays.
    void forgetInterrupt();
    // Throws the CommandError when interrupted.
    void checkInterrupt() const;

    // Called when the process goes on after a stop (Ctrl-Z): the terminal is as the shell left it.
    std::function<void()> onContinue;

private:
    struct State;
    bool runSlice(uint64_t ms, int descriptor);

    Scheduler& scheduler_;
    std::unique_ptr<State> state_;
};

}  // namespace pcsim::host

#endif
