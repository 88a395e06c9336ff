// The event loop: works that wait beside each other, in stopped and in real time.
#include "host/core/loop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/error.h"

namespace pcsim::host {
namespace {

using Lines = std::vector<std::string>;
using RealClock = std::chrono::steady_clock;

class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(ends_), 0); }
    ~Pipe() {
        close(ends_[0]);
        end();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reader() const { return ends_[0]; }
    void fill() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
    void empty() {
        char byte;
        EXPECT_EQ(read(ends_[0], &byte, 1), 1);
    }
    void end() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

private:
    int ends_[2] = {-1, -1};
};

class LoopTest : public testing::Test {
protected:
    LoopTest() { scheduler.stopAtZero(); }

    void note(const std::string& what) {
        notes.push_back(what + "@" + std::to_string(scheduler.nowMs()));
    }
    // What it throws becomes a note: works throw nothing.
    Surroundings::WorkId spawn(const std::function<void()>& work) {
        return loop.spawn([this, work] {
            try {
                work();
            } catch (const CommandError& error) {
                note(error.what());
            }
        });
    }
    bool noted(const std::string& what) const {
        for (const std::string& line : notes)
            if (line.starts_with(what)) return true;
        return false;
    }

    Scheduler scheduler;
    Lines notes;
    Loop loop{scheduler};
};

TEST_F(LoopTest, WorkBeginsWhenTheCallerLetsTimePassAndBeforeTheClockMoves) {
    spawn([this] { note("work"); });
    note("caller");
    loop.sleep(10);
    EXPECT_EQ(notes, (Lines{"caller@0", "work@0"}));
}

TEST_F(LoopTest, WorksSleepBesideEachOtherInStoppedTime) {
    for (const uint64_t ms : {300, 100, 200})
        spawn([this, ms] {
            loop.sleep(ms);
            note("slept");
        });
    loop.sleep(250);
    note("main");
    loop.sleep(250);
    EXPECT_EQ(notes, (Lines{"slept@100", "slept@200", "main@250", "slept@300"}));
    EXPECT_EQ(scheduler.nowMs(), 500u);
}

TEST_F(LoopTest, AWaitEndsAtTheActionThatMakesItTrue) {
    bool up = false;
    scheduler.after(70, "up", [&] { up = true; });
    spawn([&] { note(loop.waitUntil([&] { return up; }, 1000) ? "up" : "never"); });
    spawn([&] { note(loop.waitUntil([&] { return up; }, 50) ? "up" : "never"); });
    loop.sleep(2000);
    EXPECT_EQ(notes, (Lines{"never@50", "up@70"}));
}

TEST_F(LoopTest, AWaitEndsWithWhatAnotherWorkDoes) {
    bool done = false;
    spawn([&] { note(loop.waitUntil([&] { return done; }, 1000) ? "done" : "never"); });
    spawn([&] {
        loop.sleep(20);
        done = true;
        loop.sleep(500);
    });
    loop.sleep(600);
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].substr(0, 5), "done@");
}

TEST_F(LoopTest, ActionsDueAtTheSameTimeRunBeforeWhoeverWaitsForIt) {
    scheduler.after(100, "tick", [this] { note("tick"); });
    spawn([this] {
        loop.sleep(100);
        note("work");
    });
    loop.sleep(100);
    note("main");
    EXPECT_EQ(notes, (Lines{"tick@100", "work@100", "main@100"}));
}

// So that who asks what commands alone can change needn't ask again.
TEST_F(LoopTest, TimeAndLookingAreNoWork) {
    std::vector<uint64_t> worked;
    scheduler.every(100, "look", [&] { worked.push_back(loop.worked()); });
    spawn([&] {
        EXPECT_FALSE(loop.waitUntil([] { return false; }, 350));
        EXPECT_FALSE(loop.waitUntil([] { return false; }, 300));
    });
    loop.sleep(800);
    ASSERT_EQ(worked.size(), 8u);
    for (size_t i : {1, 2, 4, 5, 7}) EXPECT_EQ(worked[i], worked[i - 1]) << i;
    for (size_t i : {3, 6}) EXPECT_GT(worked[i], worked[i - 1]) << i;
    loop.sleep(100);
    EXPECT_GT(worked.back(), worked[7]) << "the caller has gone on";
}

TEST_F(LoopTest, WhatAConditionThrowsReachesTheWorkThatWaits) {
    spawn([this] { loop.waitUntil([]() -> bool { fail("there is no such port"); }, 1000); });
    bool begun = false;
    spawn([&] {
        loop.waitUntil(
            [&] {
                if (begun) fail("gone meanwhile");
                begun = true;
                return false;
            },
            1000);
    });
    loop.sleep(50);
    EXPECT_EQ(notes, (Lines{"there is no such port@0", "gone meanwhile@50"}));
}

