// The IPv4 route table.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/l3/one_route.h"
#include "tests/support/stubs.h"
#include "tests/support/tree.h"

// In here, so that the removal of the test is meant and not that of files.
namespace pcsim::test {
namespace {

// --- Add ----------------------------------------------------------------------------------------

TEST(IPv4Add, NewRouteHasItsNextHopsNewestFirst) {
    EXPECT_EQ(add({kA, kB}), 0);
    pcSimIPv4FibRoute* route = theRoute();
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(gIPv4FibTable, &route->node);
    EXPECT_EQ(route->vrId, 0u);
    EXPECT_EQ(route->prefix, ip(kNet));
    EXPECT_EQ(route->mask, ip(kMask));
    EXPECT_EQ(hopsOf(route), (Hops{kB, kA}));
    for (pcSimFibNextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
        EXPECT_EQ(hop->route, route);
        ASSERT_NE(hop->adjacency, nullptr);
        EXPECT_EQ(hop->adjacency->refCount, 1u);
        EXPECT_EQ(hop->adjacency->nextHops.next, &hop->links);
        EXPECT_EQ(hop->adjacency->record.ipAddr.words[0], hop->gateway);
        EXPECT_EQ(hop->adjacency->record.vlan, hop->vlan);
        EXPECT_EQ(hop->adjacency->record.port, 0u);
    }
    EXPECT_EQ(libc().blocksInUse, 5) << "a route, two next hops, two placeholders";
}

TEST(IPv4Add, ExistingRouteGetsWhatItLacks) {
    add({kA, kB});
    pcSimIPv4FibRoute* route = theRoute();
    EXPECT_EQ(add({kB, kC, kA}), 0);
    EXPECT_EQ(theRoute(), route);
    EXPECT_EQ(hopsOf(route), (Hops{kC, kB, kA}));
    for (const Hop& hop : {kA, kB, kC}) EXPECT_EQ(references(hop), 1u);
}

TEST(IPv4Add, SlotsThatRepeatAreTakenOnce) {
    EXPECT_EQ(add({kA, kA, kB, kA, kB}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
    EXPECT_EQ(references(kA), 1u);
}

TEST(IPv4Add, GatewayAndVlanTellNextHopsApart) {
    const Hop otherVlan{"10.0.0.1", 6};
    EXPECT_EQ(add({kA, otherVlan}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{otherVlan, kA}));
    EXPECT_EQ(references(kA), 1u);
    EXPECT_EQ(references(otherVlan), 1u);
}

TEST(IPv4Add, CountBelowOneMakesARouteWithoutNextHops) {
    for (int32_t count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(add({kA}, count), 0);
        ASSERT_NE(theRoute(), nullptr);
        EXPECT_EQ(theRoute()->nextHops, nullptr);
        EXPECT_EQ(libc().blocksInUse, 1);
        remove({});
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

TEST(IPv4Add, CountBelowOneLeavesAnExistingRouteAlone) {
    add({kA, kB});
    for (int32_t count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(add({kC}, count), 0);
        EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
    }
}

TEST(IPv4Add, CountSaysHowManySlotsAreRead) {
    EXPECT_EQ(add({kA, kB, kC}, 2), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
}

TEST(IPv4Add, RoutesShareAnAdjacency) {
    add({kA});
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.2.0.0", kMask, {kA}));
    pcSimPCFamIPv4FibAddEntry(Request4(1, kNet, kMask, {kA}));
    EXPECT_EQ(references(kA, 0), 2u);
    EXPECT_EQ(references(kA, 1), 1u) << "adjacencies belong to a virtual router";
}

TEST(IPv4Add, VrPrefixAndMaskAreTheKey) {
    add({kA});
    EXPECT_EQ(route4(1, kNet, kMask), nullptr);
    EXPECT_EQ(route4(0, "10.1.0.1", kMask), nullptr) << "host bits count";
    EXPECT_EQ(route4(0, kNet, "255.255.255.0"), nullptr);
    EXPECT_NE(route4(0, kNet, kMask), nullptr);
}

TEST(IPv4Add, ManySlots) {
    Hops hops;
    for (int i = 0; i < 1000; ++i)
        hops.push_back({"10.9." + std::to_string(i / 250) + "." + std::to_string(i % 250), 5});
    EXPECT_EQ(add(hops), 0);
    std::reverse(hops.begin(), hops.end());
    EXPECT_EQ(hopsOf(theRoute()), hops);
    remove({});
    EXPECT_EQ(libc().blocksInUse, 0);
}

// --- Delete -------------------------------------------------------------------------------------

TEST(IPv4Delete, CountZeroTakesRouteAndNextHops) {
    add({kA, kB});
    EXPECT_EQ(remove({}), 0u);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(references(kA), 0u);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv4Delete, NegativeCountTakesAnEmptyRouteAlone) {
    for (int32_t count : {-1, INT32_MIN}) {
        add({kA});
        EXPECT_EQ(remove({kA}, count), 0u);
        EXPECT_EQ(hopsOf(theRoute()), (Hops{kA}));
        replace({});
        EXPECT_EQ(remove({kA}, count), 0u);
        EXPECT_EQ(theRoute(), nullptr);
    }
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv4Delete, SlotsTakeTheirNextHops) {
    add({kA, kB, kC});
    EXPECT_EQ(remove({kB}), 0u);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kA}));
    EXPECT_EQ(references(kB), 0u);
    EXPECT_EQ(remove({{"10.0.0.1", 6}, {"10.0.0.9", 5}, kB}), 0u);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kA})) << "what matches nothing is skipped";
    EXPECT_EQ(remove({kC, kC, kA}), 0u);
    EXPECT_EQ(theRoute(), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv4Delete, HeadAndTailAreUnlinked) {
    add({kA, kB, kC});
    remove({kC});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
    remove({kA});
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB}));
}

