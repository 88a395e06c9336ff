// Set-up, adding caches, the getters, and what a failing host leaves behind.
#include <dlfcn.h>

#include "tests/platform/mcast/fixture.h"
#include "tests/support/words.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

TEST(McastInit, MakesZeroedBucketsForEveryRouter) {
    host().maxVr = 3;
    EXPECT_EQ(pcSimHalIPv4McDbInit(), 1);
    ASSERT_NE(groupTable, nullptr);
    for (uint32_t i = 0; i < 3 * 512; ++i) EXPECT_EQ(groupTable[i], nullptr);
    EXPECT_EQ(libc().blocksInUse, 1);
}

TEST(McastInit, AnswersZeroWithoutMemory) {
    libc().failNext();
    EXPECT_EQ(pcSimHalIPv4McDbInit(), 0);
    EXPECT_EQ(groupTable, nullptr);
    host().maxVr = 0xFFFFFFFF;
    EXPECT_EQ(pcSimHalIPv4McDbInit(), 0);
}

TEST(McastInit, NothingIsFoundOrAddedBeforeIt) {
    host().addVlanIf(10, 10);
    CacheNode* cache = reinterpret_cast<CacheNode*>(1);
    Request request("225.0.0.1", "10.0.0.1", 10);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheFind(request.key(), &cache), -1);
    EXPECT_EQ(cache, nullptr);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(request), 0);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(McastInit, TraceSwitchAndTreesAreZeroAtLoad) {
    EXPECT_EQ(mcLogMess, 0u);
    EXPECT_EQ(groupTable, nullptr);
    EXPECT_EQ(vlanTree, nullptr);
    EXPECT_EQ(portTree, nullptr);
}

TEST(McastNodes, HaveTheirDocumentedSizes) {
    EXPECT_EQ(sizeof(GroupNode), byWordSize(24, 48));
    EXPECT_EQ(sizeof(CacheNode), byWordSize(56, 80));
    EXPECT_EQ(sizeof(CachePort), byWordSize(48, 88));
    EXPECT_EQ(sizeof(CacheIf), byWordSize(44, 88));
    EXPECT_EQ(sizeof(VlanNode), byWordSize(32, 64));
    EXPECT_EQ(sizeof(PortNode), byWordSize(28, 56));
    EXPECT_EQ(sizeof(VpifNode), byWordSize(36, 72));
    EXPECT_EQ(offsetof(GroupNode, group), byWordSize(16, 32));
    EXPECT_EQ(offsetof(GroupNode, caches), byWordSize(20, 40));
    EXPECT_EQ(offsetof(CacheNode, source), byWordSize(16, 32));
    EXPECT_EQ(offsetof(CacheNode, group), byWordSize(20, 36));
    EXPECT_EQ(offsetof(CacheNode, virtualRouter), byWordSize(24, 40));
    EXPECT_EQ(offsetof(CacheNode, incomingVlan), byWordSize(28, 44));
    EXPECT_EQ(offsetof(CacheNode, statsFirst), byWordSize(32, 48));
    EXPECT_EQ(offsetof(CacheNode, groupNode), byWordSize(48, 64));
    EXPECT_EQ(offsetof(CacheNode, statsSecond), byWordSize(40, 56));
    EXPECT_EQ(offsetof(CacheNode, vlans), byWordSize(52, 72));
    EXPECT_EQ(offsetof(CacheIf, vlanInstance), byWordSize(16, 32));
    EXPECT_EQ(offsetof(CacheIf, vlan), byWordSize(20, 40));
    EXPECT_EQ(offsetof(CacheIf, link), byWordSize(24, 48));
    EXPECT_EQ(offsetof(CacheIf, cache), byWordSize(32, 64));
    EXPECT_EQ(offsetof(CacheIf, ports), byWordSize(36, 72));
    EXPECT_EQ(offsetof(CacheIf, word), byWordSize(40, 80));
    EXPECT_EQ(offsetof(CachePort, portKey), byWordSize(16, 32));
    EXPECT_EQ(offsetof(CachePort, cacheIf), byWordSize(20, 40));
    EXPECT_EQ(offsetof(CachePort, vpif), byWordSize(24, 48));
    EXPECT_EQ(offsetof(CachePort, link), byWordSize(28, 56));
    EXPECT_EQ(offsetof(CachePort, word), byWordSize(36, 72));
    EXPECT_EQ(offsetof(VlanNode, vlanInstance), byWordSize(16, 32));
    EXPECT_EQ(offsetof(VlanNode, vlanIf), byWordSize(20, 40));
    EXPECT_EQ(offsetof(VlanNode, users), byWordSize(24, 48));
    EXPECT_EQ(offsetof(PortNode, portKey), byWordSize(16, 32));
    EXPECT_EQ(offsetof(PortNode, pif), byWordSize(20, 40));
    EXPECT_EQ(offsetof(PortNode, vpifs), byWordSize(24, 48));
    EXPECT_EQ(offsetof(VpifNode, vlanInstance), byWordSize(16, 32));
    EXPECT_EQ(offsetof(VpifNode, vlan), byWordSize(20, 40));
    EXPECT_EQ(offsetof(VpifNode, port), byWordSize(24, 48));
    EXPECT_EQ(offsetof(VpifNode, cachePorts), byWordSize(28, 56));
}

