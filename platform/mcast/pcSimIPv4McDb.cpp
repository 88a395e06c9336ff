// The database as a whole: its global state, set-up, and the way from an address to its group.
#include "platform/mcast/pcSimIPv4McDb.h"

#include <arpa/inet.h>

#include "pcsim/host.h"
#include "platform/mcast/database.h"

extern "C" {
HalTreeRoot* ownGroupTable;
PCSIM_SHOW_AS(groupTable, ownGroupTable);
HalTreeRoot ownVlanTree;
PCSIM_SHOW_AS(vlanTree, ownVlanTree);
HalTreeRoot ownPortTree;
PCSIM_SHOW_AS(portTree, ownPortTree);
uint32_t mcLogMess;
}

namespace pcsim {

namespace {

// How many virtual routers groupTable has been made for: the one bound of every index into it.
uint32_t routerCount;

// Deletes every cache of a bucket, and the groups, which only router 0's leave by themselves.
void clearBucket(HalTreeRoot* root) noexcept {
    if (*root == nullptr) return;
    while (GroupNode* groupNode = firstOf<GroupNode>(root)) {
        p2BtreeDelete(&groupNode->tree, root);
        retire(&groupNode->tree);
        while (CacheNode* cache = firstOf<CacheNode>(&groupNode->caches)) deleteCache(cache);
    }
}

// Frees the ports that an add has left without users when it failed half way.
void clearPorts() noexcept {
    if (ownPortTree == nullptr) return;
    while (PortNode* port = firstOf<PortNode>(&ownPortTree)) {
        while (VpifNode* vpif = firstOf<VpifNode>(&port->vpifs)) freeVpifNode(vpif);
        freePortNode(port);
    }
}

// Asks the host nothing about trees that are empty, as all are at start-up: a host that programs no
// tables needs no tree.
void clearDatabase() noexcept {
    for (uint32_t router = 0; router < routerCount; ++router)
        for (uint32_t bucket = 0; bucket < kBucketsPerRouter; ++bucket)
            clearBucket(bucketRoot(router, bucket));
    // What is left belongs to caches that are in no tree.
    if (ownVlanTree != nullptr) pcSimHalIpv4McHwFlushAll();
    if (ownVlanTree == nullptr) clearPorts();
}

}  // namespace

uint32_t bucketOf(uint32_t group) noexcept {
    return ntohl(group) & (kBucketsPerRouter - 1);
}

HalTreeRoot* bucketRoot(uint32_t virtualRouter, uint32_t bucket) noexcept {
    if (virtualRouter >= routerCount) return nullptr;
    return ownGroupTable + size_t{virtualRouter} * kBucketsPerRouter + bucket;
}

int32_t compareGroups(const HalTreeNode* a, const HalTreeNode* b) {
    return order(ntohl(nodeOf<GroupNode>(a)->group), ntohl(nodeOf<GroupNode>(b)->group));
}

int32_t compareCaches(const HalTreeNode* a, const HalTreeNode* b) {
    const auto* left = nodeOf<CacheNode>(a);
    const auto* right = nodeOf<CacheNode>(b);
    const int32_t bySource = order(left->source, right->source);
    return bySource != 0 ? bySource : order(left->incomingVlan, right->incomingVlan);
}

GroupNode* findGroup(uint32_t virtualRouter, uint32_t group) noexcept {
    HalTreeRoot* const root = bucketRoot(virtualRouter, bucketOf(group));
    if (root == nullptr) return nullptr;
    GroupNode wanted{};
    wanted.group = group;
    return nodeOf<GroupNode>(findNode(&wanted.tree, *root, compareGroups));
}

namespace {

int32_t compareSourcesInHostOrder(const HalTreeNode* a, const HalTreeNode* b) {
    return order(ntohl(nodeOf<CacheNode>(a)->source), ntohl(nodeOf<CacheNode>(b)->source));
}

}  // namespace

CacheNode* findCache(GroupNode* groupNode, uint32_t source, uint32_t incomingVlan) noexcept {
    CacheNode wanted{};
    wanted.source = source;
    wanted.incomingVlan = incomingVlan;
    // By source alone the addresses are compared in host order, although the tree stands in raw
    // order: the search may turn the wrong way and miss a cache. The HAL lives with that, and names
    // the incoming VLAN when it has to be sure.
    HalTreeCompareFn* const compare = incomingVlan != 0 ? compareCaches : compareSourcesInHostOrder;
    return nodeOf<CacheNode>(findNode(&wanted.tree, groupNode->caches, compare));
}

}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimHalIPv4McDbInit() noexcept {
    const uint32_t routers = dmGetMaxVr();
    constexpr size_t kRouterSize = kBucketsPerRouter * sizeof(HalTreeRoot);
    if (routers > SIZE_MAX / kRouterSize) return 0;
    auto* const table = static_cast<HalTreeRoot*>(std::calloc(routers, kRouterSize));
    if (table == nullptr) return 0;
    clearDatabase();
    std::free(ownGroupTable);
    ownGroupTable = table;
    routerCount = routers;
    return 1;
}
}
