// Comparing recordings: what may differ, what may not, and going on behind it.
#include "probe/tools/diff.h"

#include <gtest/gtest.h>

#include "tests/probe/tools/maker.h"

namespace pcsim::probe::test {
namespace {

std::string told(const Maker& a, const Maker& b, bool keepGoing = false) {
    std::string text;
    for (const RunDifference& each : differencesOf(a.recording, b.recording, keepGoing))
        text += std::to_string(each.call) + "/" + std::to_string(each.other) + " " +
                each.operation + " " + each.field + ": " + each.first + " | " + each.second + "\n";
    return text;
}

TEST(Diff, ResultsAndArgumentsAreCompared) {
    Maker a, b;
    a.make("pcSimIsCardHwPresent", {1}, 5);
    b.make("pcSimIsCardHwPresent", {1}, 0);
    EXPECT_EQ(told(a, b), "1/1 pcSimIsCardHwPresent result: 5 | 0\n");
    EXPECT_EQ(told(a, a), "");
    Maker c;
    c.make("pcSimIsCardHwPresent", {0xFFFFFFFF}, 5);
    EXPECT_EQ(told(a, c), "1/1 pcSimIsCardHwPresent slot: 1 | -1\n");
}

TEST(Diff, FieldsOfRecordsAreNamed) {
    const auto add = [](uint32_t port, uint32_t address) {
        Maker maker;
        std::vector<uint32_t> record(16);
        record[1] = 2;
        record[9] = port;
        maker.make("pcSimIpAdjAdd", {address}, 0, {{"record", address, words(record)}});
        return maker;
    };
    EXPECT_EQ(told(add(1, 0x1000), add(2, 0x2000)), "1/1 pcSimIpAdjAdd record.port: 1 | 2\n");
    EXPECT_EQ(told(add(1, 0x1000), add(1, 0x2000)), "");
}

TEST(Diff, NullIsNoPointer) {
    Maker a, b;
    a.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0xF000);
    b.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0);
    EXPECT_EQ(told(a, b), "1/1 pcSimIpAdjLookup result: 0xf000 | null\n");
}

// Two adjacencies at addresses of each run's own, and one of them freed.
Maker twoHandles(uint32_t first, uint32_t second, uint32_t freed) {
    Maker maker;
    maker.make("pcSimIpAdjLookup", {0, 1, 2, 1}, first);
    maker.make("pcSimIpAdjLookup", {0, 2, 2, 1}, second);
    maker.make("_pcSimIpAdjFree", {freed});
    return maker;
}

TEST(Diff, HandlesAreComparedByWhatTheyStandFor) {
    EXPECT_EQ(told(twoHandles(0x100, 0x200, 0x100), twoHandles(0x900, 0x800, 0x900)), "");
    EXPECT_EQ(told(twoHandles(0x100, 0x200, 0x100), twoHandles(0x100, 0x200, 0x200)),
              "3/3 _pcSimIpAdjFree entry: 0x100 | 0x200\n");
}

TEST(Diff, AnAddressThatIsHandedOutAgainIsSomethingNew) {
    const auto run = [](uint32_t again) {
        Maker maker = twoHandles(0x100, 0x200, 0x100);
        maker.make("pcSimIpAdjLookup", {0, 3, 2, 1}, again);
        maker.make("_pcSimIpAdjFree", {again});
        return maker;
    };
    EXPECT_EQ(told(run(0x100), run(0x300)), "");
}

TEST(Diff, WhatVariesMay) {
    const auto run = [](uint32_t now) {
        Maker maker;
        maker.call("pcSimStackChassisGetInfo", {0x1000});
        maker.make("time", {0}, now);
        maker.returns();
        return maker;
    };
    EXPECT_EQ(told(run(1), run(2)), "");
}

TEST(Diff, WordsThatComeBackToTheHalMayBeAddresses) {
    const auto run = [](uint32_t given, uint32_t back) {
        Maker maker;
        maker.make("pcSimCardPortSetForwardingState", {1, 0, 0, 0, 0, 0x4000, given, 8}, 1);
        maker.make("pcSimSetVpstCallback", {back, 8});
        return maker;
    };
    EXPECT_EQ(told(run(0x100, 0x100), run(0x200, 0x200)), "");
    EXPECT_EQ(told(run(0x100, 0x100), run(0x200, 0x300)),
              "2/2 pcSimSetVpstCallback argument1: 256 | 768\n");
}

TEST(Diff, PrintsAndNestedCallsAreCompared) {
    const auto run = [](const char* printed, const char* nested) {
        Maker maker;
        maker.call("pcSimCardPortEnable", {1, 1});
        maker.print(printed);
        maker.make(nested, {0, 1}, 1);
        maker.returns();
        return maker;
    };
    EXPECT_EQ(told(run("a\n", "halGetHwPortMapping"), run("b\n", "halGetHwPortMapping")),
              "1/1  print: \"a\\n\" | \"b\\n\"\n");
    EXPECT_EQ(told(run("a", "halGetHwPortMapping"), run("a", "getMgmtPort")),
              "2/2 pcSimCardPortEnable order: call of halGetHwPortMapping | call of getMgmtPort\n");
}

Maker several(const std::vector<std::pair<const char*, uint32_t>>& calls) {
    Maker maker;
    for (const auto& [name, result] : calls) maker.make(name, {1}, result);
    return maker;
}

TEST(Diff, StopsAtTheFirstCallThatDiffers) {
    const Maker a = several({{"pcSimIsCardHwPresent", 5}, {"pcSimIsFanPresent", 2}});
    const Maker b = several({{"pcSimIsCardHwPresent", 0}, {"pcSimIsFanPresent", 0}});
    EXPECT_EQ(told(a, b), "1/1 pcSimIsCardHwPresent result: 5 | 0\n");
    EXPECT_EQ(told(a, b, true),
              "1/1 pcSimIsCardHwPresent result: 5 | 0\n2/2 pcSimIsFanPresent result: 2 | 0\n");
}

TEST(Diff, GoesOnBehindCallsThatOnlyOneHas) {
    const Maker a = several({{"pcSimGetMySlotNum", 1},
                             {"pcSimIsCardHwPresent", 5},
                             {"pcSimIsFanPresent", 2},
                             {"pcSimGetMySlotNum", 1}});
    const Maker b = several({{"pcSimGetMySlotNum", 1},
                             {"pcSimSystemNop", 0},
                             {"pcSimIsCardHwPresent", 5},
                             {"pcSimIsFanPresent", 3},
                             {"pcSimGetMySlotNum", 1}});
    EXPECT_EQ(told(a, b, true),
              "0/2 pcSimSystemNop call: no call | pcSimSystemNop\n"
              "3/4 pcSimIsFanPresent result: 2 | 3\n");
    EXPECT_EQ(told(a, b), "0/2 pcSimSystemNop call: no call | pcSimSystemNop\n");
}

TEST(Diff, OneMayEndBeforeTheOther) {
    const Maker a = several({{"pcSimGetMySlotNum", 1}, {"pcSimIsFanPresent", 2}});
    const Maker b = several({{"pcSimGetMySlotNum", 1}});
    EXPECT_EQ(told(a, b), "2/0 pcSimIsFanPresent call: pcSimIsFanPresent | no call\n");
    EXPECT_EQ(told(b, a), "0/2 pcSimIsFanPresent call: no call | pcSimIsFanPresent\n");
}

}  // namespace
}  // namespace pcsim::probe::test
