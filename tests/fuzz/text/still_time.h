// Surroundings in which time stands still: what waits is told at once that it has waited in vain,
// what was spawned runs when the fuzzer says so, and whoever goes on for too long is interrupted.
#ifndef PCSIM_TESTS_FUZZ_TEXT_STILL_TIME_H
#define PCSIM_TESTS_FUZZ_TEXT_STILL_TIME_H

#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "console/error.h"
#include "console/surroundings.h"

namespace pcsim::fuzz {

struct StillTime : Surroundings {
    // How often it may be asked whether to go on: each line of a script does.
    explicit StillTime(unsigned patience) : left(patience) {}

    bool waitUntil(const std::function<bool()>& done, uint64_t) override {
        checkInterrupt();
        return done();
    }
    bool waitReadable(int) override { return true; }
    void giveWay() override {}
    WorkId spawn(std::function<void()> work) override {
        works.push_back(std::move(work));
        return ++lastWork;
    }
    void interrupt(WorkId) override { asked = true; }
    void endSpawned() noexcept override { works.clear(); }
    void watch(int, std::function<void()>) override {}
    void unwatch(int) override {}
    void enterFolder(const std::string& path) override {
        if (path.find("none") != std::string::npos) fail("folder {} can't be entered", path);
        ++folders;
    }
    void leaveFolder() override { --folders; }
    bool interrupted() const override {
        if (left != 0) --left;
        return asked || left == 0;
    }
    bool terminated() const override { return ended; }
    void forgetInterrupt() override { asked = false; }
    void terminate() override { ended = true; }

    mutable unsigned left;
    bool asked = false;
    bool ended = false;
    int folders = 0;
    std::deque<std::function<void()>> works;
    WorkId lastWork = 0;
};

}  // namespace pcsim::fuzz

#endif
