// The nodes of the multicast database: who points at whom, and who frees what.
//
//   groupTable[virtual router][bucket]        vlanTree             portTree
//        |                                       |                    |
//        v                                       v                    v
//    GroupNode <--------+                    VlanNode <--------+   PortNode <---+
//        | caches       | group              | users           |      | vpifs   | port
//        v              |                    |     ^           |      v         |
//    CacheNode ---------+   <--------+       |     | vlan      +-- VpifNode ----+
//        | vlans                     | cache |     |       vlan    | cachePorts  ^
//        v                           |       v     |               |             |
//    CacheIf ------------------------+-- (list) ---+               |             | vpif
//        | ports   ^                                               |             |
//        v         | cacheIf                                       v             |
//    CachePort ----+---------------------------------------------(list)----------+
//
// Downward arrows on the left are trees: group, cache, VLAN of the cache, port of that VLAN. The
// two lists cross them: a VLAN knows every CacheIf that uses it, and a VLAN on a port (VpifNode)
// every CachePort. So removing a VLAN or a port reaches its users without a search.
//
// What goes with what (cascade.cpp mirrors this list):
//
//    CachePort   freed by its removal; with the last one on a VpifNode goes that VpifNode,
//    VpifNode    ... with the last one of a PortNode goes that PortNode
//    CacheIf     freed with all its CachePorts; with the last user of a VlanNode goes that VlanNode
//    CacheNode   leaves its group's tree after its CacheIfs, but is NOT freed: the HAL may still
//                hold the pointer that a look-up gave it
//    GroupNode   leaves its bucket with its last cache, but is NOT freed
//
// Caches and groups that have left their tree are retired: their first link word, which is no
// longer the tree's, chains them to 'retired', so that a debugger (and a leak checker) finds them.
//
// A VlanNode or VpifNode can be without users after an add that failed half way. It is found and
// used by the next add, and the VLAN cascade removes such a VlanNode.
#ifndef PCSIM_MCAST_NODES_H
#define PCSIM_MCAST_NODES_H

#include <cstddef>

#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"
#include "pcsim/mcast.h"
#include "platform/base/list.h"
#include "platform/base/order.h"

namespace pcsim {

// The HAL knows the nodes that it is handed by their names in pcsim/mcast.h.
using CacheNode = HalMcastCacheNode;
using CacheIf = HalMcastCacheIf;
using VlanNode = HalMcastVlanNode;
using PortNode = HalMcastPortNode;
using VpifNode = HalMcastVpifNode;

// Below groupTable; ordered by group address in host byte order.
struct GroupNode {
    HalTreeNode tree;
    uint32_t group;      // network byte order
    HalTreeRoot caches;  // CacheNode by source as a raw word, then incoming VLAN
};

// One outgoing port of a cache on one VLAN.
struct CachePort {
    HalTreeNode tree;
    uint32_t portKey;  // slot << 16 | port
    CacheIf* cacheIf;
    VpifNode* vpif;
    ListLink link;  // in vpif->cachePorts
    uint32_t word;  // 'portWord' of its outgoing entry >> 12
    uint32_t reserved[2];
};

}  // namespace pcsim

struct HalMcastCacheNode {
    HalTreeNode tree;
    uint32_t source;         // network byte order; 0: any source
    uint32_t group;          // network byte order
    uint16_t virtualRouter;  // never set, so 0
    uint32_t incomingVlan;   // "Iif"
    uint32_t statsFirst[2];  // counters in two pairs, never written by the simulation
    uint32_t statsSecond[2];
    pcsim::GroupNode* groupNode;  // null: this cache is in no group's tree
    HalTreeRoot vlans;            // CacheIf by VLAN instance
};

// One VLAN of a cache. The incoming VLAN has one too, usually without ports.
struct HalMcastCacheIf {
    HalTreeNode tree;
    uint32_t vlanInstance;
    HalMcastVlanNode* vlan;
    pcsim::ListLink link;  // in vlan->users
    HalMcastCacheNode* cache;
    HalTreeRoot ports;  // CachePort by port key
    uint32_t word;      // 'vlanWord' of the last outgoing entry that touched it
};

// A VLAN in use; in vlanTree by VLAN instance.
struct HalMcastVlanNode {
    HalTreeNode tree;
    uint32_t vlanInstance;
    HalVlanIf* vlanIf;      // the host's record
    pcsim::ListLink users;  // of CacheIf, in the order of their creation
};

// A port in use; in portTree by port key.
struct HalMcastPortNode {
    HalTreeNode tree;
    uint32_t portKey;
    HalPif* pif;        // the host's record
    HalTreeRoot vpifs;  // VpifNode by VLAN instance
};

// A VLAN on a port.
struct HalMcastVpifNode {
    HalTreeNode tree;
    uint32_t vlanInstance;
    HalMcastVlanNode* vlan;  // valid while there are cache ports
    HalMcastPortNode* port;
    pcsim::ListLink cachePorts;  // of CachePort, in the order of their creation
};

namespace pcsim {

// The node that a tree header begins.
template <typename Node>
Node* nodeOf(HalTreeNode* tree) noexcept {
    static_assert(offsetof(Node, tree) == 0);
    return reinterpret_cast<Node*>(tree);
}

template <typename Node>
const Node* nodeOf(const HalTreeNode* tree) noexcept {
    static_assert(offsetof(Node, tree) == 0);
    return reinterpret_cast<const Node*>(tree);
}

// The member of a list that carries 'link'.
template <typename Member>
Member* memberOf(ListLink* link) noexcept {
    return reinterpret_cast<Member*>(reinterpret_cast<char*>(link) - offsetof(Member, link));
}

template <typename Node>
Node* firstOf(HalTreeRoot* root) noexcept {
    return nodeOf<Node>(p2BtreeFirst(root));
}

template <typename Node>
Node* nextOf(Node* node) noexcept {
    return nodeOf<Node>(p2BtreeNext(&node->tree));
}

// The compare function of a tree that is ordered by one word of its nodes.
template <typename Node, uint32_t Node::*key>
int32_t compareBy(const HalTreeNode* a, const HalTreeNode* b) {
    return order(nodeOf<Node>(a)->*key, nodeOf<Node>(b)->*key);
}

// The node whose word 'key' is 'value'.
template <typename Node, uint32_t Node::*key>
Node* findBy(HalTreeRoot root, uint32_t value) noexcept {
    Node wanted{};
    wanted.*key = value;
    return nodeOf<Node>(findNode(&wanted.tree, root, compareBy<Node, key>));
}

}  // namespace pcsim

#endif
