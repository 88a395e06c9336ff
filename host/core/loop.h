// The event loop: runs the scheduler's actions at their real times, and watches descriptors and
// signals meanwhile. In stopped time waiting means warping from one due action to the next.
#ifndef PCSIM_HOST_CORE_LOOP_H
#define PCSIM_HOST_CORE_LOOP_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/core/scheduler.h"

namespace pcsim::host {

class Loop {
public:
    explicit Loop(Scheduler& scheduler);
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    // Lets 'ms' of simulated time pass.
    void sleep(uint64_t ms);

    // Lets time pass until 'done' holds or 'timeoutMs' of simulated time are over; whether it held.
    bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs);

    // Runs until stop(), handing over each time 'descriptor' becomes readable.
    void run(int descriptor, std::function<void()> readable);
    void stop();

    // Whether the user asked to end (SIGINT or SIGTERM).
    bool interrupted() const;

private:
    struct State;
    void runSlice(uint64_t ms);

    Scheduler& scheduler_;
    std::unique_ptr<State> state_;
};

}  // namespace pcsim::host

#endif
