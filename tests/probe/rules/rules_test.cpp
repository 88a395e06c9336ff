// Fault rules: which calls they take, in what order, and what they do to them.
#include "probe/rules/rules.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "console/error.h"
#include "pcsim/l3.h"
#include "pcsim/system.h"
#include "tests/probe/calls.h"

namespace pcsim::probe {
namespace {

class RulesTest : public testing::Test {
protected:
    RulesTest() {
        rules.onDelay = [this](uint64_t ms) { delays.push_back(ms); };
        rules.onChange = [this] { ++changes; };
    }

    // The calls of a row that were answered: "-x-" for the second of three.
    std::string answered(FakeSite& site, int calls) {
        std::string row;
        for (int i = 0; i < calls; ++i)
            row += boundary.call(site, {1, word(&value)}).answered ? 'x' : '-';
        return row;
    }

    std::string problem(Order order) {
        try {
            rules.add(std::move(order));
        } catch (const CommandError& error) {
            return error.what();
        }
        return "none";
    }

    uint32_t value = 0;
    Rules rules;
    FakeBoundary boundary{rules};
    FakeSite temperature{"pcSimFanReadTemp", "HalFanSlotDb", "fanReadTemp"};
    FakeSite odometer{"pcSimFanGetOdometer", "HalFanSlotDb", "fanGetOdometer"};
    std::vector<uint64_t> delays;
    int changes = 0;
};

TEST_F(RulesTest, ABareRuleLetsTheNextCallFail) {
    EXPECT_EQ(rules.add({.operation = "pcSimFanReadTemp"}), 1u);
    const auto ended = boundary.call(temperature, {1, word(&value)}, 5);
    EXPECT_TRUE(ended.answered);
    EXPECT_EQ(static_cast<int32_t>(ended.result), -1);
    EXPECT_EQ(boundary.call(temperature, {1, word(&value)}, 5).result, 5u);
    EXPECT_FALSE(boundary.call(odometer, {1, word(&value)}).answered);
    const RuleState state = rules.states().at(0);
    EXPECT_EQ(state.hit, 1u);
    EXPECT_TRUE(state.usedUp());
}

TEST_F(RulesTest, AFailureIsOfTheResultsType) {
    FakeSite found{"findNode"}, nothing{"setCheckpointStats"};
    rules.add({.operation = "findNode"});
    const auto ended = boundary.call(found, {0, 0, 0}, 77);
    EXPECT_TRUE(ended.answered);
    EXPECT_EQ(ended.result, 0u) << "a null record";
    rules.add({.operation = "setCheckpointStats"});
    EXPECT_TRUE(boundary.call(nothing, {0, 0, 1}).answered) << "it isn't called";
}

TEST_F(RulesTest, AfterAndCountChooseTheCalls) {
    rules.add({.operation = "fanSlot.*", .after = 2, .count = 3});
    EXPECT_EQ(answered(temperature, 3), "--x");
    EXPECT_EQ(answered(odometer, 4), "xx--") << "one rule counts all of its operations";
    EXPECT_EQ(rules.states()[0].seen, 5u) << "a rule that is used up sees no more";
}

TEST_F(RulesTest, TheFirstRuleThatFitsAnswers) {
    rules.add({.operation = "fanReadTemp", .after = 1, .returns = "-5"});
    rules.add({.operation = "fan*", .count = 2, .returns = "-6"});
    rules.add({.operation = "pcSim*", .returns = "-7"});
    std::vector<int32_t> results;
    for (int i = 0; i < 5; ++i)
        results.push_back(
            static_cast<int32_t>(boundary.call(temperature, {1, word(&value)}, 1).result));
    EXPECT_EQ(results, (std::vector<int32_t>{-6, -5, -6, -7, 1}));
}

TEST_F(RulesTest, ConditionsMustAllHold) {
    rules.add(
        {.operation = "pcSimStackFanReadRpm", .where = {{"slot", "2"}, {"fan", "3"}}, .count = 10});
    FakeSite rpm{"pcSimStackFanReadRpm"};
    EXPECT_FALSE(boundary.call(rpm, {2, 2, word(&value)}).answered);
    EXPECT_FALSE(boundary.call(rpm, {3, 3, word(&value)}).answered);
    EXPECT_TRUE(boundary.call(rpm, {2, 3, word(&value)}).answered);
    EXPECT_EQ(rules.states()[0].seen, 1u) << "others aren't calls that fit";
}

TEST_F(RulesTest, AWildNameTakesThoseThatHaveTheFields) {
    rules.add({.operation = "*Rpm*", .where = {{"fan", "3"}}, .count = 9});
    FakeSite rpm{"pcSimStackFanReadRpm"};
    EXPECT_TRUE(boundary.call(rpm, {2, 3, word(&value)}).answered);
    rules.clear();
    rules.add({.operation = "pcSim*Fan*", .where = {{"fan", "1"}}, .count = 9});
    EXPECT_FALSE(boundary.call(temperature, {1, word(&value)}).answered) << "it has no fan";
    EXPECT_FALSE(rules.wants(temperature.site));
}

TEST_F(RulesTest, ConditionsAreAboutRecordsToo) {
    FakeSite add{"pcSimPCFamIPv4FibAddEntry", "HalFamilyOps", "ipv4FibAddEntry"};
    FakeSite adjacency{"pcSimIpAdjAdd"};
    pcSimIPv4FibReq route{};
    route.prefix = 0x0000030A;  // 10.3.0.0
    route.mask = 0x0000FFFF;
    pcSimIpAdjRec neighbor{};
    neighbor.port = 0x00010003;
    rules.add({.operation = "*Fib*", .where = {{"prefix", "10.0.0.0/8", true}}, .count = 9});
    EXPECT_TRUE(boundary.call(add, {word(&route)}).answered);
    route.prefix = 0x0000030B;
    EXPECT_FALSE(boundary.call(add, {word(&route)}).answered);
    rules.add({.operation = "pcSimIpAdjAdd", .where = {{"port", "1:3"}}, .count = 9});
    EXPECT_TRUE(boundary.call(adjacency, {word(&neighbor)}).answered);
    neighbor.port = 0x00010004;
    EXPECT_FALSE(boundary.call(adjacency, {word(&neighbor)}).answered);
}

TEST_F(RulesTest, FieldsOfRecordsAreSet) {
    FakeSite capability{"pcSimStackChassisGetInfo", "HalSystemOps", "chassisGetInfo"};
    HalChassisInfo info{};
    rules.add({.operation = "chassisGetInfo", .set = {{"ownSlot", "7"}}});
    boundary.call(capability, {word(&info)}, 0, [&] { info.ownSlot = 1; });
    EXPECT_EQ(info.ownSlot, 7u);
}

// Into the host goes what the platform gives: it is changed before the host sees it.
TEST_F(RulesTest, WhatThePlatformTellsTheHostIsSetBeforeTheCall) {
    FakeSite timer{"halStartTimer"};
    rules.add({.operation = "halStartTimer", .set = {{"periodMs", "50"}}});
    uint32_t period = 0;
    boundary.callSeeing(timer, {0, 0, 0, 1000, 0}, [&](const Word* arguments) {
        period = static_cast<uint32_t>(arguments[3]);
    });
    EXPECT_EQ(period, 50u);
}

TEST_F(RulesTest, SetChangesWhatIsHandedOutForAsLongAsTheRuleIsThere) {
    rules.add({.operation = "pcSimFanReadTemp",
               .where = {{"slot", "1"}},
               .set = {{"temperature", "9000"}}});
    for (int i = 0; i < 3; ++i) {
        value = 0;
        const auto ended =
            boundary.call(temperature, {1, word(&value)}, 0, [this] { value = 2501; });
        EXPECT_FALSE(ended.answered);
        EXPECT_EQ(value, 9000u);
    }
    boundary.call(temperature, {2, word(&value)}, 0, [this] { value = 2502; });
    EXPECT_EQ(value, 2502u);
    rules.remove(1);
    boundary.call(temperature, {1, word(&value)}, 0, [this] { value = 2501; });
    EXPECT_EQ(value, 2501u);
}

TEST_F(RulesTest, SetWithReturnsHandsOutWithoutACall) {
    rules.add({.operation = "pcSimFanReadTemp", .returns = "0", .set = {{"temperature", "7"}}});
    const auto ended = boundary.call(temperature, {1, word(&value)}, 0, [] { FAIL(); });
    EXPECT_TRUE(ended.answered);
    EXPECT_EQ(value, 7u);
}

TEST_F(RulesTest, TheResultCanBeSetToo) {
    rules.add({.operation = "pcSimFanReadTemp", .set = {{"result", "-3"}}});
    const auto ended = boundary.call(temperature, {1, word(&value)}, 0, [this] { value = 8; });
    EXPECT_FALSE(ended.answered);
    EXPECT_EQ(static_cast<int32_t>(ended.result), -3);
    EXPECT_EQ(value, 8u);
}

TEST_F(RulesTest, OfTwoChangesOfAFieldTheFirstRuleCounts) {
    rules.add({.operation = "fanReadTemp", .set = {{"temperature", "1"}}});
    rules.add({.operation = "fanReadTemp", .set = {{"temperature", "2"}}});
    boundary.call(temperature, {1, word(&value)});
    EXPECT_EQ(value, 1u);
}

TEST_F(RulesTest, ADelayLetsTheCallThrough) {
    rules.add({.operation = "fanReadTemp", .delayMs = 250});
    rules.add({.operation = "fanReadTemp", .delayMs = 50, .returns = "-9"});
    EXPECT_EQ(static_cast<int32_t>(boundary.call(temperature, {1, word(&value)}).result), -9);
    EXPECT_FALSE(boundary.call(temperature, {1, word(&value)}).answered);
    EXPECT_EQ(delays, (std::vector<uint64_t>{300, 250}));
}

TEST_F(RulesTest, AChanceIsTheSameWithTheSameSeed) {
    const auto row = [this](uint64_t seed, uint32_t percent) {
        rules.clear();
        rules.add({.operation = "fanReadTemp", .chancePercent = percent, .seed = seed});
        return answered(temperature, 1000);
    };
    const std::string first = row(7, 30);
    EXPECT_EQ(row(7, 30), first);
    EXPECT_NE(row(8, 30), first);
    EXPECT_EQ(row(1, 100), std::string(1000, 'x'));
    const auto hits = std::ranges::count(first, 'x');
    EXPECT_GT(hits, 240);
    EXPECT_LT(hits, 360);
    // The generator is our own: the same on every machine and in every build.
    EXPECT_EQ(row(1, 50).substr(0, 16), "x--x--xx----x-xx");
}

TEST_F(RulesTest, ACountLimitsAChance) {
    rules.add({.operation = "fanReadTemp", .count = 2, .chancePercent = 50});
    const std::string row = answered(temperature, 100);
    EXPECT_EQ(std::ranges::count(row, 'x'), 2);
}

TEST_F(RulesTest, RulesAreTurnedOffAndOnAndRemovedByNumber) {
    rules.add({.operation = "fanReadTemp", .count = 100});
    rules.add({.operation = "fanGetOdometer", .count = 100});
    EXPECT_EQ(changes, 2);
    rules.turn(1, false);
    EXPECT_EQ(answered(temperature, 1), "-");
    EXPECT_FALSE(rules.wants(temperature.site));
    EXPECT_TRUE(rules.wants(odometer.site));
    rules.turn(1, true);
    EXPECT_EQ(answered(temperature, 1), "x");
    rules.remove(1);
    EXPECT_EQ(answered(temperature, 1), "-");
    EXPECT_EQ(rules.add({.operation = "fanReadTemp"}), 3u) << "numbers are never used again";
    try {
        rules.remove(1);
        ADD_FAILURE();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), "there is no rule 1; expected one of 2, 3");
    }
    rules.clear();
    EXPECT_TRUE(rules.states().empty());
    EXPECT_THROW(rules.turn(2, true), CommandError);
    EXPECT_EQ(changes, 7);
}

