// Dynamic access lists: named rule arrays and their bindings to (VLAN, port, key) instances.
//
//    aclTree (by name)                   aclInstanceTree (by VLAN, port, key)
//       |                                    |
//       v          lists[slot]               v
//    AclList <--------------------------- AclInstance ---> counters[slot]
//       | members[slot] (list)               ^
//       +------------------------------------+
//       +--> rules
//
// A list owns its rule array; an instance owns one counter block per slot that is bound, of the
// list's counter count. The members of a list stand in the order of the instance tree; how the
// place of a new one is found without a walk over all of them is memberIndex.h's business alone.
// The nodes have no more than the fields that the HAL's tools know, so that those may bind nodes of
// their own making.
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
};

struct HalAclInstance {
    HalTreeNode tree;
    pcsim::ListLink links[pcsim::kAclSlots];  // in lists[slot]->members[slot]
    HalAclList* lists[pcsim::kAclSlots];      // null: the slot is not bound
    uint32_t vlan;
    uint32_t port;
    uint8_t key;
    uint8_t* counters[pcsim::kAclSlots];  // null when the list has no counters
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