TEST_F(LoopTest, AnInterruptEndsOneWorkAlone) {
    const auto first = spawn([this] { loop.sleep(1000); });
    spawn([this] {
        loop.sleep(1000);
        note("slept");
    });
    scheduler.after(10, "interrupt", [&] { loop.interrupt(first); });
    loop.sleep(2000);
    EXPECT_EQ(notes, (Lines{"interrupted@10", "slept@1000"}));
    EXPECT_FALSE(loop.interrupted());
    loop.interrupt(first);  // it has ended
}

TEST_F(LoopTest, AnAnsweredInterruptIsOver) {
    const auto work = spawn([this] {
        try {
            loop.sleep(1000);
        } catch (const CommandError&) {
        }
        EXPECT_TRUE(loop.interrupted());
        EXPECT_FALSE(loop.terminated());
        loop.forgetInterrupt();
        loop.sleep(1000);
        note("slept");
    });
    scheduler.after(10, "interrupt", [&] { loop.interrupt(work); });
    loop.sleep(2000);
    EXPECT_EQ(notes, (Lines{"slept@1010"}));
}

TEST_F(LoopTest, ASignalInterruptsTheMainWorkAlone) {
    spawn([this] {
        loop.sleep(100);
        note("slept");
    });
    scheduler.after(10, "interrupt", [] { raise(SIGINT); });
    EXPECT_THROW(loop.sleep(1000), CommandError);
    EXPECT_EQ(scheduler.nowMs(), 10u);
    loop.forgetInterrupt();
    loop.sleep(200);
    EXPECT_EQ(notes, (Lines{"slept@100"}));
}

TEST_F(LoopTest, TerminationInterruptsAll) {
    spawn([this] { loop.sleep(1000); });
    scheduler.after(10, "end", [this] { loop.terminate(); });
    EXPECT_THROW(loop.sleep(1000), CommandError);
    loop.endSpawned();
    EXPECT_EQ(notes, (Lines{"interrupted@10"}));
    EXPECT_TRUE(loop.terminated());
}

TEST_F(LoopTest, EndingUnwindsWhatWasSpawnedAndRefusesMore) {
    struct Guard {
        const std::function<void()> end;
        ~Guard() { end(); }
    };
    Pipe pipe;
    spawn([this] {
        const Guard guard{[this] { note("unwound"); }};
        loop.sleep(1000);
    });
    spawn([&] { note(loop.waitReadable(pipe.reader()) ? "readable" : "not"); });
    spawn([this] {
        while (!loop.interrupted()) loop.giveWay();
        loop.giveWay();
        loop.forgetInterrupt();
        loop.sleep(1);
    });
    loop.sleep(10);
    spawn([this] { loop.sleep(1000); });  // has not begun
    loop.endSpawned();
    EXPECT_EQ(notes, (Lines{"unwound@10", "interrupted@10", "not@10", "interrupted@10",
                            "interrupted@10"}));
    EXPECT_THROW(spawn([] {}), CommandError);
    EXPECT_FALSE(loop.interrupted());
}

TEST_F(LoopTest, EndingWhileAnErrorUnwindsTheMainStack) {
    spawn([this] {
        try {
            loop.sleep(1000);
        } catch (const CommandError&) {
            note("caught");
        }
        try {
            fail("another");
        } catch (const CommandError& error) {
            note(error.what());
        }
    });
    loop.sleep(5);
    struct Ending {
        Loop& loop;
        ~Ending() { loop.endSpawned(); }
    };
    EXPECT_THROW(
        {
            const Ending ending{loop};
            fail("main");
        },
        CommandError);
    EXPECT_EQ(notes, (Lines{"caught@5", "another@5"}));
}

TEST_F(LoopTest, WorksThrowAndCatchAroundEachOther) {
    for (int n = 0; n < 3; ++n)
        spawn([this, n] {
            for (int round = 0; round < 3; ++round) {
                try {
                    loop.sleep(10);
                    fail("{}.{}", n, round);
                } catch (const CommandError& error) {
                    note(error.what());
                }
                loop.sleep(static_cast<uint64_t>(n));
            }
        });
    loop.sleep(100);
    EXPECT_EQ(notes.size(), 9u);
    EXPECT_EQ(notes[0], "0.0@10");
    EXPECT_EQ(notes[8], "2.2@34");
}

