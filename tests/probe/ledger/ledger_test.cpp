// The library's blocks: where they come from, where they go, and what is counted of it.
#include "probe/ledger/ledger.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "probe/verbs/probe_verbs.h"
#include "tests/probe/calls.h"

namespace pcsim::probe {
namespace {

class LedgerTest : public testing::Test {
protected:
    LedgerTest() { ledger.start(); }

    // "3 of 8 in pcSimVrCreate; ...".
    std::string rows() const {
        std::string text;
        for (const BlockRow& row : ledger.rows())
            text += std::to_string(row.blocks) + " of " + std::to_string(row.bytes) + " in " +
                    row.operation + "; ";
        return text;
    }

    Ledger ledger;
    FakeBoundary boundary{ledger};
    FakeSite malloc{"malloc"}, calloc{"calloc"}, free{"free"};
    FakeSite route{"pcSimPCFamIPv4FibAddEntry"}, vlan{"pcSimVlanIfCreate"};
};

TEST_F(LedgerTest, BlocksAreThoseOfTheOutermostOperationUntilTheyAreFreed) {
    FakeSite inner{"pcSimIpAdjAdd"};
    boundary.call(route, {0}, 0, [&] {
        boundary.call(malloc, {24}, 0x1000);
        boundary.call(inner, {0}, 0, [&] { boundary.call(calloc, {3, 8}, 0x2000); });
    });
    boundary.call(vlan, {0, 0}, 0, [&] { boundary.call(calloc, {1, 4}, 0x3000); });
    EXPECT_EQ(rows(), "1 of 4 in pcSimVlanIfCreate; 2 of 24 in pcSimPCFamIPv4FibAddEntry; ");
    EXPECT_EQ(ledger.sums().bytes, 52u);
    boundary.call(free, {0x1000});
    boundary.call(free, {0});
    boundary.call(free, {0x1000});
    const LedgerSums sums = ledger.sums();
    EXPECT_EQ(sums.blocks, 2u);
    EXPECT_EQ(sums.bytes, 28u);
    EXPECT_EQ(sums.mostBlocks, 3u);
    EXPECT_EQ(sums.mostBytes, 52u);
    EXPECT_EQ(sums.allocated, 3u);
    EXPECT_EQ(sums.freed, 1u);
    EXPECT_EQ(sums.freedOthers, 1u) << "of what nobody has seen come";
}

TEST_F(LedgerTest, WhatIsRefusedOrAnsweredByARuleIsNoBlock) {
    boundary.call(malloc, {24}, 0);
    EXPECT_EQ(ledger.sums().refused, 1u);
    EXPECT_EQ(ledger.sums().blocks, 0u);
    boundary.call(malloc, {24}, 0x1000);
    Word block = 0x1000;
    Call answered{free.site, &block, 1};
    answered.answered = true;
    ledger.before(answered);
    ledger.after(answered);
    EXPECT_EQ(ledger.sums().blocks, 1u) << "it has not been freed";
    Call made{malloc.site, &block, 1};
    made.answered = true;
    made.result = 0x5000;
    ledger.before(made);
    ledger.after(made);
    EXPECT_EQ(ledger.sums().blocks, 1u) << "a rule has no memory to give";
}

TEST_F(LedgerTest, ARecordThatIsHandedOutIsTheHostsFromThenOn) {
    FakeSite capability{"pcSimChassisChassisGetCapability"};
    boundary.call(capability, {}, 0x4000, [&] { boundary.call(calloc, {1, 64}, 0x4000); });
    EXPECT_EQ(rows(), "");
    EXPECT_EQ(ledger.sums().handedOut, 1u);
}

TEST_F(LedgerTest, RulesOfAListAreTheLibrarysOnceTheyAreHandedIn) {
    FakeSite add{"pcSimIPv4AclAdd"}, diff{"pcSimIPv4AclRefreshDiff"};
    const std::unique_ptr<void, decltype(&std::free)> rules(std::malloc(60), &std::free);
    const Field* const field = recordNamed("HalAclListRequest")->field("rules");
    std::vector<Word> request(recordNamed("HalAclListRequest")->size / sizeof(Word));
    request[field->offset / sizeof(Word)] = word(rules.get());
    boundary.call(add, {word(request.data())});
    EXPECT_EQ(ledger.sums().blocks, 1u);
    EXPECT_GE(ledger.sums().bytes, 60u);
    EXPECT_EQ(ledger.sums().takenOver, 1u);
    boundary.call(free, {word(rules.get())});
    EXPECT_EQ(ledger.sums().blocks, 0u);
    boundary.call(diff, {word(request.data())}, 0,
                  [&] { boundary.call(free, {word(rules.get())}); });
    EXPECT_EQ(ledger.sums().blocks, 0u);
    EXPECT_EQ(ledger.sums().freedOthers, 0u);
}

TEST_F(LedgerTest, OnlyWhileItIsOnAndNeverTheTree) {
    FakeSite tree{"p2BtreeInsert"};
    EXPECT_TRUE(ledger.wants(malloc.site));
    EXPECT_FALSE(ledger.wants(tree.site));
    ledger.stop();
    EXPECT_FALSE(ledger.wants(malloc.site));
    boundary.call(malloc, {24}, 0x1000);
    ledger.start();
    EXPECT_EQ(rows(), "");
}

TEST_F(LedgerTest, TheVerbsShowIt) {
    Verbs verbs;
    Rules rules;
    Trace trace;
    addProbeVerbs(verbs, {rules, trace, nullptr, nullptr, &ledger});
    boundary.call(vlan, {0, 0}, 0, [&] { boundary.call(calloc, {1, 4}, 0x3000); });
    answerOf(verbs, splitWords("memory on"), false);
    const std::string told = answerOf(verbs, splitWords("show memory"), false);
    EXPECT_NE(told.find("pcSimVlanIfCreate     4       1      4\n"), std::string::npos) << told;
    answerOf(verbs, splitWords("memory off"), false);
    EXPECT_THROW(answerOf(verbs, splitWords("show memory"), false), CommandError);
}

}  // namespace
}  // namespace pcsim::probe
