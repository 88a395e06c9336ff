// The event loop: runs the scheduler's actions at their real times, watches descriptors and signals
// meanwhile, and lets several works wait at once. In stopped time waiting means warping from one
// due action to the next, up to the next time that anybody waits for.
//
// Work that is spawned has a stack of its own (fiber.h). All turns are the main stack's: it polls,
// runs actions and calls whoever watches, and then each work that has got what it waits for. So
// actions run between works, never within one, and no work is ever switched away from in the middle
// of a call into the platform.
//
// Descriptors are watched as they are, files as well as terminals: what the loop watches is often
// shared with other programs and with our own output, so it is never made non-blocking.
#ifndef PCSIM_HOST_CORE_LOOP_H
#define PCSIM_HOST_CORE_LOOP_H

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "console/signals.h"
#include "console/surroundings.h"
#include "host/core/fiber.h"
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
    void giveWay() override;

    WorkId spawn(std::function<void()> work) override;
    void interrupt(WorkId work) override;
    void endSpawned() noexcept override;
    void watch(int descriptor, std::function<void()> readable) override;
    void unwatch(int descriptor) override;
    void enterFolder(const std::string& path) override;
    void leaveFolder() override;

    // Counts what works and watchers have done. While it stands still, and what runs is an action,
    // nobody has asked for anything since.
    uint64_t worked() const { return worked_; }

    bool interrupted() const override;
    bool terminated() const override;
    void forgetInterrupt() override;
    void terminate() override;

private:
    using Clock = std::chrono::steady_clock;

    // A folder, open.
    struct Folder {
        int descriptor;
        explicit Folder(const char* path);
        ~Folder();
        Folder(const Folder&) = delete;
        Folder& operator=(const Folder&) = delete;
    };
    // What a work waits for: a descriptor, something that it looks for itself and a time when it
    // gives up, or no more than its turn.
    struct Wait {
        int descriptor = -1;
        bool readable = false;
        std::optional<uint64_t> untilMs;
        bool begun = false;
        // Its last look: what had happened before it, and the simulated time.
        uint64_t happened = 0;
        uint64_t lookedAtMs = 0;
    };
    struct Work {
        Work(Stacks& stacks, std::function<void()> work) : fiber(stacks, std::move(work)) {}

        Fiber fiber;
        Wait* wait = nullptr;  // null: it has not begun
        bool interrupted = false;
        std::unique_ptr<Folder> folder;  // null: where the process was started
    };

    void wait(Wait& wait);
    void noteWork() {
        ++happened_;
        ++worked_;
    }
    void turn();
    void warpToNext();
    void look(int timeoutMs);
    void callWatchers();
    void runActions();
    void resumeWorks();
    void resume(Work& work);
    static void goTo(const Folder* folder);
    bool goesOn(const Work& work) const;
    bool goesOn(const Wait& wait, bool isInterrupted) const;
    bool timeIsAwaited() const;
    bool someBegin() const;
    int timeoutMs() const;
    template <typename Visit>
    void eachWait(Visit visit) const;

    Scheduler& scheduler_;
    Signals signals_;
    Stacks stacks_;
    std::map<WorkId, Work> works_;
    WorkId lastWork_ = 0;
    Work* running_ = nullptr;  // null: the main work
    Wait* mainWait_ = nullptr;
    bool turning_ = false;
    bool ending_ = false;
    uint64_t happened_ = 0;              // counts what may make true what somebody waits for
    uint64_t worked_ = 0;                // of that, what was not just time
    std::unique_ptr<Folder> ownFolder_;  // the main work's, once another has one
    std::map<int, std::function<void()>> watched_;
    std::vector<pollfd> polled_;  // the signals', then those watched, then those waited for
    Clock::time_point lookedAt_, foundAt_;  // the last look, and the last that found something
};

}  // namespace pcsim::host

#endif
