// The IPv6 route table: what it shares with IPv4, and the three differences.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/platform/l3/support.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;
using testing::KilledBySignal;

#define EXPECT_TRAP(statement) EXPECT_EXIT(statement, KilledBySignal(SIGILL), "")

const Hop kA{"fe80::1", 10};
const Hop kB{"fe80::2", 10};
const Hop kC{"fe80::3", 10};
const char* const kNet = "fd00:1::";

int32_t add(const Hops& hops) {
    return pcSimPCFamIPv6FibAddEntry(Request6(0, kNet, 32, hops));
}
uint32_t remove(const Hops& hops) {
    return pcSimPCFamIPv6FibDeleteEntry(Request6(0, kNet, 32, hops));
}
int32_t replace(const Hops& hops) {
    return pcSimPCFamIPv6FibReplaceEntry(Request6(0, kNet, 32, hops));
}
pcSimIPv6FibRoute* theRoute() {
    return route6(0, kNet, 32);
}

// --- Add, delete, replace -----------------------------------------------------------------------

TEST(IPv6Add, NewRouteHasItsNextHopsNewestFirstAndNoAdjacencies) {
    EXPECT_EQ(add({kA, kB}), 0);
    pcSimIPv6FibRoute* route = theRoute();
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(gIPv6FibTable, &route->node);
    EXPECT_EQ(route->vrId, 0u);
    EXPECT_EQ(route->maskLen, 32u);
    const HalIpAddress prefix = ip6(kNet);
    EXPECT_EQ(std::memcmp(&route->prefix, &prefix, 16), 0);
    EXPECT_EQ(hopsOf(route), (Hops{kB, kA}));
    for (pcSimIPv6FibNextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
        EXPECT_EQ(hop->route, route);
        EXPECT_EQ(hop->adjacency, nullptr);
        EXPECT_EQ(hop->links.next, &hop->links);
        EXPECT_EQ(hop->links.previous, &hop->links);
    }
    EXPECT_EQ(libc().blocksInUse, 3);
}

TEST(IPv6Add, ExistingRouteGetsWhatItLacks) {
    add({kA, kB});
    EXPECT_EQ(add({kB, kC, kA, kC}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kB, kA}));
}

TEST(IPv6Add, AllBytesOfTheGatewayAndTheVlanTellNextHopsApart) {
    const Hops hops = {{"fe80::1", 10}, {"fe80::1", 11}, {"fe80::2", 10}, {"fe81::1", 10}};
    EXPECT_EQ(add(hops), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{hops.rbegin(), hops.rend()}));
}

TEST(IPv6Add, CountZeroMakesARouteOrLeavesOneAlone) {
    EXPECT_EQ(add({}), 0);
    ASSERT_NE(theRoute(), nullptr);
    EXPECT_EQ(theRoute()->nextHops, nullptr);
    EXPECT_EQ(add({kA}), 0);
    EXPECT_EQ(pcSimPCFamIPv6FibAddEntry(Request6(0, kNet, 32, {kB}, 0)), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA}));
}

