// Outgoing ports: added to one cache, removed from one, from a group's, or from all.
#include "platform/mcast/database.h"

namespace pcsim {

namespace {

// The count of entries as the removal from a cache reads it: the low 16 bits alone. A small
// negative count stays a count of none.
int32_t removalCount(int32_t outgoingCount) noexcept {
    if (outgoingCount < 0 && static_cast<int16_t>(outgoingCount) < 0) return 0;
    return outgoingCount & 0xFFFF;
}

// Removes one port of a cache's VLAN, or with a port key of 0 the whole VLAN.
void removeFrom(CacheIf* cacheIf, uint32_t portKey) noexcept {
    if (portKey == 0) {
        deleteCacheIf(cacheIf);
        return;
    }
    CachePort* const port = findBy<CachePort, &CachePort::portKey>(cacheIf->ports, portKey);
    if (port != nullptr) deleteCachePort(port);
}

// The same for every VLAN of a cache but the incoming one.
void removeFromOutgoing(CacheNode* cache, uint32_t portKey) noexcept {
    for (CacheIf* cacheIf = firstOf<CacheIf>(&cache->vlans); cacheIf != nullptr;) {
        CacheIf* const next = nextOf(cacheIf);
        if (cacheIf->vlanInstance != cache->incomingVlan) removeFrom(cacheIf, portKey);
        cacheIf = next;
    }
}

void removeEntries(CacheNode* cache, const HalMcastRequest* request) noexcept {
    const int32_t count = removalCount(request->outgoingCount);
    for (int32_t i = 0; i < count; ++i) {
        const HalMcastOutgoing& entry = request->outgoing[i];
        if (entry.vlanInstance == 0) {
            removeFromOutgoing(cache, portKeyOf(entry));
            continue;
        }
        CacheIf* const cacheIf =
            findBy<CacheIf, &CacheIf::vlanInstance>(cache->vlans, entry.vlanInstance);
        if (cacheIf != nullptr) removeFrom(cacheIf, portKeyOf(entry));
    }
}

// The removal that names no cache: ports, VLANs on ports and VLANs go from every cache.
void removeEverywhere(const HalMcastRequest* request) noexcept {
    for (int32_t i = 0; i < request->outgoingCount; ++i) {
        const HalMcastOutgoing& entry = request->outgoing[i];
        const uint32_t portKey = portKeyOf(entry);
        if (entry.vlanInstance == 0)
            pcSimHalIpv4McHwPifDel(portKey);
        else if (portKey != 0)
            pcSimHalIpv4McHwVpifDel(entry.vlanInstance, portKey);
        else
            pcSimHalIpv4McHwVlanDel(entry.vlanInstance);
    }
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimHalIpv4McHwCacheOifAdd(const HalMcastRequest* request) noexcept {
    MCAST_ASSERT(request != nullptr);
    MCAST_TRACE();
    CacheNode* cache;
    if (pcSimHalIpv4McHwCacheFind(&request->key, &cache) != 0) return -1;
    for (int32_t i = 0; i < request->outgoingCount; ++i)
        if (pcSimAddCachePort(cache, &request->outgoing[i]) != 0) return -1;
    return 0;
}

int32_t pcSimHalIpv4McHwCacheOifDel(const HalMcastRequest* request) noexcept {
    MCAST_ASSERT(request != nullptr);
    MCAST_TRACE();
    const HalMcastKey& key = request->key;
    if (key.source == 0 && key.group == 0 && key.incomingVlan == 0) {
        removeEverywhere(request);
        return 0;
    }
    if (key.source != 0) {
        CacheNode* cache;
        if (key.incomingVlan == 0) return -1;
        if (pcSimHalIpv4McHwCacheFind(&key, &cache) != 0) return -1;
        removeEntries(cache, request);
        return 0;
    }
    GroupNode* const groupNode = findGroup(key.vr, key.group);
    if (groupNode == nullptr) return 0;
    for (CacheNode* cache = firstOf<CacheNode>(&groupNode->caches); cache != nullptr;
         cache = nextOf(cache))
        if (key.incomingVlan == 0 || cache->incomingVlan == key.incomingVlan)
            removeEntries(cache, request);
    return 0;
}

int32_t pcSimHalIpv4McHwCacheOifPortAdd(const HalMcastRequest* request) noexcept {
    return pcSimHalIpv4McHwCacheOifAdd(request) != 0 ? -1 : 0;
}

int32_t pcSimHalIpv4McHwCacheOifPortDel(const HalMcastRequest* request) noexcept {
    return pcSimHalIpv4McHwCacheOifDel(request) != 0 ? -1 : 0;
}
}
