// Outgoing ports: added to a cache, removed by pattern.
#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

class McastOutgoing : public Mcast {
protected:
    static constexpr const char* kFull = "225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:1 1:2] 12[1:1 2:1]";

    void SetUp() override {
        Mcast::SetUp();
        pcSimHalIpv4McHwCacheAdd(full("10.0.0.1", 10));
    }
    static Request full(const char* source, uint32_t vlan) {
        return Request("225.0.0.1", source, vlan)
            .to(10, 1, 1)
            .to(11, 1, 1)
            .to(11, 1, 2)
            .to(12, 1, 1)
            .to(12, 2, 1);
    }
    static Request one() { return {"225.0.0.1", "10.0.0.1", 10}; }
};

TEST_F(McastOutgoing, AddNeedsTheCache) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(one().to(13, 3, 1)), 0);
    EXPECT_EQ(caches(), (Lines{std::string(kFull) + " 13[3:1]"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(Request("225.0.0.1", "10.0.0.1", 11).to(14, 3, 1)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(Request("225.0.0.1", "0.0.0.0", 10).to(14, 3, 1)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(Request("225.0.0.2", "10.0.0.1", 10).to(14, 3, 1)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(Request("225.0.0.1", "10.0.0.1", 0).to(14, 3, 1)), 0);
    EXPECT_EQ(caches(), (Lines{std::string(kFull) + " 13[3:1] 14[3:1]"}));
}

TEST_F(McastOutgoing, AddStopsAtTheFirstFailure) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(one().to(13, 3, 1).to(99, 1, 1).to(14, 3, 1)), -1);
    EXPECT_EQ(caches(), (Lines{std::string(kFull) + " 13[3:1]"}));
}

TEST_F(McastOutgoing, ThePortFormsDoTheSame) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortAdd(one().to(13, 3, 1)), 0);
    EXPECT_EQ(caches(), (Lines{std::string(kFull) + " 13[3:1]"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortAdd(one().to(99, 3, 1)), -1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortDel(one().to(13, 0, 0)), 0);
    EXPECT_EQ(caches(), (Lines{kFull}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifPortDel(Request("225.0.0.1", "10.0.0.1", 0).to(11, 1, 1)),
              -1);
}

// What one entry takes from the cache.
TEST_F(McastOutgoing, EachFormOfAnEntryTakesItsPart) {
    struct Row {
        const char* what;
        uint32_t vlan;
        uint16_t slot, port;
        const char* left;
    };
    const Row rows[] = {
        {"a port of a VLAN", 11, 1, 1, "225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:2] 12[1:1 2:1]"},
        {"a VLAN", 11, 0, 0, "225.0.0.1 10.0.0.1 10: 10[1:1] 12[1:1 2:1]"},
        {"a port of the incoming VLAN", 10, 1, 1,
         "225.0.0.1 10.0.0.1 10: 10[] 11[1:1 1:2] 12[1:1 2:1]"},
        {"the incoming VLAN", 10, 0, 0, "225.0.0.1 10.0.0.1 10: 11[1:1 1:2] 12[1:1 2:1]"},
        {"a port of all but the incoming VLAN", 0, 1, 1,
         "225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:2] 12[2:1]"},
        {"all but the incoming VLAN", 0, 0, 0, "225.0.0.1 10.0.0.1 10: 10[1:1]"},
        {"a VLAN that the cache has not", 15, 1, 1, kFull},
        {"a VLAN that nobody has", 99, 0, 0, kFull},
        {"a port that the VLAN has not", 11, 2, 1, kFull},
        {"a port key without a slot", 11, 0, 1, kFull},
        {"a port key without a port", 11, 1, 0, kFull},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        pcSimHalIpv4McHwFlushAll();
        pcSimHalIPv4McDbInit();
        pcSimHalIpv4McHwCacheAdd(full("10.0.0.1", 10));
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(one().to(row.vlan, row.slot, row.port)), 0);
        EXPECT_EQ(caches(), (Lines{row.left}));
    }
}

TEST_F(McastOutgoing, EntriesAreTakenInOrder) {
    EXPECT_EQ(
        pcSimHalIpv4McHwCacheOifDel(one().to(11, 1, 1).to(11, 0, 0).to(11, 1, 2).to(12, 2, 1)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 12[1:1]"}));
    EXPECT_EQ(ports(), (Lines{"1:1: 10(1) 12(1)"}));
}

TEST_F(McastOutgoing, DeleteAnswersByTheKey) {
    const auto del = [](const char* group, const char* source, uint32_t vlan) {
        return pcSimHalIpv4McHwCacheOifDel(Request(group, source, vlan).to(11, 1, 1));
    };
    EXPECT_EQ(del("225.0.0.1", "10.0.0.1", 0), -1) << "a source without an incoming VLAN";
    EXPECT_EQ(del("0.0.0.0", "10.0.0.1", 0), -1);
    EXPECT_EQ(del("225.0.0.1", "10.0.0.1", 11), -1) << "no such cache";
    EXPECT_EQ(del("225.0.0.9", "10.0.0.1", 10), -1) << "no such group";
    EXPECT_EQ(del("225.0.0.9", "0.0.0.0", 10), 0) << "no such group, any source";
    EXPECT_EQ(del("0.0.0.0", "0.0.0.0", 10), 0) << "no group, any source";
    EXPECT_EQ(caches(), (Lines{kFull}));
}

TEST_F(McastOutgoing, AnySourceMeansEveryCacheOfTheGroupOnTheVlan) {
    pcSimHalIpv4McHwCacheAdd(full("10.0.0.2", 10));
    pcSimHalIpv4McHwCacheAdd(full("0.0.0.0", 10));
    pcSimHalIpv4McHwCacheAdd(full("10.0.0.1", 13));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(Request("225.0.0.1", "0.0.0.0", 10).to(11, 0, 0)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 0.0.0.0 10: 10[1:1] 12[1:1 2:1]",
                               "225.0.0.1 10.0.0.1 10: 10[1:1] 12[1:1 2:1]",
                               "225.0.0.1 10.0.0.1 13: 10[1:1] 11[1:1 1:2] 12[1:1 2:1] 13[]",
                               "225.0.0.1 10.0.0.2 10: 10[1:1] 12[1:1 2:1]"}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(Request("225.0.0.1", "0.0.0.0", 0).to(0, 1, 1)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 0.0.0.0 10: 10[1:1] 12[2:1]",
                               "225.0.0.1 10.0.0.1 10: 10[1:1] 12[2:1]",
                               "225.0.0.1 10.0.0.1 13: 10[] 11[1:2] 12[2:1] 13[]",
                               "225.0.0.1 10.0.0.2 10: 10[1:1] 12[2:1]"}));
}

TEST_F(McastOutgoing, WithoutAnyKeyEntriesWorkOnEverything) {
    const auto everywhere = [](uint32_t vlan, uint16_t slot, uint16_t port) {
        return pcSimHalIpv4McHwCacheOifDel(Request(0u, 0u, 0u, 0u).to(vlan, slot, port));
    };
    EXPECT_EQ(everywhere(0, 2, 1), 0);  // a port
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:1 1:2] 12[1:1]"}));
    EXPECT_EQ(everywhere(11, 1, 1), 0);  // a VLAN on a port
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:2] 12[1:1]"}));
    EXPECT_EQ(everywhere(12, 0, 0), 0);  // a VLAN
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 11[1:2]"}));
    EXPECT_EQ(everywhere(0, 0, 0), 0);  // port key 0 is nobody's
    EXPECT_EQ(everywhere(99, 9, 9), 0);
    EXPECT_EQ(everywhere(10, 0, 0), 0);  // the incoming VLAN
    EXPECT_EQ(caches(), Lines{});
}