TEST_F(LoopTest, WhatHandlesAnExceptionCannotWait) {
    loop.spawn([this] {
        try {
            fail("first");
        } catch (const CommandError&) {
            EXPECT_THROW(loop.sleep(10), std::logic_error);
        }
        loop.sleep(10);
        note("waited");
    });
    loop.sleep(100);
    EXPECT_EQ(notes, (Lines{"waited@10"}));
}

TEST_F(LoopTest, WhatATimerStartsLetsNoTimePass) {
    scheduler.after(10, "late", [this] { loop.sleep(10); });
    EXPECT_THROW(loop.sleep(100), std::logic_error);
    loop.sleep(100);  // and no harm is done
}

TEST_F(LoopTest, AWarpOfDaysLetsDescriptorsInBetween) {
    constexpr uint64_t kDayMs = 86400000;
    Pipe pipe;
    scheduler.every(1, "tick", [] {});
    int calls = 0;
    loop.watch(pipe.reader(), [&] {
        ++calls;
        pipe.empty();
        if (calls < 20)
            pipe.fill();
        else
            loop.terminate();
    });
    pipe.fill();
    const auto start = RealClock::now();
    EXPECT_THROW(loop.sleep(kDayMs), CommandError);
    EXPECT_EQ(calls, 20);
    EXPECT_LT(scheduler.nowMs(), kDayMs);
    EXPECT_GE(scheduler.nowMs(), 19u);
    EXPECT_LT(RealClock::now() - start, std::chrono::seconds(5));
}

TEST_F(LoopTest, WorkOfAWatcherRunsWhileAnotherWarps) {
    constexpr uint64_t kDayMs = 86400000;
    Pipe pipe;
    scheduler.every(1, "tick", [] {});
    const auto warping = spawn([this] { loop.sleep(kDayMs); });
    loop.watch(pipe.reader(), [&] {
        pipe.empty();
        spawn([&] {
            note("asked");
            loop.interrupt(warping);
        });
    });
    pipe.fill();
    bool ended = false;
    spawn([&] { ended = loop.waitUntil([&] { return noted("interrupted"); }, kDayMs); });
    EXPECT_TRUE(loop.waitUntil([&] { return ended; }, kDayMs));
    EXPECT_TRUE(noted("asked"));
    EXPECT_LT(scheduler.nowMs(), kDayMs);
}

TEST_F(LoopTest, AWatcherMayTakeOthersAndItselfAway) {
    Pipe first, second;
    for (Pipe* const pipe : {&first, &second}) {
        pipe->fill();
        loop.watch(pipe->reader(), [&] {
            note("called");
            loop.unwatch(first.reader());
            loop.unwatch(second.reader());
        });
    }
    Pipe third;
    third.fill();
    EXPECT_TRUE(loop.waitReadable(third.reader()));
    EXPECT_TRUE(loop.waitReadable(third.reader()));
    EXPECT_EQ(notes, (Lines{"called@0"}));
}

TEST_F(LoopTest, WorksAndMainWaitForDescriptorsOfTheirOwn) {
    Pipe work, main;
    spawn([&] {
        EXPECT_TRUE(loop.waitReadable(work.reader()));
        work.empty();
        note("first");
        EXPECT_TRUE(loop.waitReadable(work.reader()));  // its end
        note("end");
        main.fill();
    });
    spawn([&] {
        for (int turns = 0; turns < 3; ++turns) loop.giveWay();
        work.fill();
        for (int turns = 0; turns < 3; ++turns) loop.giveWay();
        work.end();
    });
    EXPECT_TRUE(loop.waitReadable(main.reader()));
    EXPECT_EQ(notes, (Lines{"first@0", "end@0"}));
}

TEST_F(LoopTest, GivingWayDoesNotHoldUpTheClockOfOthers) {
    scheduler.every(1, "tick", [] {});
    bool slept = false;
    spawn([&] {
        loop.sleep(1000);
        slept = true;
    });
    uint64_t turns = 0;
    spawn([&] {
        while (!slept) {
            loop.giveWay();
            ++turns;
        }
        note("over");
    });
    EXPECT_TRUE(loop.waitUntil([&] { return noted("over"); }, 5000));
    EXPECT_GE(turns, 1000u);
}

