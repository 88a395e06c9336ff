// Trimming: what is selected stays with what stands around it and what it needs, and nothing else.
#include "probe/tools/trim.h"

#include <gtest/gtest.h>

#include "console/error.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/needs.h"
#include "tests/probe/tools/maker.h"

namespace pcsim::probe::test {
namespace {

using Numbers = std::vector<uint64_t>;

Numbers kept(const Recording& recording, std::string_view calls) {
    return numbersIn(trimmed(recording, Selection(calls)));
}

TEST(Selection, TakesNumbersRangesAndNames) {
    Maker maker;
    for (int i = 0; i < 6; ++i) maker.make(i % 2 == 0 ? "pcSimGetMySlotNum" : "pcSimSystemNop");
    EXPECT_EQ(kept(maker.recording, "2"), (Numbers{2}));
    EXPECT_EQ(kept(maker.recording, "-2,4-5"), (Numbers{1, 2, 4, 5}));
    EXPECT_EQ(kept(maker.recording, "5-"), (Numbers{5, 6}));
    EXPECT_EQ(kept(maker.recording, "@pcSimGet*"), (Numbers{1, 3, 5}));
    EXPECT_EQ(kept(maker.recording, "6,@pcSim?etMySlotNum"), (Numbers{1, 3, 5, 6}));
    EXPECT_EQ(kept(maker.recording, "77"), Numbers{});
}

TEST(Selection, RefusesWhatSelectsNothing) {
    for (const char* text : {"", "a", "1,,2", "5-3", "-", "@", "1-2-3", "0x5"})
        EXPECT_THROW(Selection{text}, CommandError) << text;
}

TEST(Trim, KeepsAHandlesMaker) {
    Maker maker;
    maker.make("pcSimCardPifCreate", {0x1000, 0x2000}, 0, {},
               {{"handle", 0x2000, words({0xF000})}});  // 1: makes the handle
    maker.make("pcSimCardPifCreate", {0x1100, 0x2004}, 0, {},
               {{"handle", 0x2004, words({0xF010})}});  // 2: another
    maker.make("pcSimCardPifDelete", {0x1000}, 0,
               {{"pif.hwHandle", 0x2000, words({0xF000})}});  // 3: ends the first
    EXPECT_EQ(kept(maker.recording, "3"), (Numbers{1, 3}));
}

TEST(Trim, AnAddressThatWasUsedAgainIsTheLastOnes) {
    Maker maker;
    maker.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0xF000);
    maker.make("_pcSimIpAdjFree", {0xF000});
    maker.make("pcSimIpAdjLookup", {0, 9, 2, 1}, 0xF000);
    maker.make("_pcSimIpAdjFree", {0xF000});
    EXPECT_EQ(kept(maker.recording, "4"), (Numbers{3, 4}));
    EXPECT_EQ(kept(maker.recording, "2"), (Numbers{1, 2}));
}

TEST(Trim, WhatAnOutputHeldBeforeIsNoNeed) {
    Maker maker;
    maker.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0xF000);
    maker.make("pcSimCardPifCreate", {0x1000, 0x2000}, 0,
               {{"handle", 0x2000, words({0xF000}), false, true}},
               {{"handle", 0x2000, words({0xF010}), false, true}});
    EXPECT_EQ(kept(maker.recording, "2"), (Numbers{2}));
}

TEST(Trim, KeepsTheTablesThatAnOperationWasFoundIn) {
    Maker maker;
    const auto target = [&](const char* name) {
        return maker.recording.sites[maker.siteOf(name)].target;
    };
    std::vector<uint32_t> system(29), cards(16);
    system[4] = target("pcSimStackCardDBSetup");
    cards[5] = target("pcSimIsCardHwPresent");
    maker.make("platformSystemInit", {0x1000}, 0, {}, {{"table", 0x1000, words(system)}});
    maker.make("pcSimGetMySlotNum");
    maker.make("pcSimStackCardDBSetup", {0x2000}, 0, {}, {{"db", 0x2000, words(cards)}});
    maker.make("pcSimIsCardHwPresent", {1}, 5);
    EXPECT_EQ(kept(maker.recording, "@pcSimIsCardHwPresent"), (Numbers{1, 3, 4}));
    EXPECT_EQ(kept(maker.recording, "2"), (Numbers{1, 2})) << "everything rests on the start";
}

TEST(Trim, NestedCallsStayWithTheCallAroundThem) {
    Maker maker;
    maker.call("pcSimCardPortEnable", {1, 1});
    maker.make("halGetHwPortMapping", {0, 1}, 1);
    maker.print("a line\n");
    maker.returns();
    maker.make("pcSimGetMySlotNum");
    const Recording part = trimmed(maker.recording, Selection("@halGetHwPortMapping"));
    ASSERT_EQ(part.events.size(), 5u);
    EXPECT_EQ(part.events[3].text, "a line\n");
}

