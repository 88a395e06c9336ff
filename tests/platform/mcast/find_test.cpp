// Look-ups, deletion of one cache, counters.
#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

TEST_F(Mcast, FindNeedsTheExactSourceAndIncomingVlan) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 11));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 11));
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(cache->incomingVlan, 11u);
    EXPECT_EQ(cache->source, ip("10.0.0.1"));
    EXPECT_EQ(cache->group, ip("225.0.0.1"));
    EXPECT_EQ(find(Request("225.0.0.1", "10.0.0.1", 12)), nullptr);
    EXPECT_EQ(find(Request("225.0.0.1", "10.0.0.2", 10)), nullptr);
    EXPECT_EQ(find(Request("225.0.0.2", "10.0.0.1", 10)), nullptr);
    EXPECT_EQ(find(Request("225.0.0.1", "10.0.0.1", 10, 1)), nullptr);
}

TEST_F(Mcast, FindClearsTheOutPointerFirst) {
    for (const Request& request :
         {Request("225.0.0.1", "10.0.0.1", 10), Request("225.0.0.1", "0.0.0.0", 10)}) {
        CacheNode* cache = reinterpret_cast<CacheNode*>(1);
        EXPECT_EQ(pcSimHalIpv4McHwCacheFind(request.key(), &cache), -1);
        EXPECT_EQ(cache, nullptr);
    }
}

TEST_F(Mcast, AnySourceIsNeverFound) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "0.0.0.0", 10));
    EXPECT_EQ(find(Request("225.0.0.1", "0.0.0.0", 10)), nullptr);
}

TEST_F(Mcast, BySourceAloneAnyIncomingVlanDoes) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 12));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 0));
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(cache->incomingVlan, 12u);
    EXPECT_EQ(find(Request("225.0.0.1", "10.0.0.2", 0)), nullptr);
}

// 1.0.0.2 is the higher raw word and the lower address: the tree has 2.0.0.1 on its left, the
// search by address goes right.
TEST_F(Mcast, BySourceAloneComparesHostOrderAgainstTheRawTreeAndMisses) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "1.0.0.2", 10));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "2.0.0.1", 10));
    EXPECT_NE(find(Request("225.0.0.1", "1.0.0.2", 0)), nullptr);
    EXPECT_EQ(find(Request("225.0.0.1", "2.0.0.1", 0)), nullptr);
    EXPECT_NE(find(Request("225.0.0.1", "2.0.0.1", 10)), nullptr);
    // An add looks the same way: it extends what it finds and else makes a cache of its own.
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "1.0.0.2", 0).to(11, 1, 1)), 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "2.0.0.1", 0).to(11, 1, 1)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 2.0.0.1 0: 11[1:1]", "225.0.0.1 2.0.0.1 10: 10[]",
                               "225.0.0.1 1.0.0.2 10: 10[] 11[1:1]"}));
}

TEST_F(Mcast, DeleteTakesOneCache) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 12).to(11, 1, 1));
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 10)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 12: 11[1:1] 12[]"}));
    EXPECT_EQ(vlans(), (Lines{"11: 1", "12: 1"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 11(1)"}));
    EXPECT_EQ(hooks(), (Lines{"init", "add", "init", "add", "del", "release"}));
}

TEST_F(Mcast, DeleteNeedsAllThreeParts) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("0.0.0.0", "10.0.0.1", 10)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "0.0.0.0", 10)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 0)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.2", "10.0.0.1", 10)), 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.2", 10)), 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 11)), 0);
    EXPECT_EQ(caches().size(), 1u);
}

TEST_F(Mcast, ADeletedCacheAndItsGroupAreNotFreed) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10));
    pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 10));
    EXPECT_EQ(caches(), Lines{});
    EXPECT_EQ(blocks(), 2) << "the group and the cache";
    // What the HAL may still hold can be looked at.
    EXPECT_EQ(cache->source, ip("10.0.0.1"));
    EXPECT_EQ(printed([&] { dumpCacheNode(nullptr, cache); }),
              "Grp 225.0.0.1 Src 10.0.0.1 Iif 10 : \n");
    // The same cache again is a new node.
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    EXPECT_NE(find(Request("225.0.0.1", "10.0.0.1", 10)), cache);
}