TEST(IPv4Delete, SlotThatMatchesNothingTakesAnEmptyRoute) {
    add({});
    EXPECT_EQ(remove({kA}), 0u);
    EXPECT_EQ(theRoute(), nullptr);
}

TEST(IPv4Delete, AbsentRouteIsNoError) {
    add({kA});
    for (int32_t count : {-1, 0, 1})
        EXPECT_EQ(pcSimPCFamIPv4FibDeleteEntry(Request4(0, "10.2.0.0", kMask, {kA}, count)), 0u);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA}));
}

TEST(IPv4Delete, AdjacencyWithAPortStays) {
    const pcSimIpAdjRec neighbour = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&neighbour);
    add({kA});
    EXPECT_EQ(references(kA), 2u);
    remove({kA});
    EXPECT_EQ(references(kA), 1u);
    pcSimPCFamIPv4FibDeleteEntry(Request4(0, "10.0.0.1", "255.255.255.255", {}));
    EXPECT_NE(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(references(kA), 0u);
}

// --- Replace ------------------------------------------------------------------------------------

TEST(IPv4Replace, KeepsWhatBothHave) {
    add({kB, kC});
    pcSimFibNextHop* kept = theRoute()->nextHops->next;
    pcSimIpAdjEntry* keptAdjacency = kept->adjacency;
    EXPECT_EQ(replace({kA, kB}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA, kB}));
    EXPECT_EQ(theRoute()->nextHops->next, kept);
    EXPECT_EQ(kept->adjacency, keptAdjacency);
    EXPECT_EQ(references(kA), 1u);
    EXPECT_EQ(references(kB), 1u);
    EXPECT_EQ(references(kC), 0u);
    EXPECT_EQ(libc().blocksInUse, 5);
}

TEST(IPv4Replace, NewRouteIsMade) {
    EXPECT_EQ(replace({kA, kB, kA}), 0);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kB, kA}));
    EXPECT_EQ(references(kA), 1u);
}

