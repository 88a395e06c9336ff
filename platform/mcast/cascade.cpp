// What goes with what: each function takes one kind of node out, and with it what it leaves empty.
// nodes.h draws the picture that these mirror.
#include "platform/mcast/database.h"

namespace pcsim {

namespace {

// Caches and groups that have left their trees, chained by their first link word.
HalTreeNode* retired;

void freeVlanNode(VlanNode* vlan) noexcept {
    p2BtreeDelete(&vlan->tree, &ownVlanTree);
    std::free(vlan);
}

// With the last one of a port goes the port.
void removeVpifNode(VpifNode* vpif) noexcept {
    PortNode* const port = vpif->port;
    freeVpifNode(vpif);
    if (port->vpifs == nullptr) freePortNode(port);
}

// Takes a group without caches out of its bucket. The bucket is the one of the cache's own virtual
// router field, which an add never sets, so it is router 0's. An emptied group of another router
// is not in that bucket's tree: it stays where it is and is used again by the next add.
void retireGroup(GroupNode* groupNode, uint32_t virtualRouter) noexcept {
    if (findGroup(virtualRouter, groupNode->group) != groupNode) return;
    p2BtreeDelete(&groupNode->tree, bucketRoot(virtualRouter, bucketOf(groupNode->group)));
    retire(&groupNode->tree);  // not freed, as the HAL expects
}

}  // namespace

void retire(HalTreeNode* node) noexcept {
    node->links[0] = retired;
    retired = node;
}

void deleteCachePort(CachePort* port) noexcept {
    VpifNode* const vpif = port->vpif;
    listUnlink(&port->link);
    asicDelPort();
    if (listEmpty(&vpif->cachePorts)) removeVpifNode(vpif);
    p2BtreeDelete(&port->tree, &port->cacheIf->ports);
    std::free(port);
}

void deleteCacheIf(CacheIf* cacheIf) noexcept {
    while (CachePort* port = firstOf<CachePort>(&cacheIf->ports)) deleteCachePort(port);
    listUnlink(&cacheIf->link);
    if (listEmpty(&cacheIf->vlan->users)) freeVlanNode(cacheIf->vlan);
    p2BtreeDelete(&cacheIf->tree, &cacheIf->cache->vlans);
    std::free(cacheIf);
}

void deleteCache(CacheNode* cache) noexcept {
    while (CacheIf* cacheIf = firstOf<CacheIf>(&cache->vlans)) deleteCacheIf(cacheIf);
    ptagRelease();
    GroupNode* const groupNode = cache->groupNode;
    if (groupNode == nullptr) return;  // in no tree, and retired already
    p2BtreeDelete(&cache->tree, &groupNode->caches);
    cache->groupNode = nullptr;
    retire(&cache->tree);  // not freed: the HAL may still hold what a look-up gave it
    if (groupNode->caches == nullptr) retireGroup(groupNode, cache->virtualRouter);
}

namespace {

// Takes a VLAN on a port out of every cache; the last removal frees 'vpif' itself.
void emptyVpif(VpifNode* vpif) noexcept {
    const ListLink* const end = &vpif->cachePorts;  // compared alone, once the node may have gone
    for (ListLink* link = vpif->cachePorts.next; link != end;) {
        CachePort* const port = memberOf<CachePort>(link);
        link = link->next;
        deleteCachePort(port);
    }
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimHalIpv4McHwVlanDel(uint32_t vlanInstance) noexcept {
    VlanNode* const vlan = findBy<VlanNode, &VlanNode::vlanInstance>(ownVlanTree, vlanInstance);
    if (vlan == nullptr) return 0;
    if (listEmpty(&vlan->users)) {
        freeVlanNode(vlan);
        return 0;
    }
    // A cache is on this list once at most, so the successor outlives the deletion. The last one
    // takes the VLAN node with it; its address is then compared alone.
    const ListLink* const end = &vlan->users;
    for (ListLink* link = vlan->users.next; link != end;) {
        CacheIf* const cacheIf = memberOf<CacheIf>(link);
        link = link->next;
        if (cacheIf->cache->incomingVlan == vlanInstance)
            deleteCache(cacheIf->cache);
        else
            deleteCacheIf(cacheIf);
    }
    return 0;
}

int32_t pcSimHalIpv4McHwVpifDel(uint32_t vlanInstance, uint32_t portKey) noexcept {
    PortNode* const port = findBy<PortNode, &PortNode::portKey>(ownPortTree, portKey);
    if (port == nullptr) return 0;
    VpifNode* const vpif = findBy<VpifNode, &VpifNode::vlanInstance>(port->vpifs, vlanInstance);
    if (vpif != nullptr) emptyVpif(vpif);
    return 0;
}

int32_t pcSimHalIpv4McHwPifDel(uint32_t portKey) noexcept {
    PortNode* const port = findBy<PortNode, &PortNode::portKey>(ownPortTree, portKey);
    if (port == nullptr) return 0;
    for (VpifNode* vpif = firstOf<VpifNode>(&port->vpifs); vpif != nullptr;) {
        VpifNode* const next = nextOf(vpif);
        emptyVpif(vpif);
        vpif = next;
    }
    return 0;
}

int32_t pcSimHalIpv4McHwFlushAll() noexcept {
    while (const VlanNode* vlan = firstOf<VlanNode>(&ownVlanTree))
        if (pcSimHalIpv4McHwVlanDel(vlan->vlanInstance) != 0) return -1;
    return 0;
}
}