TEST_F(RulesTest, ARuleIsBoundWhenItsSiteComesToBeInATable) {
    rules.add({.operation = "fanSlot.fanReadTemp"});
    FakeSite early{"pcSimFanReadTemp"};
    EXPECT_FALSE(rules.wants(early.site));
    early.site.table = "HalFanSlotDb";
    early.site.word = "fanReadTemp";
    EXPECT_TRUE(rules.wants(early.site));
    EXPECT_EQ(answered(early, 1), "x");
}

TEST_F(RulesTest, ACallInsideAnotherHasItsOwnChanges) {
    rules.add({.operation = "fanReadTemp", .set = {{"temperature", "11"}}});
    rules.add({.operation = "fanGetOdometer", .set = {{"odometer", "22"}}});
    uint32_t inner = 0;
    boundary.call(temperature, {1, word(&value)}, 0, [&] {
        boundary.call(odometer, {1, word(&inner)});
    });
    EXPECT_EQ(value, 11u);
    EXPECT_EQ(inner, 22u);
}

TEST_F(RulesTest, CallsLeftByAJumpAreForgotten) {
    rules.add({.operation = "fan*", .set = {{"temperature", "11"}}});
    uint32_t gone = 0;
    boundary.leave(temperature, {1, word(&gone)});
    boundary.call(temperature, {1, word(&value)});
    EXPECT_EQ(value, 11u);
    EXPECT_EQ(gone, 0u);
}

