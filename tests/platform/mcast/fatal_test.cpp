// What stops the process: an exhausted heap, a wrong host record, a null pointer.
#include <csignal>

#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

const auto kAborted = testing::KilledBySignal(SIGABRT);

// The allocations of an add with one outgoing port, in their order.
TEST_F(Mcast, EveryFailedAllocationOfAnAddStopsTheProcess) {
    struct Row {
        const char* function;
        const char* node;
    };
    const Row rows[] = {
        {"getGroup", "grpNode"},          {"createCache", "cacheNode"},
        {"pcSimGetVlanNode", "ret"},      {"pcSimGetCacheIf", "ret"},
        {"pcSimGetVlanNode", "ret"},      {"pcSimGetCacheIf", "ret"},
        {"pcSimGetPortNode", "portNode"}, {"pcSimGetVpifNode", "ret"},
        {"pcSimAddCachePort", "ret"},
    };
    const Request request = Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1);
    uint32_t n = 0;
    for (const Row& row : rows) {
        ++n;
        const std::string message = "^pcSimIPv4McDb\\.c:[0-9]+: " + std::string(row.function) +
                                    ": Assertion \"" + row.node + "\" failed\n$";
        EXPECT_EXIT(
            {
                libc().failNext(n);
                pcSimHalIpv4McHwCacheAdd(request);
            },
            kAborted, message);
        EXPECT_EXIT(
            {
                libc().failAllFrom(n);
                pcSimHalIpv4McHwCacheAdd(request);
            },
            kAborted, message);
    }
    libc().failNext(n + 1);
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(request), 0) << "there is no tenth allocation";
}

TEST_F(Mcast, AGetterThatNeedsAVlanFirstStopsAtTheVlan) {
    EXPECT_EXIT(
        {
            PortNode* port = pcSimGetPortNode(0x10001);
            libc().failNext();
            pcSimGetVpifNode(port, 11);
        },
        kAborted, "pcSimGetVlanNode: Assertion \"ret\" failed");
}

TEST_F(Mcast, AVlanRecordOfAnotherInstanceStopsTheProcess) {
    host().vlanIfs[10]->instance = 77;
    EXPECT_EXIT(pcSimGetVlanNode(10), kAborted,
                "pcSimIPv4McDb.*\"vlanInstance == vlan->l2common.ifInstance\" failed");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10)), kAborted,
                "vlanInstance == vlan->l2common.ifInstance");
}

TEST_F(Mcast, NullPointersStopTheProcess) {
    CacheNode* cache = nullptr;
    const HalMcastOutgoing entry{11, 1, 1, 0, 0};
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10));
    CacheNode* real = find(Request("225.0.0.1", "10.0.0.1", 10));
    EXPECT_EXIT(pcSimHalIpv4McHwCacheAdd(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheDel(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheFind(nullptr, &cache), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheFind(Request("225.0.0.1", "10.0.0.1", 10).key(), nullptr),
                kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheFlush(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheOifAdd(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheOifDel(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheOifPortAdd(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheOifPortDel(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimHalIpv4McHwCacheGetStats(nullptr), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(dumpCacheNode(nullptr, nullptr), kAborted, "\"cacheNode\"");
    EXPECT_EXIT(pcSimGetCacheIf(nullptr, 10), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimGetVpifNode(nullptr, 10), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimAddCachePort(nullptr, &entry), kAborted, "pcSimIPv4McDb");
    EXPECT_EXIT(pcSimAddCachePort(real, nullptr), kAborted, "pcSimIPv4McDb");
}

}  // namespace