TEST_F(Mcast, ADeletedCacheThatIsGivenPortsAgainFallsApartOnce) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10));
    pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 10));
    const HalMcastOutgoing entry{10, 1, 1, 0, 0};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pcSimAddCachePort(cache, &entry), 0);
        EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), 0);
        EXPECT_EQ(vlans(), Lines{});
        EXPECT_EQ(ports(), Lines{});
        EXPECT_EQ(blocks(), 2);
    }
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 11));
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 11: 11[]"}));
}

TEST_F(Mcast, OnlyRouterZeroLosesAnEmptiedGroup) {
    for (uint32_t vr : {0u, 2u}) {
        pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10, vr));
        EXPECT_EQ(pcSimHalIpv4McHwCacheDel(Request("225.0.0.1", "10.0.0.1", 10, vr)), 0);
    }
    EXPECT_EQ(caches(0), Lines{});
    EXPECT_EQ(caches(2), (Lines{"225.0.0.1 -"}));
    // It is used again.
    const int32_t before = blocks();
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10, 2));
    EXPECT_EQ(blocks(), before + 3) << "cache, interface, VLAN";
    EXPECT_EQ(caches(2), (Lines{"225.0.0.1 10.0.0.1 10: 10[]"}));
}

TEST_F(Mcast, RouterZerosGroupOfTheSameAddressStaysWhenAnotherRoutersIsEmptied) {
    for (uint32_t vr : {0u, 2u})
        for (const char* group : {"225.0.0.1", "226.0.0.1", "227.0.0.1"})
            pcSimHalIpv4McHwCacheAdd(Request(group, "10.0.0.1", 10, vr));
    pcSimHalIpv4McHwCacheDel(Request("226.0.0.1", "10.0.0.1", 10, 2));
    EXPECT_EQ(caches(0).size(), 3u);
    EXPECT_EQ(caches(2),
              (Lines{"225.0.0.1 10.0.0.1 10: 10[]", "226.0.0.1 -", "227.0.0.1 10.0.0.1 10: 10[]"}));
    pcSimHalIpv4McHwCacheDel(Request("226.0.0.1", "10.0.0.1", 10, 0));
    EXPECT_EQ(caches(0).size(), 2u);
}

TEST_F(Mcast, StatisticsAreTheCachesTwoPairsCrossed) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10));
    uint32_t words[10];
    for (uint32_t incomingVlan : {10u, 0u}) {
        std::fill(std::begin(words), std::end(words), 0xEEEEEEEE);
        words[0] = 0;
        words[1] = incomingVlan;
        words[3] = ip("225.0.0.1");
        words[4] = ip("10.0.0.1");
        for (int i = 0; i < 2; ++i) {
            cache->statsFirst[i] = 100 + i;
            cache->statsSecond[i] = 200 + i;
        }
        EXPECT_EQ(pcSimHalIpv4McHwCacheGetStats(reinterpret_cast<HalMcastStats*>(words)), 0);
        EXPECT_EQ(words[2], 0xEEEEEEEE);
        EXPECT_EQ(words[5], 200u);
        EXPECT_EQ(words[6], 201u);
        EXPECT_EQ(words[7], 100u);
        EXPECT_EQ(words[8], 101u);
        EXPECT_EQ(words[9], 0xEEEEEEEE);
    }
}

TEST_F(Mcast, StatisticsOfAFreshCacheAreZeroAndOfNoneUntouched) {
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    HalMcastStats stats{};
    stats.key = *Request("225.0.0.1", "10.0.0.1", 10).key();
    for (uint32_t* word : {&stats.first[0], &stats.first[1], &stats.second[0], &stats.second[1]})
        *word = 7;
    stats.key.source = ip("10.0.0.9");
    EXPECT_EQ(pcSimHalIpv4McHwCacheGetStats(&stats), -1);
    EXPECT_EQ(stats.first[0] + stats.first[1] + stats.second[0] + stats.second[1], 28u);
    stats.key.source = ip("10.0.0.1");
    EXPECT_EQ(pcSimHalIpv4McHwCacheGetStats(&stats), 0);
    EXPECT_EQ(stats.first[0] + stats.first[1] + stats.second[0] + stats.second[1], 0u);
}

}  // namespace
