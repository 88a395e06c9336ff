// A tree that refuses a node: the operation undoes what it has made and says so.
#include <gtest/gtest.h>

#include "tests/platform/l3/support.h"
#include "tests/support/tree.h"

namespace {

using namespace pcsim::test;
using testing::KilledBySignal;

std::string state() {
    return dumped(pcSimPCFamIPv4FibDump) + dumped(pcSimPCFamIPv6FibDump) + dumped(pcSimIpAdjDump);
}

// Runs 'operation' with its n-th insert refused; it must leave everything as it was.
template <typename Operation>
auto refusing(uint32_t n, Operation operation) {
    const std::string before = state();
    const int32_t blocks = libc().blocksInUse;
    tree().refuseInsert = n;
    const auto result = operation();
    EXPECT_EQ(tree().refuseInsert, 0u) << "the insert was reached";
    EXPECT_EQ(state(), before);
    EXPECT_EQ(libc().blocksInUse, blocks);
    return result;
}

const Hop kA{"10.0.0.1", 5};

TEST(Refusal, IPv4RouteIsUndone) {
    const Request4 request(0, "10.1.0.0", "255.255.0.0", {kA});
    EXPECT_EQ(refusing(2, [&] { return pcSimPCFamIPv4FibAddEntry(request); }), -1);
    EXPECT_EQ(refusing(2, [&] { return pcSimPCFamIPv4FibReplaceEntry(request); }), -1);
    const Request4 empty(0, "10.1.0.0", "255.255.0.0", {});
    EXPECT_EQ(refusing(1, [&] { return pcSimPCFamIPv4FibAddEntry(empty); }), -1);
    EXPECT_EQ(refusing(1, [&] { return pcSimPCFamIPv4FibReplaceEntry(empty); }), -1);
    EXPECT_EQ(refusing(1, [] { return pcSimIPv4FibDirectRtCreate(0, ip("10.0.0.1"), 5); }),
              nullptr);
    EXPECT_EQ(pcSimPCFamIPv4FibAddEntry(request), 0);
}

TEST(Refusal, IPv6RouteIsUndone) {
    const Request6 request(0, "fd00::", 16, {{"fe80::1", 5}});
    EXPECT_EQ(refusing(1, [&] { return pcSimPCFamIPv6FibAddEntry(request); }), -1);
    EXPECT_EQ(refusing(1, [&] { return pcSimPCFamIPv6FibReplaceEntry(request); }), -1);
    EXPECT_EQ(refusing(1, [] { return pcSimIPv6FibDirectRtCreate(0, 1, 2, 3, 4, 5); }), nullptr);
    EXPECT_EQ(pcSimPCFamIPv6FibAddEntry(request), 0);
}

TEST(Refusal, AdjacencyIsUndoneAndTraced) {
    host().trace.open();
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    EXPECT_EQ(refusing(1, [&] { return pcSimIpAdjAdd(&added); }), -1);
    ASSERT_EQ(host().incidents.size(), 1u);
    EXPECT_EQ(host().incidents[0].line, 220);
    EXPECT_EQ(refusing(1, [] { return pcSimIpAdjLookup(0, ip("10.0.0.1"), 5, 1); }), nullptr);
}

TEST(Refusal, AdjacencyWhoseHostRouteIsRefusedStays) {
    host().trace.open();
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    tree().refuseInsert = 2;
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    ASSERT_EQ(host().incidents.size(), 1u);
    EXPECT_EQ(host().incidents[0].line, 234);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 0u);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 1);
}

TEST(Refusal, NextHopWithoutAdjacencyTraps) {
    tree().refuseInsert = 1;
    EXPECT_EXIT(pcSimPCFamIPv4FibAddEntry(Request4(0, "10.1.0.0", "255.255.0.0", {kA})),
                KilledBySignal(SIGILL), "");
}

// A host's tree may answer whatever it likes when it has linked a node, but -1.
TEST(Refusal, OnlyMinusOneIsOne) {
    for (const int32_t success : {1, 77, -2}) {
        tree().success = success;
        const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
        EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
        EXPECT_EQ(pcSimPCFamIPv4FibAddEntry(Request4(0, "10.1.0.0", "255.255.0.0", {kA})), 0);
        EXPECT_EQ(pcSimPCFamIPv6FibAddEntry(Request6(0, "fd00::", 16, {{"fe80::1", 5}})), 0);
        EXPECT_NE(pcSimIPv4FibFind(0, ip("10.1.0.0"), ip("255.255.0.0")), nullptr);
        EXPECT_EQ(pcSimPCFamIPv4FibDeleteEntry(Request4(0, "10.1.0.0", "255.255.0.0", {})), 0u);
        EXPECT_EQ(pcSimPCFamIPv6FibDeleteEntry(Request6(0, "fd00::", 16, {})), 0u);
        pcSimIpAdjRemove(&added);
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

}  // namespace