TEST_F(LoopTest, RealTimePassesForAllAtOnce) {
    scheduler.resume();
    Pipe pipe;
    bool flag = false;
    spawn([&] {
        loop.sleep(60);
        flag = true;
        note("slept");
    });
    spawn([&] { note(loop.waitUntil([&] { return flag; }, 10000) ? "held" : "never"); });
    spawn([&] {
        EXPECT_TRUE(loop.waitReadable(pipe.reader()));
        note("read");
    });
    scheduler.after(120, "fill", [&] { pipe.fill(); });
    const auto start = RealClock::now();
    EXPECT_TRUE(loop.waitUntil([&] { return noted("read"); }, 10000));
    const auto took = RealClock::now() - start;
    ASSERT_EQ(notes.size(), 3u);
    EXPECT_EQ(notes[0].substr(0, 6), "slept@");
    EXPECT_EQ(notes[1].substr(0, 5), "held@");
    EXPECT_GE(took, std::chrono::milliseconds(119));
    EXPECT_LT(took, std::chrono::seconds(5));
}

TEST_F(LoopTest, AWaitInRealTimeLooksNotMoreThanOnceAMillisecond) {
    scheduler.resume();
    Pipe pipe;
    pipe.fill();
    uint64_t calls = 0, looks = 0;
    loop.watch(pipe.reader(), [&] { ++calls; });  // always readable
    spawn([&] {
        loop.waitUntil(
            [&] {
                ++looks;
                return false;
            },
            50);
        note("over");
    });
    while (!noted("over")) loop.giveWay();
    EXPECT_GT(calls, looks);
    EXPECT_GE(looks, 2u);
    EXPECT_LE(looks, 52u);
}

TEST_F(LoopTest, ASleepThatNothingDisturbsCostsNoTurns) {
    scheduler.resume();
    uint64_t looks = 0;
    loop.waitUntil(
        [&] {
            ++looks;
            return false;
        },
        100);
    EXPECT_LE(looks, 4u);
}

TEST_F(LoopTest, DelaysOfCallsHoldUpEverything) {
    spawn([this] {
        loop.block(40);
        note("blocked");
    });
    spawn([this] { note("other"); });
    loop.sleep(0);
    loop.giveWay();
    EXPECT_EQ(notes, (Lines{"blocked@40", "other@40"}));
}

std::string here() {
    char path[4096];
    return getcwd(path, sizeof path) != nullptr ? path : "";
}

TEST_F(LoopTest, EachWorkHasAFolderOfItsOwn) {
    const std::string mine = here();
    ASSERT_NE(mine, "/");
    for (const char* const folder : {"/usr", "/"})
        spawn([this, folder, mine] {
            loop.enterFolder(folder);
            loop.sleep(10);
            EXPECT_EQ(here(), folder);
            loop.leaveFolder();
            EXPECT_EQ(here(), mine);
            loop.enterFolder(folder);
            loop.sleep(10);
            EXPECT_EQ(here(), folder);
            note("over");
        });
    spawn([this, mine] {
        loop.sleep(5);
        EXPECT_EQ(here(), mine);
        loop.enterFolder("/none such");
    });
    scheduler.after(7, "look", [&] { EXPECT_EQ(here(), mine); });
    loop.sleep(15);
    EXPECT_EQ(here(), mine);
    loop.sleep(15);
    EXPECT_EQ(here(), mine);
    EXPECT_EQ(notes, (Lines{"the folder /none such can't be entered: No such file or directory@5",
                            "over@20", "over@20"}));
}

TEST_F(LoopTest, WhatAWorkSpawnsBeginsInTheNextTurn) {
    int begun = 0;
    std::function<void()> again = [&] {
        ++begun;
        if (begun < 1000) spawn(again);
    };
    spawn(again);
    loop.giveWay();
    EXPECT_EQ(begun, 1);
    loop.giveWay();
    EXPECT_EQ(begun, 2);
    begun = 1000;
    loop.endSpawned();  // while what the last one uses is there
}

TEST_F(LoopTest, AThousandWorksWaitAndOneTooManyIsRefused) {
    EXPECT_GE(Stacks::kMost, 1000u);
    uint64_t ended = 0;
    for (size_t n = 0; n < Stacks::kMost; ++n)
        spawn([&, n] {
            loop.sleep(100 + n % 10);
            ++ended;
        });
    try {
        spawn([] {});
        ADD_FAILURE() << "one too many was taken";
    } catch (const CommandError& error) {
        EXPECT_EQ(std::string(error.what()),
                  std::to_string(Stacks::kMost) +
                      " commands run already; expected one of them to end first");
    }
    loop.sleep(1000);
    EXPECT_EQ(ended, Stacks::kMost);
    spawn([this] { note("again"); });
    loop.sleep(1);
    EXPECT_EQ(notes, (Lines{"again@1000"}));
}

}  // namespace
}  // namespace pcsim::host
