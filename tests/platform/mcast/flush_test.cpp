// The flush, one case per row of its table.
#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

class McastFlush : public Mcast {
protected:
    void SetUp() override {
        Mcast::SetUp();
        for (uint32_t vlan : {10, 11}) {
            pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", vlan).to(12, 1, 1));
            pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.2", vlan).to(12, 1, 1));
            pcSimHalIpv4McHwCacheAdd(Request("225.0.0.2", "10.0.0.1", vlan).to(12, 1, 1));
        }
        hooks().clear();
    }
    static int32_t flush(const char* source, const char* group, uint32_t vlan, uint32_t vr = 0) {
        return pcSimHalIpv4McHwCacheFlush(Request(group, source, vlan, vr));
    }
};

TEST_F(McastFlush, OfAnIncomingVlanRunsTheVlanCascade) {
    EXPECT_EQ(flush("0.0.0.0", "0.0.0.0", 10), 0);
    EXPECT_EQ(caches(),
              (Lines{"225.0.0.1 10.0.0.1 11: 11[] 12[1:1]", "225.0.0.1 10.0.0.2 11: 11[] 12[1:1]",
                     "225.0.0.2 10.0.0.1 11: 11[] 12[1:1]"}));
    // An outgoing VLAN is stripped, as by its removal.
    EXPECT_EQ(flush("0.0.0.0", "0.0.0.0", 12), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 11: 11[]", "225.0.0.1 10.0.0.2 11: 11[]",
                               "225.0.0.2 10.0.0.1 11: 11[]"}));
}

TEST_F(McastFlush, OfNothingIsFlushAll) {
    EXPECT_EQ(flush("0.0.0.0", "0.0.0.0", 0), 0);
    EXPECT_EQ(caches(), Lines{});
    EXPECT_EQ(hookCalls("release"), 6);
}

TEST_F(McastFlush, OfASourceWithoutAGroupIsRefused) {
    EXPECT_EQ(flush("10.0.0.1", "0.0.0.0", 0), -1);
    EXPECT_EQ(flush("10.0.0.1", "0.0.0.0", 10), -1);
    EXPECT_EQ(caches().size(), 6u);
}

TEST_F(McastFlush, OfAnUnknownGroupIsNothing) {
    for (const char* source : {"0.0.0.0", "10.0.0.1"})
        for (uint32_t vlan : {0, 10}) {
            EXPECT_EQ(flush(source, "225.0.0.9", vlan), 0);
            EXPECT_EQ(flush(source, "225.0.0.1", vlan, 1), 0);
        }
    EXPECT_EQ(caches().size(), 6u);
}

TEST_F(McastFlush, OfAGroupAloneIsNothing) {
    EXPECT_EQ(flush("0.0.0.0", "225.0.0.1", 0), 0);
    EXPECT_EQ(caches().size(), 6u);
}

TEST_F(McastFlush, OfAGroupOnAnIncomingVlanTakesEverySource) {
    EXPECT_EQ(flush("0.0.0.0", "225.0.0.1", 10), 0);
    EXPECT_EQ(
        caches(),
        (Lines{"225.0.0.1 10.0.0.1 11: 11[] 12[1:1]", "225.0.0.1 10.0.0.2 11: 11[] 12[1:1]",
               "225.0.0.2 10.0.0.1 10: 10[] 12[1:1]", "225.0.0.2 10.0.0.1 11: 11[] 12[1:1]"}));
    EXPECT_EQ(flush("0.0.0.0", "225.0.0.1", 11), 0);
    EXPECT_EQ(caches().size(), 2u) << "the group has gone with its last cache";
    EXPECT_EQ(flush("0.0.0.0", "225.0.0.2", 12), 0) << "an outgoing VLAN is no incoming one";
    EXPECT_EQ(caches().size(), 2u);
}

TEST_F(McastFlush, OfAWholeKeyTakesThatCache) {
    EXPECT_EQ(flush("10.0.0.2", "225.0.0.1", 11), 0);
    EXPECT_EQ(caches().size(), 5u);
    EXPECT_EQ(find(Request("225.0.0.1", "10.0.0.2", 11)), nullptr);
    EXPECT_EQ(flush("10.0.0.2", "225.0.0.1", 11), 0) << "not there any more";
    EXPECT_EQ(flush("10.0.0.2", "225.0.0.1", 19), 0);
    EXPECT_EQ(caches().size(), 5u);
}

// The caches of 225.0.0.5 make a tree of three: 10.0.0.2 above 10.0.0.1 and 10.0.0.3.
class McastFlushSource : public Mcast {
protected:
    void SetUp() override {
        Mcast::SetUp();
        for (const char* source : {"10.0.0.2", "10.0.0.1", "10.0.0.3"})
            pcSimHalIpv4McHwCacheAdd(Request("225.0.0.5", source, 10).to(12, 1, 1));
        pcSimHalIpv4McHwCacheAdd(Request("225.0.0.6", "10.0.0.2", 10));
        hooks().clear();
    }
};

TEST_F(McastFlushSource, StartsAtTheFirstNodeBelowTheEntryAndGoesOnToTheEnd) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request("225.0.0.5", "10.0.0.2", 0)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.6 10.0.0.2 10: 10[]"}));
    EXPECT_EQ(hookCalls("release"), 3);
}

TEST_F(McastFlushSource, ALeafIsItsOwnFirstNode) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request("225.0.0.5", "10.0.0.3", 0)), 0);
    EXPECT_EQ(caches(),
              (Lines{"225.0.0.5 10.0.0.1 10: 10[] 12[1:1]", "225.0.0.5 10.0.0.2 10: 10[] 12[1:1]",
                     "225.0.0.6 10.0.0.2 10: 10[]"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request("225.0.0.5", "10.0.0.1", 0)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.6 10.0.0.2 10: 10[]"}));
}

TEST_F(McastFlushSource, OfAnUnknownSourceIsNothing) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request("225.0.0.5", "10.0.0.9", 0)), 0);
    EXPECT_EQ(caches().size(), 4u);
}

TEST_F(McastFlushSource, ALargeTreeEndsAndEveryDeletedCacheIsDeletedOnce) {
    for (uint32_t i = 0; i < 1000; ++i)
        pcSimHalIpv4McHwCacheAdd(Request(0, ip("225.0.0.7"), (i * 37 % 1000 + 1) << 8, 10));
    hooks().clear();
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request(0, ip("225.0.0.7"), 500 << 8, 0)), 0);
    const int deleted = hookCalls("release");
    EXPECT_EQ(static_cast<int>(caches().size()), 4 + 1000 - deleted);
    pcSimHalIpv4McHwFlushAll();
    EXPECT_EQ(hookCalls("release"), 1004);
}

}  // namespace