TEST(IPv4Replace, CountBelowOneEmptiesOrMakesTheRoute) {
    for (int32_t count : {0, -1, INT32_MIN}) {
        add({kA, kB});
        pcSimIPv4FibRoute* route = theRoute();
        EXPECT_EQ(pcSimPCFamIPv4FibReplaceEntry(Request4(0, kNet, kMask, {kA}, count)), 0);
        EXPECT_EQ(theRoute(), route);
        EXPECT_EQ(route->nextHops, nullptr);
        EXPECT_EQ(references(kA), 0u);
        remove({});
        EXPECT_EQ(pcSimPCFamIPv4FibReplaceEntry(Request4(0, kNet, kMask, {kA}, count)), 0);
        ASSERT_NE(theRoute(), nullptr);
        EXPECT_EQ(theRoute()->nextHops, nullptr);
        remove({});
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

TEST(IPv4Replace, SameSetChangesNothing) {
    add({kA, kB, kC});
    const uint32_t before = libc().allocationCalls;
    EXPECT_EQ(replace({kB, kA, kC, kB}), 0);
    EXPECT_EQ(libc().allocationCalls, before);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kC, kB, kA}));
}

TEST(IPv4Replace, ThousandsOfSlots) {
    Hops odd, all;
    for (int i = 0; i < 3000; ++i) {
        const Hop hop{"10.9." + std::to_string(i / 250) + "." + std::to_string(i % 250), 5};
        all.push_back(hop);
        if (i % 2 != 0) odd.push_back(hop);
    }
    replace(all);
    EXPECT_EQ(replace(odd), 0);
    EXPECT_EQ(hopsOf(theRoute()).size(), 1500u);
    EXPECT_EQ(replace(all), 0);
    EXPECT_EQ(hopsOf(theRoute()).size(), 3000u);
    remove({});
    EXPECT_EQ(libc().blocksInUse, 0);
}

// --- Flush --------------------------------------------------------------------------------------

struct FlushRow {
    const char* prefix;
    const char* mask;
    uint32_t vlan;
    Hops left;  // of a route with all of kFlushed, newest first
};
const Hops kFlushed = {{"10.0.0.1", 5}, {"10.0.0.2", 6}, {"10.1.0.1", 5}, {"11.0.0.1", 6}};
const FlushRow kFlushRows[] = {
    {"0.0.0.0", "0.0.0.0", 0, {}},
    {"9.9.9.9", "0.0.0.0", 0, {}},
    {"9.9.9.9", "0.0.0.0", 5, {{"11.0.0.1", 6}, {"10.0.0.2", 6}}},
    {"10.0.0.0", "255.0.0.0", 0, {{"11.0.0.1", 6}}},
    {"10.200.3.4", "255.0.0.0", 0, {{"11.0.0.1", 6}}},
    {"10.0.0.0", "255.0.0.0", 6, {{"11.0.0.1", 6}, {"10.1.0.1", 5}, {"10.0.0.1", 5}}},
    {"10.0.0.2", "255.255.255.255", 0, {{"11.0.0.1", 6}, {"10.1.0.1", 5}, {"10.0.0.1", 5}}},
    {"0.0.0.1", "0.0.0.255", 0, {{"10.0.0.2", 6}}},
    {"10.0.0.9",
     "255.255.255.255",
     0,
     {{"11.0.0.1", 6}, {"10.1.0.1", 5}, {"10.0.0.2", 6}, {"10.0.0.1", 5}}},
    {"10.0.0.1",
     "255.255.255.255",
     6,
     {{"11.0.0.1", 6}, {"10.1.0.1", 5}, {"10.0.0.2", 6}, {"10.0.0.1", 5}}},
};

