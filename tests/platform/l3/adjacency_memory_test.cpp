// Routes find the adjacencies that were used last without the host's tree. Whatever happens in
// between, each next hop has the adjacency that the tree has under its key.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/platform/l3/one_route.h"
#include "tests/support/tree.h"

namespace pcsim::test {
namespace {

const pcSimIpAdjEntry* attached() {
    return theRoute()->nextHops->adjacency;
}

const pcSimIpAdjEntry* inTree(const Hop& hop, uint32_t vrId = 0) {
    return adjacency(vrId, hop.gateway.c_str(), hop.vlan);
}

// The one next hop, of an adjacency that is in the tree and has no other reference.
void expectFresh(const Hop& hop) {
    ASSERT_EQ(add({hop}), 0);
    EXPECT_EQ(attached(), inTree(hop));
    EXPECT_EQ(references(hop), 1u);
    EXPECT_EQ(attached()->nextHops.next, &theRoute()->nextHops->links);
    EXPECT_EQ(libc().blocksInUse, 3) << "a route, a next hop, a placeholder";
}

TEST(AdjacencyMemory, ForgetsWhatGoesWithItsLastReference) {
    for (int32_t round = 0; round < 3; ++round) {
        expectFresh(kA);
        remove({});
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

TEST(AdjacencyMemory, ForgetsWhatIsFreedByName) {
    for (int32_t round = 0; round < 3; ++round) {
        _pcSimIpAdjFree(pcSimIpAdjLookup(0, ip(kA.gateway.c_str()), kA.vlan, 1));
        expectFresh(kA);
        remove({});
    }
}

TEST(AdjacencyMemory, ForgetsWhatIsRemoved) {
    const pcSimIpAdjRec neighbour = record(0, kA.gateway.c_str(), kA.vlan);
    for (int32_t round = 0; round < 3; ++round) {
        pcSimIpAdjAdd(&neighbour);
        add({kA});
        remove({});
        pcSimIpAdjRemove(&neighbour);
        EXPECT_EQ(libc().blocksInUse, 0);
        expectFresh(kA);
        remove({});
    }
}

TEST(AdjacencyMemory, ForgetsWhatAFailedRequestTakesBack) {
    for (const uint32_t refused : {1u, 2u, 3u}) {
        expectFresh(kC);
        tree().refuseInsert = refused;
        if (refused < 3)
            EXPECT_TRAP(pcSimPCFamIPv4FibAddEntry(Request4(0, "10.2.0.0", kMask, {kA, kB})));
        else
            EXPECT_EQ(pcSimPCFamIPv4FibAddEntry(Request4(0, "10.2.0.0", kMask, {kA, kB})), -1);
        tree().refuseInsert = 0;
        remove({});
        expectFresh(kA);
        remove({});
        expectFresh(kB);
        remove({});
    }
}

TEST(AdjacencyMemory, ForgetsAPlaceholderThatTheTreeRefuses) {
    tree().refuseInsert = 1;
    EXPECT_EQ(pcSimIpAdjLookup(0, ip(kA.gateway.c_str()), kA.vlan, 1), nullptr);
    expectFresh(kA);
}

struct Neighbour {
    uint32_t vrId, address, vlan;
};

// A route of its own via that neighbour, which has to be the one under its key.
void expectRouteVia(const Neighbour& neighbour, uint32_t number) {
    const uint32_t mask = ip("255.255.255.0");
    const uint32_t words[8] = {neighbour.vrId,    htonl(number << 8), mask, 1, 0,
                               neighbour.address, neighbour.vlan,     0};
    ASSERT_EQ(pcSimPCFamIPv4FibReplaceEntry(reinterpret_cast<const pcSimIPv4FibReq*>(words)), 0);
    EXPECT_EQ(pcSimIPv4FibFind(words[0], words[1], mask)->nextHops->adjacency,
              pcSimIpAdjLookup(neighbour.vrId, neighbour.address, neighbour.vlan, 0));
}

// Far more than it can hold, so each takes another's place; each part of the key tells by itself.
TEST(AdjacencyMemory, TellsAllKeysApart) {
    std::vector<Neighbour> neighbours;
    for (uint32_t i = 1; i <= 4000; ++i) {
        neighbours.push_back({i, ip("10.0.0.1"), 5});
        neighbours.push_back({7, htonl(0x0A000100 + i), 5});
        neighbours.push_back({7, ip("10.0.0.1"), i});
    }
    for (int32_t round = 0; round < 2; ++round) {
        for (uint32_t i = 0; i < neighbours.size(); ++i) expectRouteVia(neighbours[i], i);
        std::rotate(neighbours.begin(), neighbours.begin() + 21, neighbours.end());
    }
}

// A look-up is a look-up in the tree, for whoever asks for one.
TEST(AdjacencyMemory, LookupsAskTheTree) {
    add({kA});
    tree().lookups = 0;
    EXPECT_NE(inTree(kA), nullptr);
    EXPECT_EQ(tree().lookups, 1u);
    EXPECT_EQ(inTree(kB), nullptr);
    EXPECT_EQ(tree().lookups, 2u);
    EXPECT_EQ(inTree(kA, 1), nullptr);
    EXPECT_EQ(tree().lookups, 3u);
}

// One for the route, and at most one for each next hop that it lacks.
TEST(AdjacencyMemory, RoutesAskTheTreeNoMoreThanTheyNeed) {
    add({kA});
    for (const Hops& hops : {Hops{kA}, Hops{kA, kB}, Hops{kB, kC}}) {
        tree().lookups = 0;
        add(hops);
        EXPECT_GE(tree().lookups, 1u);
        EXPECT_LE(tree().lookups, hops.size());
    }
}

}  // namespace
}  // namespace pcsim::test