TEST_F(McastOutgoing, NegativeCountsRemoveNothing) {
    for (int32_t count : {-1, -2, -32768, INT32_MIN}) {
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(one().to(0, 0, 0).count(count)), 0);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(Request(0u, 0u, 0u, 0u).to(10, 0, 0).count(count)),
                  0);
        EXPECT_EQ(pcSimHalIpv4McHwCacheOifAdd(one().to(13, 1, 1).count(count)), 0);
        EXPECT_EQ(caches(), (Lines{kFull})) << count;
    }
}

TEST_F(McastOutgoing, TheRemovalFromACacheReadsTheLowHalfOfTheCount) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(one().to(11, 0, 0).count(0x10000)), 0);
    EXPECT_EQ(caches(), (Lines{kFull}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(one().to(11, 0, 0).count(0x10001)), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 12[1:1 2:1]"}));
    EXPECT_EQ(
        pcSimHalIpv4McHwCacheOifDel(one().to(12, 0, 0).count(static_cast<int32_t>(0xFFFF0001))), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1]"}));
}

TEST_F(McastOutgoing, ARemovalOfFortyThousandEntriesIsRead) {
    Request request = one();
    for (int i = 0; i < 39999; ++i) request.to(15, 3, 3);
    request.to(11, 0, 0);
    EXPECT_EQ(pcSimHalIpv4McHwCacheOifDel(request), 0);
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[1:1] 12[1:1 2:1]"}));
}

}  // namespace
