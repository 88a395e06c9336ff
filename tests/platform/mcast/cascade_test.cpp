// VLANs, ports and VLANs on ports that go, and what they take with them.
#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

class McastCascade : public Mcast {
protected:
    void SetUp() override {
        Mcast::SetUp();
        pcSimHalIpv4McHwCacheAdd(
            Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1).to(11, 1, 2).to(12, 1, 1));
        pcSimHalIpv4McHwCacheAdd(Request("225.0.0.2", "10.0.0.1", 11).to(12, 1, 1).to(10, 2, 1));
        hooks().clear();
    }
};

TEST_F(McastCascade, SetUpIsAsExpected) {
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1 1:2] 12[1:1]",
                               "225.0.0.2 10.0.0.1 11: 10[2:1] 11[] 12[1:1]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 2", "11: 2", "12: 2"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1) 12(2)", "1:2: 11(1)", "2:1: 10(1)"}));
}

TEST_F(McastCascade, RemovingAVlanDeletesItsCachesAndStripsTheOthers) {
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(10), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.2 10.0.0.1 11: 11[] 12[1:1]"}));
    EXPECT_EQ(vlans(), (Lines{"11: 1", "12: 1"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 12(1)"}));
    EXPECT_EQ(hooks(), (Lines{"del", "del", "del", "release", "del"}));
}

TEST_F(McastCascade, RemovingAPlainOutgoingVlanOnlyStrips) {
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(12), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1 1:2]",
                               "225.0.0.2 10.0.0.1 11: 10[2:1] 11[]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 2", "11: 2"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1)", "1:2: 11(1)", "2:1: 10(1)"}));
    EXPECT_EQ(hooks(), (Lines{"del", "del"}));
}

TEST_F(McastCascade, AnUnknownVlanPortOrVlanOnPortIsNothing) {
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(0), 0);
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(19), 0);
    EXPECT_EQ(pcSimHalIpv4McHwPifDel(0), 0);
    EXPECT_EQ(pcSimHalIpv4McHwPifDel(0x30001), 0);
    EXPECT_EQ(pcSimHalIpv4McHwVpifDel(11, 0x30001), 0);
    EXPECT_EQ(pcSimHalIpv4McHwVpifDel(19, 0x10001), 0);
    EXPECT_EQ(blocks(), before);
    EXPECT_EQ(hooks(), Lines{});
}

TEST_F(McastCascade, RemovingAVlanWithoutUsersFreesItsNode) {
    pcSimGetVlanNode(19);
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(19), 0);
    EXPECT_EQ(blocks(), before - 1);
    EXPECT_EQ(vlans(), (Lines{"10: 2", "11: 2", "12: 2"}));
}

TEST_F(McastCascade, RemovingAVlanOnAPortTakesThatPortOutOfThatVlan) {
    EXPECT_EQ(pcSimHalIpv4McHwVpifDel(12, 0x10001), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1 1:2] 12[]",
                               "225.0.0.2 10.0.0.1 11: 10[2:1] 11[] 12[]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 2", "11: 2", "12: 2"})) << "the VLAN is still the caches'";
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1)", "1:2: 11(1)", "2:1: 10(1)"}));
    EXPECT_EQ(hooks(), (Lines{"del", "del"}));
}

TEST_F(McastCascade, TheLastVlanOnAPortTakesThePortNodeWithIt) {
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwVpifDel(11, 0x10002), 0);
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1) 12(2)", "2:1: 10(1)"}));
    EXPECT_EQ(blocks(), before - 3) << "port of the cache, VLAN on the port, port";
}

TEST_F(McastCascade, RemovingAPortTakesAllItsVlans) {
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwPifDel(0x10001), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:2] 12[]",
                               "225.0.0.2 10.0.0.1 11: 10[2:1] 11[] 12[]"}));
    EXPECT_EQ(ports(), (Lines{"1:2: 11(1)", "2:1: 10(1)"}));
    EXPECT_EQ(hooks(), (Lines{"del", "del", "del"}));
    EXPECT_EQ(blocks(), before - 3 - 2 - 1);
}

TEST_F(McastCascade, RemovingAPortWithoutUsersIsHarmless) {
    pcSimGetVpifNode(pcSimGetPortNode(0x30003), 19);
    EXPECT_EQ(pcSimHalIpv4McHwPifDel(0x30003), 0);
    EXPECT_EQ(pcSimHalIpv4McHwVpifDel(19, 0x30003), 0);
    EXPECT_EQ(ports().back(), "3:3: 19(0)");
}

TEST_F(McastCascade, FlushAllEndsWithCachesAndGroupsAlone) {
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
    EXPECT_EQ(caches(), Lines{});
    EXPECT_EQ(vlans(), Lines{});
    EXPECT_EQ(ports(), Lines{});
    EXPECT_EQ(blocks(), 2 + 2);
    EXPECT_EQ(hookCalls("del"), 5);
    EXPECT_EQ(hookCalls("release"), 2);
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
    EXPECT_EQ(blocks(), 2 + 2);
}

TEST_F(McastCascade, FlushAllTakesVlansWithoutUsersToo) {
    pcSimGetVlanNode(13);
    pcSimGetVlanNode(19);
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
    EXPECT_EQ(vlans(), Lines{});
}

// A cache whose incoming VLAN has no record hangs on its outgoing VLANs alone.
TEST_F(McastCascade, FlushAllLeavesACacheThatNoVlanLeadsTo) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.3", "10.0.0.1", 99).to(13, 1, 1));
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.3 10.0.0.1 99:"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.3", "10.0.0.1", 99)), 0);
    EXPECT_EQ(caches(), Lines{});
}

TEST_F(McastCascade, ManyCachesOfOneVlanFallInTheOrderOfTheirCreation) {
    pcSimHalIpv4McHwFlushAll();
    for (uint32_t i = 0; i < 50; ++i)
        pcSimHalIpv4McHwCacheAdd(
            Request(0, ip("225.1.0.0") + ((i * 7 % 50) << 24), ip("10.0.0.1"), i % 2 ? 10 : 11)
                .to(12, 1, 1));
    hooks().clear();
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(10), 0);
    EXPECT_EQ(hookCalls("release"), 25);
    EXPECT_EQ(vlans(), (Lines{"11: 25", "12: 25"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 12(25)"}));
    EXPECT_EQ(pcSimHalIpv4McHwPifDel(0x10001), 0);
    EXPECT_EQ(ports(), Lines{});
    EXPECT_EQ(hookCalls("del"), 50);
}

}  // namespace