TEST(IPv4Flush, GatewayAndVlanOfTheFilter) {
    for (const FlushRow& row : kFlushRows) {
        SCOPED_TRACE(std::string(row.prefix) + " " + row.mask + " " + std::to_string(row.vlan));
        add(kFlushed);
        for (int32_t count : {0, -3, 1})
            EXPECT_EQ(pcSimPCFamIPv4FibFlush(
                          Request4(0, row.prefix, row.mask, {{"1.1.1.1", row.vlan}}, count)),
                      0u);
        if (row.left.empty())
            EXPECT_EQ(theRoute(), nullptr);
        else
            EXPECT_EQ(hopsOf(theRoute()), row.left);
        for (const Hop& hop : kFlushed) {
            const bool stays = std::find(row.left.begin(), row.left.end(), hop) != row.left.end();
            EXPECT_EQ(references(hop), stays ? 1u : 0u) << hop;
        }
        remove({});
    }
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv4Flush, KeepsToItsVirtualRouter) {
    for (uint32_t vrId : {0u, 1u, 2u, 0xFFFFFFFFu})
        for (const char* net : {"10.1.0.0", "10.2.0.0"})
            pcSimPCFamIPv4FibAddEntry(Request4(vrId, net, kMask, {kA}));
    const auto routesOf = [](uint32_t vrId) {
        const auto routes = walk<pcSimIPv4FibRoute>(gIPv4FibTable);
        return std::count_if(routes.begin(), routes.end(),
                             [vrId](auto* route) { return route->vrId == vrId; });
    };
    pcSimPCFamIPv4FibFlush(Request4(1, "0.0.0.0", "0.0.0.0", {}));
    EXPECT_EQ(routesOf(0), 2);
    EXPECT_EQ(routesOf(1), 0);
    EXPECT_EQ(routesOf(2), 2);
    EXPECT_EQ(routesOf(0xFFFFFFFF), 2);
    pcSimPCFamIPv4FibFlush(Request4(0xFFFFFFFF, "0.0.0.0", "0.0.0.0", {}));
    EXPECT_EQ(routesOf(0xFFFFFFFF), 0) << "virtual routers are unsigned";
    EXPECT_EQ(routesOf(2), 2);
    pcSimPCFamIPv4FibFlush(Request4(7, "0.0.0.0", "0.0.0.0", {}));
    EXPECT_EQ(walk<pcSimIPv4FibRoute>(gIPv4FibTable).size(), 4u);
}

TEST(IPv4Flush, TakesRoutesThatHadNoNextHopsToBeginWith) {
    add({});
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.2.0.0", kMask, {kA}));
    pcSimPCFamIPv4FibAddEntry(Request4(1, kNet, kMask, {}));
    pcSimPCFamIPv4FibFlush(Request4(0, "99.0.0.0", "255.0.0.0", {}));
    EXPECT_EQ(theRoute(), nullptr);
    EXPECT_NE(route4(0, "10.2.0.0", kMask), nullptr);
    EXPECT_NE(route4(1, kNet, kMask), nullptr);
}

TEST(IPv4Flush, EmptyTable) {
    EXPECT_EQ(pcSimPCFamIPv4FibFlush(Request4(0, "0.0.0.0", "0.0.0.0", {})), 0u);
}

// --- Order --------------------------------------------------------------------------------------

pcSimIPv4FibRoute keyed(uint32_t vrId, const char* prefix, const char* mask) {
    pcSimIPv4FibRoute route{};
    route.vrId = vrId;
    route.prefix = ip(prefix);
    route.mask = ip(mask);
    return route;
}

TEST(IPv4Order, VrThenLongestMaskThenPrefix) {
    // In table order.
    const pcSimIPv4FibRoute routes[] = {
        keyed(0, "10.0.0.1", "255.255.255.255"),  keyed(0, "200.0.0.1", "255.255.255.255"),
        keyed(0, "1.0.0.0", "255.255.255.0"),     keyed(0, "127.255.255.0", "255.255.255.0"),
        keyed(0, "128.0.0.0", "255.255.255.0"),   keyed(0, "1.0.0.0", "255.255.0.255"),
        keyed(0, "0.1.0.0", "255.255.0.0"),       keyed(0, "1.0.0.0", "255.255.0.0"),
        keyed(0, "1.0.0.0", "128.0.0.0"),         keyed(0, "1.0.0.0", "127.255.255.255"),
        keyed(0, "0.0.0.0", "0.0.0.255"),         keyed(0, "0.0.0.0", "0.0.0.0"),
        keyed(0, "255.0.0.0", "0.0.0.0"),         keyed(1, "0.0.0.0", "255.255.255.255"),
        keyed(256, "0.0.0.0", "255.255.255.255"), keyed(0xFFFFFFFF, "0.0.0.0", "0.0.0.0"),
    };
    for (const auto& a : routes)
        for (const auto& b : routes)
            EXPECT_EQ(pcSimPCFamIPv4FibEntryCmpFunc(&a.node, &b.node),
                      &a == &b ? 0 : (&a < &b ? -1 : 1))
                << &a - routes << " " << &b - routes;
    pcSimIPv4FibRoute twin = routes[3];
    twin.nextHops = reinterpret_cast<pcSimFibNextHop*>(&twin);
    EXPECT_EQ(pcSimPCFamIPv4FibEntryCmpFunc(&twin.node, &routes[3].node), 0);
}

