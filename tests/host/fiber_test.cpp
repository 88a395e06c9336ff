// Fibers: work that stops in its middle and goes on later.
#include "host/core/fiber.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace pcsim::host {
namespace {

TEST(FiberTest, RunsUntilItParksAndGoesOnWithWhatItHad) {
    Stacks stacks;
    std::string trace;
    Fiber* self = nullptr;
    Fiber fiber(stacks, [&] {
        int count = 1;
        trace += "a" + std::to_string(count);
        self->park();
        trace += "b" + std::to_string(++count);
        self->park();
        trace += "c" + std::to_string(++count);
    });
    self = &fiber;
    EXPECT_EQ(trace, "");
    fiber.resume();
    trace += "-";
    fiber.resume();
    trace += "-";
    EXPECT_FALSE(fiber.ended());
    fiber.resume();
    EXPECT_TRUE(fiber.ended());
    EXPECT_EQ(trace, "a1-b2-c3");
}

TEST(FiberTest, WhatItHoldsGoesWithItsEnd) {
    Stacks stacks;
    const auto held = std::make_shared<int>(1);
    Fiber fiber(stacks, [held] {});
    EXPECT_EQ(held.use_count(), 2);
    fiber.resume();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(FiberTest, EachHasItsOwnStackOfTheWholeSize) {
    Stacks stacks;
    Fiber* selves[2] = {};
    const auto work = [&](int n) {
        char room[256 * 1024];
        std::memset(room, 'a' + n, sizeof room);
        selves[n]->park();
        for (const char byte : room) ASSERT_EQ(byte, 'a' + n);
    };
    Fiber first(stacks, [&] { work(0); });
    Fiber second(stacks, [&] { work(1); });
    selves[0] = &first;
    selves[1] = &second;
    for (int round = 0; round < 2; ++round) {
        first.resume();
        second.resume();
    }
    EXPECT_TRUE(first.ended() && second.ended());
}

TEST(FiberTest, AStackIsUsedAgain) {
    Stacks stacks;
    char* const stack = stacks.take();
    stacks.giveBack(stack);
    EXPECT_EQ(stacks.take(), stack);
    stacks.giveBack(stack);
}

TEST(FiberTest, DeathBelowTheStackNobodyWrites) {
    Stacks stacks;
    char* const stack = stacks.take();
    stack[0] = 1;
    EXPECT_DEATH(stack[-1] = 1, "");
    stacks.giveBack(stack);
}

TEST(FiberTest, DoesNotParkWithAnException) {
    Stacks stacks;
    Fiber* self = nullptr;
    std::string said;
    Fiber fiber(stacks, [&] {
        try {
            throw std::runtime_error("first");
        } catch (const std::runtime_error&) {
            try {
                self->park();
            } catch (const std::logic_error& error) {
                said = error.what();
            }
        }
    });
    self = &fiber;
    fiber.resume();
    EXPECT_TRUE(fiber.ended());
    EXPECT_EQ(said, "what handles an exception can't wait for something else");
}

}  // namespace
}  // namespace pcsim::host
