// Caches: add, delete, find, flush, counters.
#include "platform/mcast/database.h"

namespace pcsim {

namespace {

// The group of a request, made when there is none; null when its router has no buckets or the tree
// refuses it.
GroupNode* getGroup(const HalMcastKey& key) noexcept {
    HalTreeRoot* const root = bucketRoot(key.vr, bucketOf(key.group));
    if (root == nullptr) return nullptr;
    GroupNode* grpNode = findGroup(key.vr, key.group);
    if (grpNode != nullptr) return grpNode;
    grpNode = newNode<GroupNode>();
    MCAST_ASSERT_NAMED(grpNode != nullptr, "grpNode");
    grpNode->group = key.group;
    if (p2BtreeInsert(&grpNode->tree, root, compareGroups) != -1) return grpNode;
    std::free(grpNode);
    return nullptr;
}

// A cache that its group's tree has refused. Nothing is rolled back: its incoming interface stays
// on the VLAN's list, and goes with that VLAN. Without one nothing leads to the cache any more.
void abandon(CacheNode* cache) noexcept {
    cache->groupNode = nullptr;
    if (cache->vlans != nullptr)
        retire(&cache->tree);
    else
        std::free(cache);
}

// A fresh cache in 'groupNode'; null when there is an equal one.
CacheNode* createCache(GroupNode* groupNode, const HalMcastKey& key) noexcept {
    auto* const cacheNode = newNode<CacheNode>();
    MCAST_ASSERT_NAMED(cacheNode != nullptr, "cacheNode");
    cacheNode->groupNode = groupNode;
    cacheNode->source = key.source;
    cacheNode->group = key.group;
    cacheNode->incomingVlan = key.incomingVlan;
    ptagInit();
    // A VLAN that the host has no record of leaves the cache without an incoming interface.
    static_cast<void>(pcSimGetCacheIf(cacheNode, key.incomingVlan));
    if (p2BtreeInsert(&cacheNode->tree, &groupNode->caches, compareCaches) != -1) return cacheNode;
    abandon(cacheNode);
    return nullptr;
}

// Deletes the caches of a group that arrive on 'incomingVlan'.
void flushGroup(GroupNode* groupNode, uint32_t incomingVlan) noexcept {
    for (CacheNode* cache = firstOf<CacheNode>(&groupNode->caches); cache != nullptr;) {
        CacheNode* const next = nextOf(cache);
        if (cache->incomingVlan == incomingVlan) deleteCache(cache);
        cache = next;
    }
}

// The flush by source and group alone, kept as the HAL knows it: the variable that holds the entry
// found is handed to the tree as if it were a root. So the deletion starts at the first node below
// that entry and goes on to the end of the group's tree, other sources included. The successor is
// asked for before each deletion, so the walk never touches a node that has left the tree.
void flushSource(GroupNode* groupNode, uint32_t source) noexcept {
    CacheNode* const found = findCache(groupNode, source, 0);
    if (found == nullptr) return;
    HalTreeRoot entry = &found->tree;
    for (CacheNode* cache = firstOf<CacheNode>(&entry); cache != nullptr;) {
        CacheNode* const next = nextOf(cache);
        deleteCache(cache);
        cache = next;
    }
}

void deleteIfThere(GroupNode* groupNode, const HalMcastKey& key) noexcept {
    CacheNode* const cache = findCache(groupNode, key.source, key.incomingVlan);
    if (cache != nullptr) deleteCache(cache);
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimHalIpv4McHwCacheAdd(const HalMcastRequest* request) noexcept {
    MCAST_ASSERT(request != nullptr);
    MCAST_TRACE();
    const HalMcastKey& key = request->key;
    GroupNode* const groupNode = getGroup(key);
    if (groupNode == nullptr) return -1;
    CacheNode* cache = nullptr;
    if (key.source != 0) cache = findCache(groupNode, key.source, key.incomingVlan);
    if (cache == nullptr) cache = createCache(groupNode, key);
    if (cache == nullptr) return -1;
    for (int32_t i = 0; i < request->outgoingCount; ++i)
        if (pcSimAddCachePort(cache, &request->outgoing[i]) != 0) return -1;
    return 0;
}

int32_t pcSimHalIpv4McHwCacheDel(const HalMcastRequest* request) noexcept {
    MCAST_ASSERT(request != nullptr);
    MCAST_TRACE();
    const HalMcastKey& key = request->key;
    if (key.source == 0 || key.group == 0 || key.incomingVlan == 0) return -1;
    GroupNode* const groupNode = findGroup(key.vr, key.group);
    if (groupNode != nullptr) deleteIfThere(groupNode, key);
    return 0;
}

int32_t pcSimHalIpv4McHwCacheFind(const HalMcastKey* key, CacheNode** cache) noexcept {
    MCAST_ASSERT(key != nullptr);
    MCAST_ASSERT(cache != nullptr);
    *cache = nullptr;
    GroupNode* const groupNode = findGroup(key->vr, key->group);
    if (groupNode == nullptr || key->source == 0) return -1;
    *cache = findCache(groupNode, key->source, key->incomingVlan);
    return *cache != nullptr ? 0 : -1;
}

int32_t pcSimHalIpv4McHwCacheFlush(const HalMcastRequest* request) noexcept {
    MCAST_ASSERT(request != nullptr);
    const HalMcastKey& key = request->key;
    const bool source = key.source != 0;
    const bool incoming = key.incomingVlan != 0;
    if (key.group == 0) {
        if (source) return -1;
        return incoming ? pcSimHalIpv4McHwVlanDel(key.incomingVlan) : pcSimHalIpv4McHwFlushAll();
    }
    GroupNode* const groupNode = findGroup(key.vr, key.group);
    if (groupNode == nullptr) return 0;
    if (source && incoming)
        deleteIfThere(groupNode, key);
    else if (source)
        flushSource(groupNode, key.source);
    else if (incoming)
        flushGroup(groupNode, key.incomingVlan);
    return 0;
}

int32_t pcSimHalIpv4McHwCacheGetStats(HalMcastStats* stats) noexcept {
    MCAST_ASSERT(stats != nullptr);
    CacheNode* cache;
    if (pcSimHalIpv4McHwCacheFind(&stats->key, &cache) != 0) return -1;
    for (int i = 0; i < 2; ++i) {
        stats->second[i] = cache->statsSecond[i];
        stats->first[i] = cache->statsFirst[i];
    }
    return 0;
}
}