TEST(IPv6Add, CountIsAnUnsignedByte) {
    Hops hops;
    for (int i = 0; i < 255; ++i) hops.push_back({"fe80::" + std::to_string(i + 1), 10});
    EXPECT_EQ(add(hops), 0);
    EXPECT_EQ(hopsOf(theRoute()).size(), 255u);
    EXPECT_EQ(remove(hops), 0u);
    EXPECT_EQ(theRoute(), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv6Add, VrPrefixAndLengthAreTheKey) {
    add({kA});
    EXPECT_EQ(route6(1, kNet, 32), nullptr);
    EXPECT_EQ(route6(0, "fd00:1::1", 32), nullptr);
    EXPECT_EQ(route6(0, "fd01:1::", 32), nullptr);
    EXPECT_EQ(route6(0, kNet, 33), nullptr);
    EXPECT_EQ(route6(0, kNet, 32 + 256), nullptr);
}

TEST(IPv6Delete, CountZeroTakesRouteAndNextHops) {
    add({kA, kB});
    EXPECT_EQ(remove({}), 0u);
    EXPECT_EQ(gIPv6FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv6Delete, SlotsTakeTheirNextHops) {
    add({kA, kB, kC});
    EXPECT_EQ(remove({kB, {"fe80::1", 11}, {"fe80::9", 10}}), 0u);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kA}));
    EXPECT_EQ(remove({kC, kA}), 0u);
    EXPECT_EQ(theRoute(), nullptr);
    EXPECT_EQ(remove({kA}), 0u) << "an absent route is no error";
    add({});
    EXPECT_EQ(remove({kA}), 0u);
    EXPECT_EQ(theRoute(), nullptr) << "a route without next hops goes with any slot";
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv6Replace, KeepsWhatBothHave) {
    add({kB, kC});
    pcSimIPv6FibNextHop* kept = theRoute()->nextHops->next;
    EXPECT_EQ(replace({kA, kB}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA, kB}));
    EXPECT_EQ(theRoute()->nextHops->next, kept);
    EXPECT_EQ(libc().blocksInUse, 3);
}

