// The clock: order, exact times when stopped, cancelling.
#include "host/core/scheduler.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "host/core/loop.h"

namespace pcsim::host {
namespace {

class SchedulerTest : public testing::Test {
protected:
    SchedulerTest() {
        scheduler.stop();
        start = scheduler.nowMs();
    }
    uint64_t sinceStart() const { return scheduler.nowMs() - start; }

    Scheduler scheduler;
    uint64_t start = 0;
    std::vector<std::string> ran;
    void note(const char* what) {
        ran.push_back(std::string(what) + "@" + std::to_string(sinceStart()));
    }
};

TEST_F(SchedulerTest, WhatIsStillToComeHasADueTime) {
    const auto once = scheduler.after(30, "once", [] {});
    const auto again = scheduler.every(20, "again", [] {});
    EXPECT_EQ(scheduler.dueMs(once), start + 30);
    scheduler.warp(25);
    EXPECT_EQ(scheduler.dueMs(again), start + 40);
    scheduler.warp(5);
    EXPECT_EQ(scheduler.dueMs(once), std::nullopt);
    scheduler.cancel(again);
    EXPECT_EQ(scheduler.dueMs(again), std::nullopt);
    EXPECT_EQ(scheduler.dueMs(0), std::nullopt);
}

TEST_F(SchedulerTest, AClockStoppedAtZeroForgetsWhatPassedBefore) {
    Scheduler late;
    while (late.nowMs() < 3) {
    }
    late.stopAtZero();
    EXPECT_EQ(late.nowMs(), 0u);
    late.warp(5);
    EXPECT_EQ(late.nowMs(), 5u);
    late.resume();
    EXPECT_GE(late.nowMs(), 5u);
    EXPECT_LT(late.nowMs(), 5000u);
}

// Whoever makes a request knows by the ids which tasks it has made, and which of them calls back.
TEST_F(SchedulerTest, IdsTellWhichActionRuns) {
    const Scheduler::Id before = scheduler.lastId();
    Scheduler::Id seen = 0, seenInside = 0;
    const Scheduler::Id id = scheduler.after(5, "task", [&] {
        seen = scheduler.runningId();
        scheduler.after(1, "other", [&] { seenInside = scheduler.runningId(); });
    });
    EXPECT_EQ(scheduler.lastId(), id);
    EXPECT_NE(id, before);
    EXPECT_EQ(scheduler.runningId(), 0u);
    scheduler.warp(10);
    EXPECT_EQ(seen, id);
    EXPECT_EQ(seenInside, id + 1);
    EXPECT_EQ(scheduler.runningId(), 0u);
}

// A call that takes long within an action: what came due meanwhile runs late, and time never goes
// back.
TEST_F(SchedulerTest, TimeThatPassesInAnActionMakesOthersLate) {
    scheduler.after(10, "slow", [&] {
        scheduler.pass(100);
        note("slow");
    });
    scheduler.every(30, "periodic", [&] { note("periodic"); });
    scheduler.warp(50);
    EXPECT_EQ(ran, (std::vector<std::string>{"slow@110", "periodic@110"}));
    EXPECT_EQ(sinceStart(), 110u);
    scheduler.warp(10);
    EXPECT_EQ(ran.size(), 5u) << "60, 90 and 120";
    EXPECT_EQ(ran.back(), "periodic@120");
    EXPECT_EQ(sinceStart(), 120u);
}

TEST_F(SchedulerTest, AnActionThatThrowsRunsNoMore) {
    scheduler.after(5, "task", [] { throw std::runtime_error("no"); });
    EXPECT_THROW(scheduler.warp(10), std::runtime_error);
    EXPECT_EQ(scheduler.runningId(), 0u);
    EXPECT_EQ(sinceStart(), 5u);
}

TEST_F(SchedulerTest, AStoppedClockStandsStill) {
    scheduler.after(0, "now", [this] { note("now"); });
    scheduler.runDue();
    EXPECT_TRUE(ran.empty());
    scheduler.warp(0);
    EXPECT_EQ(ran, (std::vector<std::string>{"now@0"}));
}

TEST_F(SchedulerTest, ActionsRunAtTheirTimesInOrder) {
    scheduler.every(1000, "tick", [this] { note("tick"); });
    scheduler.after(2000, "task", [this] { note("task"); });
    scheduler.after(500, "early", [this] { note("early"); });
    scheduler.warp(2500);
    EXPECT_EQ(ran, (std::vector<std::string>{"early@500", "tick@1000", "tick@2000", "task@2000"}));
    EXPECT_EQ(sinceStart(), 2500u);
}

TEST_F(SchedulerTest, WhatAnActionSchedulesRunsInTheSameWarp) {
    scheduler.after(100, "first", [this] {
        note("first");
        scheduler.after(50, "second", [this] { note("second"); });
    });
    scheduler.warp(200);
    EXPECT_EQ(ran, (std::vector<std::string>{"first@100", "second@150"}));
}

TEST_F(SchedulerTest, CancelledActionsDoNotRun) {
    const auto id = scheduler.every(10, "tick", [this] { note("tick"); });
    scheduler.warp(10);
    scheduler.cancel(id);
    scheduler.cancel(id);
    scheduler.warp(100);
    EXPECT_EQ(ran, (std::vector<std::string>{"tick@10"}));
    EXPECT_TRUE(scheduler.entries().empty());
}

TEST_F(SchedulerTest, APeriodicActionMayCancelItself) {
    Scheduler::Id id = 0;
    id = scheduler.every(10, "tick", [&] {
        note("tick");
        scheduler.cancel(id);
    });
    scheduler.warp(100);
    EXPECT_EQ(ran, (std::vector<std::string>{"tick@10"}));
}

TEST_F(SchedulerTest, WaitingInStoppedTimeWarpsFromOneActionToTheNext) {
    Loop loop(scheduler);
    scheduler.every(1000, "tick", [this] { note("tick"); });
    EXPECT_TRUE(loop.waitUntil([this] { return ran.size() == 3; }, 10000));
    EXPECT_EQ(sinceStart(), 3000u);
    EXPECT_FALSE(loop.waitUntil([] { return false; }, 1500));
    EXPECT_EQ(sinceStart(), 4500u);
}

TEST_F(SchedulerTest, ResumingGoesOnFromWhereTheClockStood) {
    scheduler.warp(5000);
    scheduler.resume();
    EXPECT_GE(sinceStart(), 5000u);
    EXPECT_LT(sinceStart(), 60000u);
}

}  // namespace
}  // namespace pcsim::host
