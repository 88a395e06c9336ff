// Dynamic access lists: named rule arrays and their bindings to (VLAN, port, key) instances.
//
//    aclTree (by name)                   aclInstanceTree (by VLAN, port, key)
//       |                                    |
//       v          lists[slot]               v
//    AclList <--------------------------- AclInstance ---> counters[slot]
//       | bindings[slot].members (list)      ^
//       +------------------------------------+
//       | bindings[slot].index (tree, to find a new member's place in that list)
//       +--> rules
//
// A list owns its rule array; an instance owns one counter block per slot that is bound, of the
// list's counter count. The members of a list stand in the order of the instance tree. The index
// is a host tree over the same members: it finds the neighbour of a new one in logarithmic time,
// however many instances the list has.
//
// An instance is freed with its last binding. A list that is deleted while it is bound leaves
// aclTree and loses its rules at once; its node is freed with its last binding.
//
// The HAL calls from one thread; there are no locks. A null pointer stops the process.
#ifndef PCSIM_ACL_PCSIMIPV4ACL_H
#define PCSIM_ACL_PCSIMIPV4ACL_H

#include "pcsim/acl.h"
#include "pcsim/host_tree.h"
#include "platform/base/export.h"
#include "platform/base/list.h"
#include "platform/base/stub.h"

namespace pcsim {

constexpr uint32_t kAclSlots = 2;
constexpr uint32_t kAclCounterSize = 16;

using AclList = HalAclList;
using AclInstance = HalAclInstance;

// Where an instance stands in the index of the list that it is bound to.
struct AclIndexNode {
    HalTreeNode tree;
    AclInstance* instance;
};

}  // namespace pcsim

struct HalAclList {
    HalTreeNode tree;
    char name[HAL_ACL_NAME_SIZE];
    uint32_t value;  // the HAL's
    uint16_t ruleCount;
    uint16_t counterCount;
    HalAclRule* rules;
    uint32_t boundCount;
    pcsim::ListLink members[pcsim::kAclSlots];  // of HalAclInstance, in the instance tree's order
    HalTreeRoot index[pcsim::kAclSlots];        // of AclIndexNode: the same members
    bool deleted;                               // out of aclTree; goes with its last binding
};

struct HalAclInstance {
    HalTreeNode tree;
    pcsim::ListLink links[pcsim::kAclSlots];  // in lists[slot]->members[slot]
    HalAclList* lists[pcsim::kAclSlots];      // null: the slot is not bound
    uint32_t vlan;
    uint32_t port;
    uint8_t key;
    uint8_t* counters[pcsim::kAclSlots];  // null when the list has no counters
    pcsim::AclIndexNode indexNodes[pcsim::kAclSlots];
};

extern "C" {
// State, for debuggers.
extern PCSIM_EXPORT HalTreeRoot aclTree;
extern PCSIM_EXPORT HalTreeRoot aclInstanceTree;
}

// Accepted and ignored; 0.
#define PCSIM_ACL_STUBS(STUB)       \
    STUB(pcSimIPv4AclModify)        \
    STUB(pcSimCardIPv4AclSyncBegin) \
    STUB(pcSimCardIPv4AclSyncEnd)

#endif