TEST_F(Mcast, ASecondSetUpDeletesEverything) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 12, 3).to(11, 1, 2));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.9", "0.0.0.0", 10, 3));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.9", "0.0.0.0", 10, 3));
    pcSimGetVpifNode(pcSimGetPortNode(0x30003), 19);
    EXPECT_EQ(pcSimHalIPv4McDbInit(), 1);
    for (uint32_t vr = 0; vr < 4; ++vr) EXPECT_EQ(caches(vr), Lines{});
    EXPECT_EQ(vlans(), Lines{});
    EXPECT_EQ(ports(), Lines{});
    EXPECT_EQ(hookCalls("init"), 4);
    EXPECT_EQ(hookCalls("release"), 4);
    EXPECT_EQ(blocks(), 3 + 4) << "groups and caches alone stay";
    for (int i = 0; i < 1000; ++i) pcSimHalIPv4McDbInit();
    EXPECT_EQ(blocks(), 3 + 4);
}

TEST_F(Mcast, AFailedSecondSetUpChangesNothing) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    libc().failNext();
    EXPECT_EQ(pcSimHalIPv4McDbInit(), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[]"}));
}

TEST_F(Mcast, AddMakesGroupCacheVlansAndPorts) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(
                  Request("225.0.0.1", "10.0.0.1", 10).to(12, 2, 3).to(11, 1, 2).to(11, 1, 1)),
              0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1 1:2] 12[2:3]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 1", "11: 1", "12: 1"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1)", "1:2: 11(1)", "2:3: 12(1)"}));
    EXPECT_EQ(hooks(), (Lines{"init", "add", "add", "add"}));
    // 1 group, 1 cache, 3 VLANs of the cache, 3 VLANs, 3 ports of it, 3 ports, 3 VLANs on ports.
    EXPECT_EQ(blocks(), 1 + 1 + 3 + 3 + 3 + 3 + 3);
}

TEST_F(Mcast, ANewCacheHasZeroedCountersAndRouterZero) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10, 2));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10, 2));
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(cache->virtualRouter, 0);
    for (uint32_t word :
         {cache->statsFirst[0], cache->statsFirst[1], cache->statsSecond[0], cache->statsSecond[1]})
        EXPECT_EQ(word, 0u);
}

TEST_F(Mcast, NodesKnowTheHostsRecords) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 2, 3));
    EXPECT_EQ(pcSimGetVlanNode(11)->vlanIf, host().vlanIfs[11]);
    EXPECT_EQ(pcSimGetPortNode(0x20003)->pif, host().pifs[6]);
    EXPECT_EQ(host().pifs[6]->instance, 0x20003u);
}

TEST_F(Mcast, AddingTheSameCacheTwiceAddsNoSecond) {
    const Request request = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1);
    pcSimHalIpv4McHwCacheAdd(request);
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), 0);
    EXPECT_EQ(blocks(), before);
    EXPECT_EQ(hooks(), (Lines{"init", "add"}));
}

TEST_F(Mcast, AddingToACacheExtendsIt) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1));
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(12, 1, 1)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1] 12[1:1]"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1) 12(1)"}));
}

TEST_F(Mcast, TheSamePortAgainChangesOnlyTheVlansWord) {
    pcSimHalIpv4McHwCacheAdd(
        Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1, 0xABCDE123, 0x11111111));
    pcSimHalIpv4McHwCacheAdd(
        Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1, 0x12345678, 0x22222222));
    CacheIf* cacheIf = pcSimGetCacheIf(find(Request("225.0.0.1", "10.0.0.1", 10)), 11);
    EXPECT_EQ(cacheIf->word, 0x22222222u);
    EXPECT_EQ(firstOf<CachePort>(&cacheIf->ports)->word, 0xABCDEu);
    EXPECT_EQ(hookCalls("add"), 1);
}

TEST_F(Mcast, TheIncomingVlanMayHavePortsToo) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(10, 1, 1));
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1]"}));
}