// --- Dump ---------------------------------------------------------------------------------------

const char* const kHeader =
    "                            HAL IPv4 FIB: \n"
    "VrId Prefix/Mask        Gateway         Vlan   MAC               Port\n"
    "=========================================================================\n";

TEST(IPv4Dump, EmptyTable) {
    Sink sink;
    EXPECT_EQ(pcSimPCFamIPv4FibDump(&sink.record), 0u);
    EXPECT_EQ(sink.text(), std::string(kHeader) + "\ntotal routes = 0\n");
    EXPECT_EQ(sink.pieces.size(), 4u);
    EXPECT_EQ(sink.contexts, (std::vector<uint32_t>(4, 0xC0FFEE)));
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimPCFamIPv4FibDump(nullptr), 0u); }), sink.text());
}

TEST(IPv4Dump, RowsInTableOrderWithTheAdjacencysMacAndPort) {
    const pcSimIpAdjRec neighbour =
        record(0, "10.0.0.1", 5, {{0x00, 0x04, 0x96, 0xAB, 0xCD, 0xEF}}, 0x00010003);
    pcSimIpAdjAdd(&neighbour);
    add({kA, kB});
    pcSimPCFamIPv4FibAddEntry(Request4(0, "0.0.0.0", "0.0.0.0", {{"10.0.0.1", 5}}));
    pcSimPCFamIPv4FibAddEntry(Request4(0, "192.168.100.0", "255.255.255.0", {}));
    pcSimPCFamIPv4FibAddEntry(Request4(3, "10.0.0.0", "255.0.255.0", {{"1.2.3.4", 1234567}}));
    pcSimPCFamIPv4FibAddEntry(Request4(12345, "10.0.0.0", "254.0.0.0", {{"1.2.3.4", 0}}));
    pcSimPCFamIPv4FibAddEntry(Request4(0xFFFFFFFF, "1.0.0.0", "0.255.0.0", {{"1.2.3.4", 7}}));
    const std::string expected =
        std::string(kHeader) +
        "   0 010.000.000.001/32 010.000.000.001 000005 00:04:96:ab:cd:ef 00010003\n"
        "   0 010.001.000.000/16 010.000.000.002 000005 00:00:00:00:00:00 00000000\n"
        "   0 010.001.000.000/16 010.000.000.001 000005 00:04:96:ab:cd:ef 00010003\n"
        "   0 000.000.000.000/ 0 010.000.000.001 000005 00:04:96:ab:cd:ef 00010003\n"
        "   3 010.000.000.000/ 8 001.002.003.004 1234567 00:00:00:00:00:00 00000000\n"
        "12345 010.000.000.000/ 7 001.002.003.004 000000 00:00:00:00:00:00 00000000\n"
        "  -1 001.000.000.000/ 0 001.002.003.004 000007 00:00:00:00:00:00 00000000\n"
        "\ntotal routes = 7\n";
    EXPECT_EQ(dumped(pcSimPCFamIPv4FibDump), expected);
    EXPECT_EQ(printed([] { pcSimPCFamIPv4FibDump(nullptr); }), expected);
}

TEST(IPv4Dump, OneRoute) {
    add({kA});
    const std::string row =
        "   0 010.001.000.000/16 010.000.000.001 000005 00:00:00:00:00:00 00000000\n";
    EXPECT_EQ(dumped([](auto* sink) { dumpSimEntry(sink, theRoute()); }), row);
    EXPECT_EQ(printed([] { dumpSimEntry(nullptr, theRoute()); }), row);
    replace({});
    EXPECT_EQ(dumped([](auto* sink) { dumpSimEntry(sink, theRoute()); }), "");
}