TEST(IPv6Replace, CountZeroEmptiesOrMakesTheRoute) {
    EXPECT_EQ(replace({}), 0);
    ASSERT_NE(theRoute(), nullptr);
    EXPECT_EQ(replace({kA, kB}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
    EXPECT_EQ(replace({}), 0);
    ASSERT_NE(theRoute(), nullptr);
    EXPECT_EQ(theRoute()->nextHops, nullptr);
    EXPECT_EQ(libc().blocksInUse, 1);
}

// --- Flush --------------------------------------------------------------------------------------

struct FlushRow {
    const char* prefix;
    uint8_t maskLen;
    const char* gateway;
    bool flushed;
};
const FlushRow kFlushRows[] = {
    {"::", 0, "fe80::1", true},
    {"ffff::", 0, "fe80::1", true},
    {"8000::", 1, "fe80::1", true},
    {"::", 1, "fe80::1", false},
    {"fe00::", 7, "ffff::1", true},
    {"fe00::", 8, "ff00::1", false},
    {"fd00:1::", 31, "fd00:0::1", true},
    {"fd00:1::", 31, "fd00:2::1", false},
    {"fd00:1::", 32, "fd00:1:ffff::1", true},
    {"fd00:1::", 32, "fd00:0::1", false},
    {"fd00:1:2::", 48, "fd00:1:2:ffff::1", true},
    {"fd00:1:2::", 48, "fd00:1:3::1", false},
    {"fd00:1:2::", 48, "fd00:2:2::1", false},
    {"fd00:1:2::", 47, "fd00:1:3::1", true},
    {"fd00:1:2:3::", 64, "fd00:1:2:3:4::", true},
    {"fd00:1:2:3::", 64, "fd00:1:2:2::", false},
    {"fd00:1:2:3:8000::", 65, "fd00:1:2:3:ffff::", true},
    {"fd00:1:2:3:8000::", 65, "fd00:1:2:3:7fff::", false},
    {"::1:0:0", 96, "::1:ffff:ffff", true},
    {"::1:0:0", 96, "::0:ffff:ffff", false},
    {"::2", 127, "::3", true},
    {"::2", 127, "::1", false},
    {"::2", 128, "::2", true},
    {"::2", 128, "::3", false},
    {"::2", 129, "::2", true},
    {"::2", 129, "::3", false},
    {"::2", 255, "::2", true},
    {"::2", 255, "8000::2", false},
};

TEST(IPv6Flush, ComparesTheBitsOfTheLength) {
    for (const FlushRow& row : kFlushRows) {
        SCOPED_TRACE(std::string(row.gateway) + " in " + row.prefix + "/" +
                     std::to_string(row.maskLen));
        add({{row.gateway, 10}});
        EXPECT_EQ(pcSimPCFamIPv6FibFlush(Request6(0, row.prefix, row.maskLen, {})), 0u);
        EXPECT_EQ(theRoute() == nullptr, row.flushed);
        remove({});
    }
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv6Flush, VlanOfTheFirstSlotWhateverTheCount) {
    const Hops hops = {{"fe80::1", 10}, {"fe80::1", 11}, {"fd00::1", 10}};
    for (uint8_t count : {0, 1, 200}) {
        add(hops);
        EXPECT_EQ(pcSimPCFamIPv6FibFlush(Request6(0, "fe80::", 10, {{"::", 10}}, count)), 0u);
        EXPECT_EQ(hopsOf(theRoute()), (Hops{{"fd00::1", 10}, {"fe80::1", 11}}));
        EXPECT_EQ(pcSimPCFamIPv6FibFlush(Request6(0, "::", 0, {{"::", 12}}, count)), 0u);
        EXPECT_EQ(hopsOf(theRoute()).size(), 2u);
        EXPECT_EQ(pcSimPCFamIPv6FibFlush(Request6(0, "::", 0, {{"::", 0}}, count)), 0u);
        EXPECT_EQ(theRoute(), nullptr);
    }
}

TEST(IPv6Flush, KeepsToItsVirtualRouterAndTakesEmptyRoutes) {
    for (uint32_t vrId : {0u, 1u, 0x80000000u})
        for (const char* net : {"fd00:1::", "fd00:2::"})
            pcSimPCFamIPv6FibAddEntry(Request6(vrId, net, 32, {kA}));
    pcSimPCFamIPv6FibAddEntry(Request6(1, "fd00:3::", 32, {}));
    pcSimPCFamIPv6FibAddEntry(Request6(0, "fd00:3::", 32, {}));
    pcSimPCFamIPv6FibFlush(Request6(1, "::", 128, {}));
    EXPECT_EQ(walk<pcSimIPv6FibRoute>(gIPv6FibTable).size(), 7u);
    EXPECT_EQ(route6(1, "fd00:3::", 32), nullptr);
    pcSimPCFamIPv6FibFlush(Request6(1, "::", 0, {}));
    EXPECT_EQ(walk<pcSimIPv6FibRoute>(gIPv6FibTable).size(), 5u);
    pcSimPCFamIPv6FibFlush(Request6(0x80000000u, "::", 0, {}));
    EXPECT_EQ(walk<pcSimIPv6FibRoute>(gIPv6FibTable).size(), 3u);
}

// --- Order --------------------------------------------------------------------------------------

pcSimIPv6FibRoute keyed(uint32_t vrId, const char* prefix, uint32_t maskLen) {
    pcSimIPv6FibRoute route{};
    route.vrId = vrId;
    route.prefix = ip6(prefix);
    route.maskLen = maskLen;
    return route;
}

TEST(IPv6Order, VrThenLongestPrefixThenBytes) {
    const pcSimIPv6FibRoute routes[] = {
        keyed(0, "::", 0xFFFFFFFF), keyed(0, "ffff::", 128),    keyed(0, "::", 64),
        keyed(0, "0:0:0:1::", 64),  keyed(0, "100::", 64),      keyed(0, "8000::", 64),
        keyed(0, "::", 0),          keyed(0, "::1", 0),         keyed(1, "::", 128),
        keyed(256, "::", 128),      keyed(0x80000000, "::", 0),
    };
    const auto sign = [](int32_t order) { return (order > 0) - (order < 0); };
    for (const auto& a : routes)
        for (const auto& b : routes)
            EXPECT_EQ(sign(pcSimPCFamIPv6FibEntryCmpFunc(&a.node, &b.node)),
                      &a == &b ? 0 : (&a < &b ? -1 : 1))
                << &a - routes << " " << &b - routes;
}

TEST(IPv6Order, TheFirstByteThatDiffersDecides) {
    std::mt19937 random(6);
    const auto sign = [](int32_t order) { return (order > 0) - (order < 0); };
    for (uint32_t byte = 0; byte < 16; ++byte) {
        for (int32_t round = 0; round < 50; ++round) {
            pcSimIPv6FibRoute a = keyed(0, "2001:db8:1:2:3:4:5:6", 128), b = a;
            for (uint32_t i = byte; i < 16; ++i) {
                a.prefix.bytes[i] = static_cast<uint8_t>(random());
                b.prefix.bytes[i] = static_cast<uint8_t>(random());
            }
            EXPECT_EQ(sign(pcSimPCFamIPv6FibEntryCmpFunc(&a.node, &b.node)),
                      sign(std::memcmp(&a.prefix, &b.prefix, sizeof a.prefix)));
        }
    }
}

// --- Dump ---------------------------------------------------------------------------------------

const char* const kHeader =
    "                            HAL IPv6 FIB: \n"
    "VrId Prefix/MaskLen                               Vlan     MAC               Port\n"
    "     Gateway\n"
    "========================================================================================\n";

TEST(IPv6Dump, EmptyTable) {
    Sink sink;
    EXPECT_EQ(pcSimPCFamIPv6FibDump(&sink.record), 0u);
    EXPECT_EQ(sink.text(), std::string(kHeader) + "\ntotal routes = 0\n");
    EXPECT_EQ(sink.pieces.size(), 5u);
    EXPECT_EQ(sink.contexts, (std::vector<uint32_t>(5, 0xC0FFEE)));
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimPCFamIPv6FibDump(nullptr), 0u); }), sink.text());
}