TEST_F(Mcast, GroupsStandInHostOrderInTheBucketOfTheirLowNineBits) {
    for (const char* group : {"225.9.3.1", "225.0.3.1", "224.200.1.1", "225.0.2.1", "239.0.0.0"})
        pcSimHalIpv4McHwCacheAdd(Request(group, "10.0.0.1", 10));
    EXPECT_EQ(caches(), (Lines{"239.0.0.0 10.0.0.1 10: 10[]", "225.0.2.1 10.0.0.1 10: 10[]",
                               "224.200.1.1 10.0.0.1 10: 10[]", "225.0.3.1 10.0.0.1 10: 10[]",
                               "225.9.3.1 10.0.0.1 10: 10[]"}));
    // Buckets 0, 1 and 0x101.
    EXPECT_NE(groupTable[0], nullptr);
    EXPECT_NE(groupTable[1], nullptr);
    EXPECT_NE(groupTable[0x101], nullptr);
}

TEST_F(Mcast, CachesStandByRawSourceThenIncomingVlan) {
    for (const char* source : {"1.0.0.2", "2.0.0.1", "3.0.0.1"})
        for (uint32_t vlan : {12, 11}) pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", source, vlan));
    // The last byte of an address is the raw word's highest.
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 2.0.0.1 11: 11[]", "225.0.0.1 2.0.0.1 12: 12[]",
                               "225.0.0.1 3.0.0.1 11: 11[]", "225.0.0.1 3.0.0.1 12: 12[]",
                               "225.0.0.1 1.0.0.2 11: 11[]", "225.0.0.1 1.0.0.2 12: 12[]"}));
}

TEST_F(Mcast, VlansPortsAndAddressesAboveTheSignBitAreOrderedUnsigned) {
    for (uint32_t vlan : {0x80000001u, 0xFFFFFFFFu}) host().addVlanIf(vlan, 1);
    host().addPif(0xFFFF0001, 0xFFFF, 1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("255.0.0.1", "255.255.255.255", 0xFFFFFFFF)
                                           .to(0x80000001, 1, 1)
                                           .to(10, 0xFFFF, 1)
                                           .to(10, 1, 1)),
              0);
    EXPECT_EQ(caches(), (Lines{"255.0.0.1 255.255.255.255 4294967295: 10[1:1 65535:1] "
                               "2147483649[1:1] 4294967295[]"}));
}

TEST_F(Mcast, AnySourceAlwaysMakesAFreshCache) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "0.0.0.0", 10).to(12, 1, 1)), 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "0.0.0.0", 11).to(12, 1, 1)), 0);
    EXPECT_EQ(hookCalls("init"), 2);
    EXPECT_EQ(caches(),
              (Lines{"225.0.0.1 0.0.0.0 10: 10[] 12[1:1]", "225.0.0.1 0.0.0.0 11: 11[] 12[1:1]"}));
}

TEST_F(Mcast, ASecondAnySourceCacheOfAVlanIsRefusedAndLeavesItsInterface) {
    const Request request = Request("225.0.0.1", "0.0.0.0", 10).to(11, 1, 1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), -1);
    EXPECT_EQ(hooks(), (Lines{"init", "add", "init"}));
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 0.0.0.0 10: 10[] 11[1:1]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 2", "11: 1"}));
    // The VLAN's removal releases both caches; the group's tree is touched for the one in it.
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(10), 0);
    EXPECT_EQ(caches(), Lines{});
    EXPECT_EQ(vlans(), Lines{});
    EXPECT_EQ(hookCalls("release"), 2);
    EXPECT_EQ(blocks(), 1 + 2);
}

TEST_F(Mcast, ARefusedCacheGoesBeforeOrAfterTheOneInTheTree) {
    const Request request = Request("225.0.0.1", "0.0.0.0", 10);
    pcSimHalIpv4McHwCacheAdd(request);
    pcSimHalIpv4McHwCacheAdd(request);
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request("225.0.0.1", "0.0.0.0", 10)), 0);
    EXPECT_EQ(caches(), Lines{});
    EXPECT_EQ(vlans(), (Lines{"10: 1"}));
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
    EXPECT_EQ(vlans(), Lines{});
    EXPECT_EQ(hookCalls("release"), 2);
}

TEST_F(Mcast, ARefusedCacheWithoutAnInterfaceIsFreed) {
    const Request request("225.0.0.1", "0.0.0.0", 99);  // no such VLAN
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), 0);
    const int32_t before = blocks();
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), -1);
    EXPECT_EQ(blocks(), before);
}