TEST_F(RulesTest, WhatCanNeverApplyIsRefused) {
    EXPECT_EQ(problem({.operation = "pcSimFanReadTmp"}),
              "no operation goes by 'pcSimFanReadTmp'; perhaps pcSimFanReadTemp");
    EXPECT_EQ(problem({.operation = "pcSimFanReadTemp", .returns = "x"}),
              "returns 'x' is not a number from -2147483648 to 4294967295");
    EXPECT_EQ(problem({.operation = "pcSimFanReadTemp", .returns = "4294967296"}),
              "returns '4294967296' is not a number from -2147483648 to 4294967295");
    EXPECT_EQ(problem({.operation = "pcSimIPv4FibDirectRtCreate", .returns = "5"}),
              "pcSimIPv4FibDirectRtCreate returns a pointer; expected returns null");
    EXPECT_EQ(
        problem({.operation = "pcSimFanReadTemp", .where = {{"port", "1:3"}}}),
        "pcSimFanReadTemp has no 'port' that is tested before the call; expected one of slot");
    EXPECT_EQ(problem({.operation = "pcSimFanReadTemp", .where = {{"slot", "x"}}}),
              "slot 'x' has another form; expected a number of 32 bits");
    EXPECT_EQ(
        problem({.operation = "pcSimFanReadTemp", .set = {{"slot", "1"}}}),
        "pcSimFanReadTemp has no 'slot' that is handed out; expected one of temperature, result");
    EXPECT_EQ(problem({.operation = "pcSimFanReadTemp", .set = {{"temperature", "99999999999"}}}),
              "temperature '99999999999' has another form; expected a number of 32 bits");
    EXPECT_EQ(problem({.operation = "*Fan*", .where = {{"prefix", "1.0.0.0/8", true}}}),
              "none of the 17 operations that go by '*Fan*' can have this rule; of the first, "
              "pcSimChassisFanDBSetup has nothing that is tested before the call");
    EXPECT_EQ(problem({.operation = "setCheckpointStats", .returns = "0"}),
              "setCheckpointStats returns nothing; leave 'returns' out, and it isn't called");
    EXPECT_TRUE(rules.states().empty());
    EXPECT_EQ(changes, 0);
}

TEST_F(RulesTest, AnOrderIsWrittenAsItsCommand) {
    const Order order{.operation = "fan*",
                      .where = {{"slot", "2"}, {"prefix", "10.0.0.0/8", true}, {"name", "a b"}},
                      .after = 3,
                      .count = 4,
                      .chancePercent = 50,
                      .seed = 9,
                      .delayMs = 10,
                      .returns = "-1",
                      .set = {{"temperature", "1"}}};
    EXPECT_EQ(order.text(),
              "fan* where slot 2 where prefix within 10.0.0.0/8 where name \"a b\" after 3 count 4 "
              "chance 50 seed 9 delay 10 returns -1 set temperature 1");
    EXPECT_EQ(Order{.operation = "x"}.text(), "x");
}

}  // namespace
}  // namespace pcsim::probe