TEST(IPv6Dump, TwoLinesPerNextHopInTableOrder) {
    add({kA, kB});
    const char* const longest = "2001:db8:1111:2222:3333:4444:5555:6666";
    pcSimPCFamIPv6FibAddEntry(Request6(0, "::", 0, {{longest, 123456789}}));
    pcSimPCFamIPv6FibAddEntry(Request6(0, longest, 128, {{"::ffff:1.2.3.4", 0}}));
    pcSimPCFamIPv6FibAddEntry(Request6(0, "fd00:9::", 64, {}));
    pcSimPCFamIPv6FibAddEntry(Request6(12345, "fd00:9::", 255, {{"::", 1}}));
    const std::string expected = std::string(kHeader) +
                                 "   0  2001:db8:1111:2222:3333:4444:5555:6666/128 00000000 \n"
                                 "     ::ffff:1.2.3.4 \n"
                                 "   0                                fd00:1::/ 32 00000010 \n"
                                 "     fe80::2 \n"
                                 "   0                                fd00:1::/ 32 00000010 \n"
                                 "     fe80::1 \n"
                                 "   0                                      ::/  0 123456789 \n"
                                 "     2001:db8:1111:2222:3333:4444:5555:6666 \n"
                                 "12345                                fd00:9::/255 00000001 \n"
                                 "     :: \n"
                                 "\ntotal routes = 5\n";
    EXPECT_EQ(dumped(pcSimPCFamIPv6FibDump), expected);
    EXPECT_EQ(printed([] { pcSimPCFamIPv6FibDump(nullptr); }), expected);
}

// --- Host routes --------------------------------------------------------------------------------

pcSimIPv6FibRoute* createHost(const char* text, uint32_t vlan) {
    const HalIpAddress address = ip6(text);
    const uint32_t* words = address.words;
    return pcSimIPv6FibDirectRtCreate(4, words[0], words[1], words[2], words[3], vlan);
}
pcSimIPv6FibRoute* lookupHost(const char* text) {
    const HalIpAddress address = ip6(text);
    const uint32_t* words = address.words;
    return pcSimIPv6FibDirectRtLookup(4, words[0], words[1], words[2], words[3]);
}

