// The event loop: runs the scheduler's actions at their real times, and watches a descriptor and
// signals meanwhile. In stopped time waiting means warping from one due action to the next.
//
// Descriptors are watched as they are, files as well as terminals: what the loop watches is often
// shared with other programs and with our own output, so it is never made non-blocking.
#ifndef PCSIM_HOST_CORE_LOOP_H
#define PCSIM_HOST_CORE_LOOP_H

#include <cstdint>
#include <functional>

#include "console/signals.h"
#include "console/surroundings.h"
#include "host/core/scheduler.h"

namespace pcsim::host {

// There is one in a process: it takes SIGINT, SIGTERM and SIGCONT while it lives.
class Loop : public Surroundings {
public:
    explicit Loop(Scheduler& scheduler);
    ~Loop() override;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    // Lets 'ms' of simulated time pass. Throws a CommandError when interrupted.
    void sleep(uint64_t ms);
    // Lets 'ms' pass in which nothing else happens, as in a call that takes so long. Ends early
    // when interrupted.
    void block(uint64_t ms);

    // Timeouts are of simulated time.
    bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) override;
    bool waitReadable(int descriptor) override;

    bool interrupted() const override;
    bool terminated() const override;
    void forgetInterrupt() override;

private:
    bool runSlice(uint64_t ms, int descriptor);

    Scheduler& scheduler_;
    Signals signals_;
};

}  // namespace pcsim::host

#endif