TEST(Trim, KeepsWhoeverStartedATimerOrHandedACallbackOver) {
    Maker maker;
    const uint32_t poll = maker.recording.sites[maker.siteOf("pcSimMgmtLinkPoll")].target;
    const uint32_t done = maker.recording.sites[maker.siteOf("done:HalCompletionFn")].target;
    maker.call("pcSimDeviceInit");
    maker.make("halStartTimer", {poll, 1, 0, 1000, 0});
    maker.returns();
    maker.make("pcSimGetMySlotNum");
    maker.make("pcSimCardPortSetForwardingState", {1, 0, 0, 0, 0, done, 7, 8}, 1);
    maker.make("pcSimMgmtLinkPoll", {1});
    maker.call("pcSimSetVpstCallback", {7, 8});
    maker.make("done", {7, 8, 0, 0});
    maker.returns();
    EXPECT_EQ(kept(maker.recording, "@pcSimMgmtLinkPoll"), (Numbers{1, 2, 5}));
    EXPECT_EQ(kept(maker.recording, "@pcSimSetVpstCallback"), (Numbers{4, 6, 7}));
}

TEST(Trim, ACallbackWithoutANameIsNothingWithoutWhoHandedItOver) {
    Maker maker;
    const uint32_t poll = maker.siteOf("poll:HalTimerFn");
    maker.recording.sites[poll].side = Side::kPlatform;
    maker.call("pcSimDeviceInit");
    maker.make("halStartTimer", {maker.recording.sites[poll].target, 1, 0, 1000, 0});
    maker.returns();
    maker.make("poll", {1});
    const CallTree tree(maker.recording);
    std::vector<bool> kept = {false, true};
    Needs(maker.recording, tree, Needs::Of::kValues).close(kept);
    EXPECT_TRUE(kept[0]);
}

TEST(Trim, KeepsWhoeverOpenedADescriptor) {
    Maker maker;
    maker.call("pcSimCardPortRestart", {1});
    maker.make("socket", {2, 2, 0}, 5);
    maker.make("ioctl", {5, 0x8947, 0x3000});
    maker.returns();
    maker.make("pcSimGetMySlotNum");
    maker.call("pcSimCardPortRestart", {2});
    maker.make("ioctl", {5, 0x8947, 0x3000});
    maker.returns();
    EXPECT_EQ(kept(maker.recording, "5"), (Numbers{1, 2, 3, 5, 6}));
}

TEST(Trim, KeepsWhoeverLeftADescriptorOpen) {
    Maker maker;
    maker.call("pcSimCardPortRestart", {1});
    maker.make("socket", {2, 2, 0}, 5);
    maker.returns();
    maker.call("pcSimGetSystemNumberPorts");
    maker.make("socket", {2, 2, 0}, 6);
    maker.make("close", {6});
    maker.returns();
    maker.make("pcSimCardPortRestart", {2});
    EXPECT_EQ(kept(maker.recording, "6"), (Numbers{1, 2, 6}));
}

TEST(Trim, KeepsTheLastStatesBefore) {
    Maker maker;
    maker.state("mcLogMess", 0x9000, words({1}));
    maker.state("mcLogMess", 0x9000, words({2}));
    maker.make("pcSimGetMySlotNum");
    maker.state("mcLogMess", 0x9000, words({3}));
    maker.make("pcSimSystemNop");
    maker.state("mcLogMess", 0x9000, words({4}));
    const Recording part = trimmed(maker.recording, Selection("2"));
    ASSERT_EQ(part.events.size(), 3u);
    EXPECT_EQ(part.events[0].blocks[0].bytes[0], 3);
    const Recording first = trimmed(maker.recording, Selection("1"));
    ASSERT_EQ(first.events.size(), 3u);
    EXPECT_EQ(first.events[0].blocks[0].bytes[0], 2);
}

TEST(Trim, CallsOfTwoThreadsAreToldApart) {
    Maker maker;
    maker.call("pcSimCardPortEnable", {1, 1});
    maker.thread = 2;
    maker.call("pcSimCardPortEnable", {2, 1});
    maker.thread = 1;
    maker.make("halGetHwPortMapping", {0, 1}, 1);
    maker.thread = 2;
    maker.make("halGetHwPortMapping", {0, 2}, 2);
    maker.returns();
    maker.thread = 1;
    maker.returns();
    EXPECT_EQ(kept(maker.recording, "1"), (Numbers{1, 3}));
    EXPECT_EQ(kept(maker.recording, "4"), (Numbers{2, 4}));
}

TEST(Trim, ACallThatWasJumpedOutOfHasAnEnd) {
    Maker maker;
    maker.call("pcSimCardPortEnable", {1, 1});
    maker.recording.events.push_back(maker.recording.events[0]);
    maker.recording.events.back().call = 2;
    EXPECT_EQ(kept(maker.recording, "1"), (Numbers{1}));
    EXPECT_EQ(kept(maker.recording, "2"), (Numbers{2}));
}

}  // namespace
}  // namespace pcsim::probe::test