TEST(IPv6HostRoute, HasTheHostAsItsNextHop) {
    EXPECT_EQ(lookupHost("fd00::7"), nullptr);
    pcSimIPv6FibRoute* route = createHost("fd00::7", 5);
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(lookupHost("fd00::7"), route);
    EXPECT_EQ(route6(4, "fd00::7", 128), route);
    EXPECT_EQ(hopsOf(route), (Hops{{"fd00::7", 5}}));
    EXPECT_EQ(route->nextHops->route, route);
    EXPECT_EQ(route->nextHops->links.next, &route->nextHops->links);
    EXPECT_EQ(route->nextHops->links.previous, &route->nextHops->links);
    EXPECT_EQ(route->nextHops->adjacency, nullptr);
    EXPECT_EQ(createHost("fd00::7", 6), nullptr) << "the tree refuses a second one";
    EXPECT_EQ(libc().blocksInUse, 2);
    pcSimIPv6FibDirectRtFree(route);
    EXPECT_EQ(gIPv6FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv6HostRoute, FailuresAreUndoneAndNullTraps) {
    for (uint32_t n : {1u, 2u}) {
        libc().failNext(n);
        EXPECT_EQ(createHost("fd00::7", 5), nullptr);
        EXPECT_EQ(gIPv6FibTable, nullptr);
        EXPECT_EQ(libc().blocksInUse, 0);
    }
    pcSimPCFamIPv6FibAddEntry(Request6(4, "fd00::7", 128, {}));
    pcSimIPv6FibDirectRtFree(lookupHost("fd00::7"));
    EXPECT_EQ(libc().blocksInUse, 0);
    EXPECT_TRAP(pcSimIPv6FibDirectRtFree(nullptr));
}

// --- The rest -----------------------------------------------------------------------------------

TEST(IPv6Fib, IgnoredOperationsReturnZero) {
    add({kA});
    expectStubs({PCSIM_IPV6_FIB_STUBS(PCSIM_STUB_ROW)}, 5);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA}));
}

TEST(IPv6Fib, RouteAllocGivesAZeroedNode) {
    pcSimIPv6FibRoute* route = pcSimIPv6FibRouteAlloc();
    const pcSimIPv6FibRoute empty{};
    EXPECT_EQ(std::memcmp(route, &empty, sizeof empty), 0);
    free(route);
    libc().failNext();
    EXPECT_EQ(pcSimIPv6FibRouteAlloc(), nullptr);
}

// Whichever of its allocations fails, once or for ever, the operation fails and leaves no trace.
void expectNothingDone(int32_t (*operation)(), uint32_t allocations) {
    const std::string before = dumped(pcSimPCFamIPv6FibDump);
    const int32_t blocks = libc().blocksInUse;
    for (uint32_t n = 1; n <= allocations; ++n) {
        for (bool forEver : {false, true}) {
            libc().allocation.next = n;
            libc().allocation.forEver = forEver;
            EXPECT_EQ(operation(), -1) << n;
            libc().failNone();
            EXPECT_EQ(dumped(pcSimPCFamIPv6FibDump), before);
            EXPECT_EQ(libc().blocksInUse, blocks);
        }
    }
}

TEST(IPv6Failure, EveryAllocationOfAddAndReplace) {
    using Operation = int32_t (*)();
    const struct {
        Operation prepare, operation;
        uint32_t allocations;
    } rows[] = {
        {[] { return 0; },
         [] {
             return add({kA, kB});
         },
         3},
        {[] { return add({kA}); },
         [] {
             return add({kA, kB, kC});
         },
         2},
        {[] { return 0; }, [] { return add({}); }, 1},
        {[] { return 0; },
         [] {
             return replace({kA, kB});
         },
         3},
        {[] {
             return add({kA, kB});
         },
         [] {
             return replace({kB, kC});
         },
         1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(row.prepare(), 0);
        expectNothingDone(row.operation, row.allocations);
        libc().failNext(row.allocations + 1);
        EXPECT_EQ(row.operation(), 0);
        libc().failNone();
        remove({});
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

}  // namespace
