// Leaving calls out: what is sought stays, what is needed for it stays, the rest goes.
#include "probe/tools/reduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/probe/tools/maker.h"

namespace pcsim::probe::test {
namespace {

using Numbers = std::vector<uint64_t>;

Maker calls(uint32_t count) {
    Maker maker;
    for (uint32_t call = 0; call < count; ++call) maker.make("pcSimIsCardHwPresent", {call}, 5);
    return maker;
}

// What is left of 'recording' up to 'last' when it is 'wanted' that show it together.
struct Outcome {
    Numbers left;
    uint32_t attempts;
};
Outcome reduced(const Recording& recording, const Numbers& wanted, uint64_t last,
                uint32_t most = 100000) {
    uint32_t asked = 0;
    Reduction reduction(
        recording,
        [&](const Recording& part) {
            ++asked;
            const Numbers numbers = numbersIn(part);
            return std::ranges::all_of(wanted, [&](uint64_t number) {
                return std::ranges::find(numbers, number) != numbers.end();
            });
        },
        [&] { return asked < most; });
    const Recording found = reduction.upTo(last);
    EXPECT_EQ(asked, reduction.attempts());
    return {numbersIn(found), asked};
}

TEST(Reduction, OneCallIsFoundAtOnce) {
    const Outcome outcome = reduced(calls(10000).recording, {777}, 777);
    EXPECT_EQ(outcome.left, (Numbers{777}));
    EXPECT_EQ(outcome.attempts, 1u);
}

TEST(Reduction, CallsThatShowItTogetherStay) {
    const Outcome outcome = reduced(calls(10000).recording, {1, 4711, 4712, 9000, 9999}, 9999);
    EXPECT_EQ(outcome.left, (Numbers{1, 4711, 4712, 9000, 9999}));
    EXPECT_LT(outcome.attempts, 300u);
}

TEST(Reduction, WhatIsBehindGoesUntried) {
    const Outcome outcome = reduced(calls(10).recording, {5}, 5);
    EXPECT_EQ(outcome.left, (Numbers{5}));
}

TEST(Reduction, WhenAllIsNeededAllStays) {
    Numbers all(16);
    for (uint64_t number = 1; number <= 16; ++number) all[number - 1] = number;
    EXPECT_EQ(reduced(calls(16).recording, all, 16).left, all);
}

TEST(Reduction, ACallInsideStandsForTheOutermostOne) {
    Maker maker = calls(3);
    maker.call("pcSimCardPortEnable", {1, 1});
    maker.make("halGetHwPortMapping", {0, 1}, 1);
    maker.returns();
    EXPECT_EQ(reduced(maker.recording, {5}, 5).left, (Numbers{4, 5}));
}

TEST(Reduction, MakersOfHandlesStayWithTheirUsers) {
    Maker maker = calls(20);
    maker.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0xF000);  // 21
    for (uint32_t call = 0; call < 20; ++call) maker.make("pcSimIsCardHwPresent", {call}, 5);
    maker.make("_pcSimIpAdjFree", {0xF000});  // 42
    EXPECT_EQ(reduced(maker.recording, {42}, 42).left, (Numbers{21, 42}));
}

TEST(Reduction, WithoutTimeTheBestSoFarIsTheAnswer) {
    const Outcome outcome = reduced(calls(1000).recording, {1, 500, 999}, 999, 5);
    EXPECT_EQ(outcome.attempts, 5u);
    EXPECT_LT(outcome.left.size(), 999u);
    for (const uint64_t wanted : {1, 500, 999})
        EXPECT_NE(std::ranges::find(outcome.left, wanted), outcome.left.end()) << wanted;
}

// Any recording is a part of itself: whatever the oracle, the answer shows it.
TEST(Reduction, TheAnswerShowsIt) {
    const Recording recording = calls(200).recording;
    for (uint32_t seed = 1; seed < 20; ++seed) {
        const auto shows = [&](const Recording& part) {
            uint64_t sum = 0;
            for (const uint64_t number : numbersIn(part)) sum += number * seed % 7;
            return sum % 3 == seed % 2 || part.calls() == 200;
        };
        Reduction reduction(recording, shows, [] { return true; });
        EXPECT_TRUE(shows(reduction.upTo(200))) << seed;
    }
}

}  // namespace
}  // namespace pcsim::probe::test