TEST(IPv4Dump, EveryPrefixLength) {
    for (uint32_t length = 0; length <= 32; ++length) {
        const uint32_t mask = length == 0 ? 0 : ~uint32_t{0} << (32 - length);
        pcSimIPv4FibRoute route{};
        pcSimIpAdjEntry entry{};
        pcSimFibNextHop hop{};
        route.mask = htonl(mask);
        route.nextHops = &hop;
        hop.adjacency = &entry;
        char expected[128];
        std::snprintf(
            expected, sizeof expected,
            "   0 000.000.000.000/%2u 000.000.000.000 000000 00:00:00:00:00:00 00000000\n", length);
        EXPECT_EQ(dumped([&route](auto* sink) { dumpSimEntry(sink, &route); }), expected);
    }
}

TEST(IPv4Dump, NextHopWithoutAdjacencyTraps) {
    pcSimIPv4FibDirectRtCreate(0, ip("10.0.0.1"), 5);
    Sink sink;
    EXPECT_TRAP(pcSimPCFamIPv4FibDump(&sink.record));
}

// --- Host routes --------------------------------------------------------------------------------

TEST(IPv4HostRoute, HasTheHostAsItsNextHop) {
    pcSimIPv4FibRoute* route = pcSimIPv4FibDirectRtCreate(3, ip("10.0.0.1"), 5);
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(route4(3, "10.0.0.1", "255.255.255.255"), route);
    EXPECT_EQ(hopsOf(route), (Hops{{"10.0.0.1", 5}}));
    const pcSimFibNextHop& hop = *route->nextHops;
    EXPECT_EQ(hop.adjacency, nullptr);
    EXPECT_EQ(hop.route, route);
    EXPECT_EQ(hop.links.next, &hop.links);
    EXPECT_EQ(hop.links.previous, &hop.links);
    pcSimIPv4FibDirectRtFree(route);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(IPv4HostRoute, ASecondOneIsRefusedAndUndone) {
    pcSimIPv4FibRoute* route = pcSimIPv4FibDirectRtCreate(3, ip("10.0.0.1"), 5);
    EXPECT_EQ(pcSimIPv4FibDirectRtCreate(3, ip("10.0.0.1"), 6), nullptr);
    EXPECT_EQ(libc().blocksInUse, 2);
    EXPECT_EQ(pcSimIPv4FibDirectRtLookup(3, ip("10.0.0.1")), route);
}

TEST(IPv4HostRoute, AndTheHalsRouteAreTheSame) {
    const pcSimIpAdjRec neighbour = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&neighbour);
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", "255.255.255.255", {kA, kB}));
    EXPECT_EQ(hopsOf(pcSimIPv4FibDirectRtLookup(0, ip("10.0.0.1"))), (Hops{kB, kA}));
    EXPECT_EQ(references(kA), 1u);
}

TEST(IPv4HostRoute, FreeOfARouteWithoutNextHops) {
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", "255.255.255.255", {}));
    pcSimIPv4FibDirectRtFree(pcSimIPv4FibDirectRtLookup(0, ip("10.0.0.1")));
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
    EXPECT_TRAP(pcSimIPv4FibDirectRtFree(nullptr));
}

// --- What is accepted and ignored, and helpers ---------------------------------------------------

TEST(IPv4Fib, IgnoredOperationsReturnZero) {
    add({kA});
    expectStubs({PCSIM_IPV4_FIB_STUBS(PCSIM_STUB_ROW)}, 7);
    EXPECT_EQ(hopsOf(theRoute()), (Hops{kA}));
}

TEST(IPv4Fib, RouteAllocGivesAZeroedNode) {
    pcSimIPv4FibRoute* route = pcSimIPv4FibRouteAlloc();
    const pcSimIPv4FibRoute empty{};
    EXPECT_EQ(std::memcmp(&route->node, &empty.node, sizeof empty.node), 0);
    EXPECT_EQ(route->vrId, 0u);
    EXPECT_EQ(route->prefix, 0u);
    EXPECT_EQ(route->mask, 0u);
    EXPECT_EQ(route->nextHops, nullptr);
    free(route);
    libc().failNext();
    EXPECT_EQ(pcSimIPv4FibRouteAlloc(), nullptr);
}

}  // namespace
}  // namespace pcsim::test
