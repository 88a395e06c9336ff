// Find a node, else make it; what ports are made of is freed here, too, as it is remembered. A node
// that its tree refuses is freed again; what was made before it stays for the next one who asks.
#include "platform/mcast/database.h"
#include "platform/mcast/remembered.h"

namespace pcsim {

namespace {

Remembered<PortNode, 512> rememberedPorts;
Remembered<VpifNode, 4096> rememberedVpifs;

// Ports of a VLAN lie beside each other, VLANs of a port far apart.
uint32_t numberOfVpif(uint32_t portKey, uint32_t vlanInstance) noexcept {
    return portKey + vlanInstance * 0x9E3779B1u / 0x10000;
}

}  // namespace

void freePortNode(PortNode* port) noexcept {
    p2BtreeDelete(&port->tree, &ownPortTree);
    rememberedPorts.forget(port->portKey, port);
    std::free(port);
}

void freeVpifNode(VpifNode* vpif) noexcept {
    PortNode* const port = vpif->port;
    p2BtreeDelete(&vpif->tree, &port->vpifs);
    rememberedVpifs.forget(numberOfVpif(port->portKey, vpif->vlanInstance), vpif);
    std::free(vpif);
}

}  // namespace pcsim

using namespace pcsim;

namespace {

// Puts a new node into its tree, or frees it. Null when the tree refuses it.
template <typename Node>
Node* inserted(Node* node, HalTreeRoot* root, HalTreeCompareFn* compare) noexcept {
    if (p2BtreeInsert(&node->tree, root, compare) != -1) return node;
    std::free(node);
    return nullptr;
}

}  // namespace

extern "C" {

VlanNode* pcSimGetVlanNode(uint32_t vlanInstance) noexcept {
    VlanNode* ret = findBy<VlanNode, &VlanNode::vlanInstance>(ownVlanTree, vlanInstance);
    if (ret != nullptr) return ret;

    HalVlanIf* vlan = nullptr;
    getVlanIfByInstance(vlanInstance, &vlan);
    if (vlan == nullptr) return nullptr;
    ret = newNode<VlanNode>();
    MCAST_ASSERT_NAMED(ret != nullptr, "ret");
    ret->vlanInstance = vlanInstance;
    // The record that the host hands out for an instance must be that instance's.
    MCAST_ASSERT_NAMED(vlanInstance == vlan->instance, "vlanInstance == vlan->l2common.ifInstance");
    ret->vlanIf = vlan;
    listInit(&ret->users);
    return inserted(ret, &ownVlanTree, compareBy<VlanNode, &VlanNode::vlanInstance>);
}

CacheIf* pcSimGetCacheIf(CacheNode* cache, uint32_t vlanInstance) noexcept {
    MCAST_ASSERT(cache != nullptr);
    CacheIf* ret = findBy<CacheIf, &CacheIf::vlanInstance>(cache->vlans, vlanInstance);
    if (ret != nullptr) return ret;

    VlanNode* const vlan = pcSimGetVlanNode(vlanInstance);
    if (vlan == nullptr) return nullptr;
    ret = newNode<CacheIf>();
    MCAST_ASSERT_NAMED(ret != nullptr, "ret");
    ret->vlanInstance = vlanInstance;
    ret->vlan = vlan;
    ret->cache = cache;
    ret = inserted(ret, &cache->vlans, compareBy<CacheIf, &CacheIf::vlanInstance>);
    if (ret != nullptr) listInsertBefore(&ret->link, &vlan->users);
    return ret;
}

PortNode* pcSimGetPortNode(uint32_t portKey) noexcept {
    PortNode* portNode = rememberedPorts.at(portKey);
    if (portNode != nullptr && portNode->portKey == portKey) return portNode;
    portNode = findBy<PortNode, &PortNode::portKey>(ownPortTree, portKey);
    if (portNode != nullptr) {
        rememberedPorts.put(portKey, portNode);
        return portNode;
    }

    HalPif* pif = nullptr;
    getPifBySlotPort(portKey >> 16, portKey & 0xFFFF, &pif);
    if (pif == nullptr) return nullptr;
    portNode = newNode<PortNode>();
    MCAST_ASSERT_NAMED(portNode != nullptr, "portNode");
    portNode->portKey = portKey;
    portNode->pif = pif;
    return inserted(portNode, &ownPortTree, compareBy<PortNode, &PortNode::portKey>);
}

VpifNode* pcSimGetVpifNode(PortNode* portNode, uint32_t vlanInstance) noexcept {
    MCAST_ASSERT(portNode != nullptr);
    const uint32_t number = numberOfVpif(portNode->portKey, vlanInstance);
    VpifNode* ret = rememberedVpifs.at(number);
    if (ret != nullptr && ret->port == portNode && ret->vlanInstance == vlanInstance) return ret;
    ret = findBy<VpifNode, &VpifNode::vlanInstance>(portNode->vpifs, vlanInstance);
    if (ret != nullptr) {
        rememberedVpifs.put(number, ret);
        return ret;
    }

    VlanNode* const vlan = pcSimGetVlanNode(vlanInstance);
    if (vlan == nullptr) return nullptr;
    ret = newNode<VpifNode>();
    MCAST_ASSERT_NAMED(ret != nullptr, "ret");
    ret->vlanInstance = vlanInstance;
    ret->vlan = vlan;
    ret->port = portNode;
    listInit(&ret->cachePorts);
    return inserted(ret, &portNode->vpifs, compareBy<VpifNode, &VpifNode::vlanInstance>);
}

int32_t pcSimAddCachePort(CacheNode* cache, const HalMcastOutgoing* entry) noexcept {
    MCAST_ASSERT(cache != nullptr);
    MCAST_ASSERT(entry != nullptr);
    CacheIf* const cacheIf = pcSimGetCacheIf(cache, entry->vlanInstance);
    if (cacheIf == nullptr) return -1;
    cacheIf->word = entry->vlanWord;
    const uint32_t portKey = portKeyOf(*entry);
    if (findBy<CachePort, &CachePort::portKey>(cacheIf->ports, portKey) != nullptr) return 0;

    PortNode* const portNode = pcSimGetPortNode(portKey);
    if (portNode == nullptr) return -1;
    VpifNode* const vpif = pcSimGetVpifNode(portNode, entry->vlanInstance);
    if (vpif == nullptr) return -1;
    auto* ret = newNode<CachePort>();
    MCAST_ASSERT_NAMED(ret != nullptr, "ret");
    ret->portKey = portKey;
    ret = inserted(ret, &cacheIf->ports, compareBy<CachePort, &CachePort::portKey>);
    if (ret == nullptr) return -1;
    // A VLAN node may have gone and come back while this one had no ports.
    vpif->vlan = cacheIf->vlan;
    listInsertBefore(&ret->link, &vpif->cachePorts);
    ret->cacheIf = cacheIf;
    ret->vpif = vpif;
    ret->word = entry->portWord >> 12;
    asicAddPort();
    return 0;
}
}
