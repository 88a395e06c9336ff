// The clock of the simulated system, and everything that happens on it.
//
// Time is counted in milliseconds since boot. It follows the PC's clock, or it is stopped and moves
// only when it is warped; either way timers and tasks run in the order of their due times, and in
// the order they were made when those are equal, so a run in stopped time is repeatable. All of it
// runs on one thread.
#ifndef PCSIM_HOST_CORE_SCHEDULER_H
#define PCSIM_HOST_CORE_SCHEDULER_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pcsim::host {

class Scheduler {
public:
    using Action = std::function<void()>;
    using Id = uint64_t;

    struct Entry {
        std::string name;
        uint64_t dueMs;
        uint64_t periodMs;  // 0: once
        uint64_t runs;
    };

    Scheduler();

    // Milliseconds since boot.
    uint64_t nowMs() const;

    // Runs 'action' every 'periodMs' from one period from now. A period of 0 counts as 1 ms.
    Id every(uint64_t periodMs, std::string name, Action action);
    // Runs 'action' once, 'delayMs' from now.
    Id after(uint64_t delayMs, std::string name, Action action);
    void cancel(Id id);

    bool stopped() const { return stopped_; }
    void stop();
    // Stops a clock before it has been used, at 0, however long the program took to get here.
    void stopAtZero();
    void resume();

    // The newest id that was given out, 0 before the first, and the one of the action that runs, 0
    // when none does: they tell which actions a call has made, and which of them calls back.
    Id lastId() const { return nextId_ - 1; }
    Id runningId() const { return runningId_; }

    // Moves a stopped clock forward, running what comes due on the way at its exact time.
    void warp(uint64_t ms);

    // Lets time pass within an action or a command, as work that takes long does: nothing runs
    // meanwhile, and what came due runs late. A clock that follows the PC's has moved by itself.
    void pass(uint64_t ms);

    // When an action is due, nothing when it has run or was cancelled.
    std::optional<uint64_t> dueMs(Id id) const;
    // When the next action is due.
    std::optional<uint64_t> nextDueMs() const;

    // Runs everything that is due by now.
    void runDue();

    // In due order.
    std::vector<Entry> entries() const;

private:
    struct Action_ {
        Id id;
        std::string name;
        uint64_t periodMs;
        uint64_t runs;
        Action action;
    };
    using Key = std::pair<uint64_t, Id>;  // due time, then order of making

    Id add(uint64_t dueMs, uint64_t periodMs, std::string name, Action action);
    void runOne();
    static uint64_t realMs();

    std::map<Key, Action_> queue_;
    std::map<Id, uint64_t> dueOf_;
    Id nextId_ = 1;
    uint64_t offsetMs_;  // real time at virtual 0
    uint64_t stoppedAtMs_ = 0;
    bool stopped_ = false;
    Id runningId_ = 0;
    std::optional<uint64_t> runningAtMs_;  // while catching up: the due time of what runs
};

}  // namespace pcsim::host

#endif