TEST_F(Mcast, AnIncomingVlanWithoutARecordGivesACacheWithoutItsInterface) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 99).to(11, 1, 1)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 99: 11[1:1]"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.2", 0)), 0);
    EXPECT_EQ(caches().back(), "225.0.0.1 10.0.0.2 0:");
}

TEST_F(Mcast, TheFirstFailingEntryStopsAndTheOnesBeforeItStay) {
    struct Row {
        const char* what;
        uint32_t vlan;
        uint16_t slot;
        uint16_t port;
    };
    for (const Row& row : {Row{"unknown VLAN", 99, 1, 1}, Row{"unknown port", 12, 9, 9},
                           Row{"no VLAN", 0, 1, 1}, Row{"no port", 12, 0, 0}}) {
        SCOPED_TRACE(row.what);
        pcSimHalIpv4McHwFlushAll();
        const Request request = Request("225.0.0.1", "10.0.0.1", 10)
                                    .to(11, 1, 1)
                                    .to(row.vlan, row.slot, row.port)
                                    .to(13, 1, 3);
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), -1);
        ASSERT_EQ(caches().size(), 1u);
        EXPECT_EQ(caches()[0].rfind("225.0.0.1 10.0.0.1 10: 10[] 11[1:1]", 0), 0u);
        EXPECT_EQ(caches()[0].find("13"), std::string::npos);
    }
}

TEST_F(Mcast, AnUnknownPortLeavesTheVlanOfItsEntry) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(12, 9, 9, 0, 7)),
              -1);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 12[]"}));
    EXPECT_EQ(pcSimGetCacheIf(find(Request("225.0.0.1", "10.0.0.1", 10)), 12)->word, 7u);
    EXPECT_EQ(ports(), Lines{});
}

TEST_F(Mcast, HostileCountsEndWithACode) {
    const Request one = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1);
    for (int32_t count : {-1, INT32_MIN, static_cast<int32_t>(0xFFFF0001)}) {
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request(one).count(count)), 0);
        EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[]"})) << count;
    }
    // The first entry that makes no sense ends the walk.
    Request many = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1).to(0, 0, 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(many.count(INT32_MAX)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(many), -1);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1]"}));
}

TEST_F(Mcast, RoutersWithoutBucketsRefuse) {
    for (uint32_t vr : {4u, 5u, 512u, 0x00400000u, 0x80000000u, 0xFFFFFFFFu}) {
        const Request request = Request("225.0.0.1", "10.0.0.1", 10, vr).to(11, 1, 1);
        HalMcastStats stats{};
        stats.key = *request.key();
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), -1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(request), -1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortAdd(request), -1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(request), -1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortDel(request), -1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheGetStats(&stats), -1);
        EXPECT_EQ(find(request), nullptr);
        EXPECT_EQ(pcSimHalIpv4McHwCacheDel(request), 0);
        EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(request), 0);
        EXPECT_EQ(blocks(), 0);
    }
}

TEST_F(Mcast, RoutersAreKeptApart) {
    for (uint32_t vr = 0; vr < 4; ++vr)
        pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10, vr).to(11 + vr, 1, 1));
    EXPECT_EQ(caches(3), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 14[1:1]"}));
    EXPECT_EQ(vlans(), (Lines{"10: 4", "11: 1", "12: 1", "13: 1", "14: 1"}));
}

// What the n-th refused insertion of an add with one outgoing port does.
TEST_F(Mcast, RefusedInsertionsFreeTheNodeAndKeepTheRest) {
    struct Row {
        const char* node;
        int32_t result;
        Lines caches;
        int32_t blocks;
    };
    const Row rows[] = {
        {"group", -1, {}, 0},
        {"VLAN of the incoming interface", 0, {"225.0.0.1 10.0.0.1 10: 11[1:1]"}, 7},
        {"incoming interface", 0, {"225.0.0.1 10.0.0.1 10: 11[1:1]"}, 8},
        {"cache", -1, {"225.0.0.1 -"}, 4},
        {"VLAN", -1, {"225.0.0.1 10.0.0.1 10: 10[]"}, 4},
        {"VLAN of the cache", -1, {"225.0.0.1 10.0.0.1 10: 10[]"}, 5},
        {"port", -1, {"225.0.0.1 10.0.0.1 10: 10[] 11[]"}, 6},
        {"VLAN on the port", -1, {"225.0.0.1 10.0.0.1 10: 10[] 11[]"}, 7},
        {"port of the cache", -1, {"225.0.0.1 10.0.0.1 10: 10[] 11[]"}, 8},
    };
    const Request request = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1);
    uint32_t n = 0;
    int32_t retired = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.node);
        tree().refuseInsert = ++n;
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), row.result);
        EXPECT_EQ(tree().refuseInsert, 0u);
        EXPECT_EQ(caches(), row.caches);
        EXPECT_EQ(blocks() - retired, row.blocks);
        // A second add completes what is missing, whatever the first has left.
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), 0);
        EXPECT_EQ(caches()[0].substr(caches()[0].size() - 7), "11[1:1]");
        EXPECT_EQ(pcSimHalIPv4McDbInit(), 1);
        EXPECT_EQ(caches(), Lines{});
        EXPECT_EQ(vlans(), Lines{});
        EXPECT_EQ(ports(), Lines{});
        retired = blocks();
    }
    EXPECT_EQ(hookCalls("init"), hookCalls("release"));
    EXPECT_EQ(hookCalls("add"), hookCalls("del"));
}

