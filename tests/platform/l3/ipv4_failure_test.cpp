// What the IPv4 route table leaves behind when memory runs out or the tree refuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/platform/l3/one_route.h"
#include "tests/support/tree.h"

// In here, so that the removal of the test is meant and not that of files.
namespace pcsim::test {
namespace {

// Fails the n-th allocation of 'operation', once and for ever, until it succeeds. Each failure must
// be reported and leave 'state' as it was; allocations of adjacencies trap and are skipped.
void failEachAllocation(const std::function<int32_t()>& operation,
                        const std::vector<uint32_t>& trapping) {
    const auto state = [] { return dumped(pcSimPCFamIPv4FibDump) + dumped(pcSimIpAdjDump); };
    const std::string before = state();
    const int32_t blocks = libc().blocksInUse;
    for (uint32_t n = 1;; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 100u);
        if (std::find(trapping.begin(), trapping.end(), n) != trapping.end()) {
            libc().failNext(n);
            EXPECT_TRAP(operation());
            libc().failNone();
            continue;
        }
        const uint32_t calls = libc().allocationCalls;
        libc().failAllFrom(n);
        int32_t result = operation();
        if (libc().allocationCalls - calls < n) {  // it has needed fewer
            libc().failNone();
            EXPECT_EQ(result, 0);
            return;
        }
        libc().failNone();
        EXPECT_EQ(result, -1);
        EXPECT_EQ(state(), before);
        EXPECT_EQ(libc().blocksInUse, blocks);
        libc().failNext(n);
        result = operation();
        libc().failNone();
        EXPECT_EQ(result, -1);
        EXPECT_EQ(state(), before);
        EXPECT_EQ(libc().blocksInUse, blocks);
    }
}

TEST(IPv4Failure, AddOfANewRouteIsUndone) {
    // Route; then for each slot the next hop and its placeholder.
    failEachAllocation([] { return add({kA, kB, kC}); }, {3, 5, 7});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kB, kA}));
}

TEST(IPv4Failure, AddToAnExistingRouteIsUndone) {
    add({kA});
    failEachAllocation([] { return add({kA, kB, kC}); }, {2, 4});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kB, kA}));
}

TEST(IPv4Failure, AddOverKnownNeighboursNeedsNoPlaceholders) {
    for (const Hop& hop : {kA, kB}) {
        const pcSimIpAdjRec neighbour = record(0, hop.gateway.c_str(), hop.vlan);
        pcSimIpAdjAdd(&neighbour);
    }
    failEachAllocation([] { return add({kA, kB}); }, {});
}

// A placeholder that nobody references yet: looked up by the HAL, or what a removal has left.
TEST(IPv4Failure, PlaceholdersThatWereThereBeforeSurvive) {
    pcSimIpAdjEntry* const older = pcSimIpAdjLookup(0, ip(kB.gateway.c_str()), kB.vlan, 1);
    failEachAllocation([] { return add({kA, kB, kC}); }, {3, 6});
    EXPECT_EQ(adjacency(0, kB.gateway.c_str(), kB.vlan), older);
    for (const Hop& hop : {kA, kB, kC}) EXPECT_EQ(references(hop), 1u);
    for (const pcSimFibNextHop* hop = theRoute()->nextHops; hop != nullptr; hop = hop->next)
        EXPECT_EQ(hop->route, theRoute());
    remove({});
    EXPECT_EQ(libc().blocksInUse, 0) << "once used, it goes with its last reference";
}

TEST(IPv4Failure, PlaceholdersSurviveAReplaceThatFails) {
    add({kA});
    pcSimIpAdjLookup(0, ip(kB.gateway.c_str()), kB.vlan, 1);
    failEachAllocation([] { return replace({kB, kC}); }, {3});
    EXPECT_EQ(references(kB), 1u);
    for (const pcSimFibNextHop* hop = theRoute()->nextHops; hop != nullptr; hop = hop->next)
        EXPECT_EQ(hop->route, theRoute());
}

// The neighbours that a /32 of another VLAN has kept without a host route of their own.
TEST(IPv4Failure, NeighboursWithoutAReferenceSurvive) {
    const pcSimIpAdjRec removed = record(0, kA.gateway.c_str(), kA.vlan, {}, 0);
    const pcSimIpAdjRec resolved = record(0, kB.gateway.c_str(), kB.vlan);
    for (const char* address : {"10.0.0.1", "10.0.0.2"})
        pcSimPCFamIPv4FibAddEntry(Request4(0, address, "255.255.255.255", {}));
    pcSimIpAdjAdd(&removed);
    pcSimIpAdjAdd(&resolved);
    ASSERT_EQ(references(kA) + references(kB), 0u);
    failEachAllocation([] { return add({kA, kB}); }, {});
    EXPECT_EQ(references(kA), 1u);
    EXPECT_EQ(references(kB), 1u);
}

// The tree takes the new placeholder and refuses the route.
TEST(IPv4Failure, PlaceholdersSurviveARouteThatTheTreeRefuses) {
    pcSimIpAdjLookup(0, ip(kB.gateway.c_str()), kB.vlan, 1);
    const std::string before = dumped(pcSimIpAdjDump);
    const int32_t blocks = libc().blocksInUse;
    tree().refuseInsert = 2;
    EXPECT_EQ(add({kA, kB}), -1);
    EXPECT_EQ(tree().refuseInsert, 0u);
    EXPECT_EQ(dumped(pcSimIpAdjDump), before);
    EXPECT_EQ(libc().blocksInUse, blocks);
    EXPECT_EQ(references(kB), 0u);
}

TEST(IPv4Failure, AddWithoutNextHops) {
    failEachAllocation([] { return add({}); }, {});
    EXPECT_NE(theRoute(), nullptr);
}

TEST(IPv4Failure, ReplaceLeavesTheRouteAsItWas) {
    add({kA, kB});
    failEachAllocation([] { return replace({kB, kC, {"10.0.0.4", 5}}); }, {2, 4});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{{"10.0.0.4", 5}, kC, kB}));
    EXPECT_EQ(references(kA), 0u);
}

TEST(IPv4Failure, ReplaceOfANewRouteIsUndone) {
    failEachAllocation([] { return replace({kA, kB}); }, {3, 5});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
}

TEST(IPv4Failure, HostRouteIsUndone) {
    for (uint32_t n : {1u, 2u}) {
        libc().failNext(n);
        EXPECT_EQ(pcSimIPv4FibDirectRtCreate(0, ip("10.0.0.1"), 5), nullptr);
        EXPECT_EQ(gIPv4FibTable, nullptr);
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

TEST(IPv4Failure, RemovalNeedsNoMemory) {
    add({kA, kB, kC});
    libc().failAllFrom();
    EXPECT_EQ(remove({kA}), 0u);
    EXPECT_EQ(replace({kC}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC}));
    EXPECT_EQ(pcSimPCFamIPv4FibFlush(Request4(0, "0.0.0.0", "0.0.0.0", {})), 0u);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

}  // namespace
}  // namespace pcsim::test