TEST_F(Mcast, GettersFindOrMake) {
    VlanNode* vlan = pcSimGetVlanNode(10);
    ASSERT_NE(vlan, nullptr);
    EXPECT_EQ(pcSimGetVlanNode(10), vlan);
    EXPECT_EQ(pcSimGetVlanNode(99), nullptr);
    PortNode* port = pcSimGetPortNode(0x10001);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(pcSimGetPortNode(0x10001), port);
    EXPECT_EQ(pcSimGetPortNode(0x90001), nullptr);
    VpifNode* vpif = pcSimGetVpifNode(port, 11);
    ASSERT_NE(vpif, nullptr);
    EXPECT_EQ(pcSimGetVpifNode(port, 11), vpif);
    EXPECT_EQ(pcSimGetVpifNode(port, 99), nullptr);
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10));
    CacheIf* cacheIf = pcSimGetCacheIf(cache, 12);
    ASSERT_NE(cacheIf, nullptr);
    EXPECT_EQ(pcSimGetCacheIf(cache, 12), cacheIf);
    EXPECT_EQ(pcSimGetCacheIf(cache, 99), nullptr);
    EXPECT_EQ(vlans(), (Lines{"10: 1", "11: 0", "12: 1"}));
}

TEST_F(Mcast, PortsOfHighSlotsAreFoundAgain) {
    for (const uint16_t slot : {0x1000, 0x8000, 0xFFFF}) {
        host().addPif(uint32_t{slot} << 16 | 1, slot, 1);
        for (const char* group : {"225.0.0.1", "225.0.0.2"})
            EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request(group, "10.0.0.1", 10).to(11, slot, 1)), 0);
    }
    EXPECT_EQ(ports(), (Lines{"4096:1: 11(2)", "32768:1: 11(2)", "65535:1: 11(2)"}));
}

TEST_F(Mcast, APortThatHasGoneIsMadeAnew) {
    const Request first = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1);
    const Request second = Request("225.0.0.2", "10.0.0.1", 10).to(11, 1, 1);
    libc().keepReleased = true;
    for (int i = 0; i < 3; ++i) {
        // The second one asks for a port and a VLAN on it that are there, which may be remembered.
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(first), 0);
        EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(second), 0);
        EXPECT_EQ(ports(), (Lines{"1:1: 11(2)"}));
        EXPECT_EQ(pcSimHalIpv4McHwCacheDel(first), 0);
        EXPECT_EQ(pcSimHalIpv4McHwCacheDel(second), 0);
        EXPECT_EQ(ports(), Lines{});
        EXPECT_EQ(vlans(), Lines{});
    }
}

TEST_F(Mcast, AVlanOnAPortThatOutlivedItsVlanIsUsedAgain) {
    libc().keepReleased = true;
    pcSimGetVpifNode(pcSimGetPortNode(0x10001), 11);
    EXPECT_EQ(pcSimHalIpv4McHwVlanDel(11), 0);  // the VLAN node goes, the VLAN on the port stays
    EXPECT_EQ(vlans(), Lines{});
    EXPECT_EQ(ports(), (Lines{"1:1: 11(0)"}));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1));
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1]"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1)"}));
}

// The library's own hooks, which the test's definitions hide.
TEST_F(Mcast, TheLibrarysOwnHooksDoNothing) {
    void* library = dlopen("libpcsimulation.so.0", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const char* name : {"ptagInit", "ptagRelease", "asicAddPort", "asicDelPort"}) {
        void* hook = dlsym(library, name);
        ASSERT_NE(hook, nullptr) << name;
        reinterpret_cast<void (*)()>(hook)();
    }
    EXPECT_EQ(hooks(), Lines{});
    dlclose(library);
}

}  // namespace
