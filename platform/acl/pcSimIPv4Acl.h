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
#include "platform/base/list.h"
#include "platform/base/stub.h"

namespace pcsim {

constexpr uint32_t kAclSlots = 2;
constexpr uint32_t kAclCounterSize = 16;

struct AclList {
    HalTreeNode tree;
    char name[HAL_ACL_NAME_SIZE];
    uint32_t value;  // the HAL's
    uint16_t ruleCount;
    uint16_t counterCount;
    HalAclRule* rules;
    uint32_t boundCount;
    ListLink members[kAclSlots];   // of AclInstance, in the order of the instance tree
    HalTreeRoot index[kAclSlots];  // of AclIndexNode: the same members
    bool deleted;                  // out of aclTree; goes with its last binding
};

struct AclInstance;

// Where an instance stands in the index of the list that it is bound to.
struct AclIndexNode {
    HalTreeNode tree;
    AclInstance* instance;
};

struct AclInstance {
    HalTreeNode tree;
    ListLink links[kAclSlots];  // in lists[slot]->members[slot]
    AclList* lists[kAclSlots];  // null: the slot is not bound
    uint32_t vlan;
    uint32_t port;
    uint8_t key;
    uint8_t* counters[kAclSlots];  // null when the list has no counters
    AclIndexNode indexNodes[kAclSlots];
};

}  // namespace pcsim

extern "C" {

// Lists; include/pcsim/acl.h has the contracts.
PCSIM_EXPORT int32_t pcSimIPv4AclAdd(const HalAclListRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimIPv4AclDel(const HalAclDeleteRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimIPv4AclRefreshDiff(const HalAclListRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimIPv4AclRefresh(const HalAclListRequest* request) noexcept;

// Bindings.
PCSIM_EXPORT int32_t pcSimIPv4AclConfig(const HalAclBindRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimIPv4AclUnconfig(const HalAclBindRequest* request) noexcept;

// Binds 'instance' to 'list' in 'slot' with zeroed counters: the slot leaves the list it was bound
// to; bound to this one already, it only gets fresh counters. 0; -1 when the slot is neither 0 nor
// 1, memory runs out, or the host's tree refuses the member, and then it is not bound to 'list'.
PCSIM_EXPORT int32_t aclAttachInstance(pcsim::AclList* list, uint32_t slot,
                                       pcsim::AclInstance* instance) noexcept;

// Reverses it; the instance itself stays. Nothing happens when the slot is not bound to 'list'. A
// deleted list goes with its last binding. 0.
PCSIM_EXPORT int32_t aclUnAttachInstance(pcsim::AclList* list, uint32_t slot,
                                         pcsim::AclInstance* instance) noexcept;

// Counters.
PCSIM_EXPORT int32_t pcSimIPv4AclGetCounter(HalAclCounterRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimIPv4AclClearCounter(const HalAclCounterRequest* request) noexcept;

// Accepted and ignored; 0.
#define PCSIM_ACL_STUBS(STUB)       \
    STUB(pcSimIPv4AclModify)        \
    STUB(pcSimCardIPv4AclSyncBegin) \
    STUB(pcSimCardIPv4AclSyncEnd)
PCSIM_ACL_STUBS(PCSIM_DECLARE_STUB)

// State, for debuggers.
extern PCSIM_EXPORT HalTreeRoot aclTree;
extern PCSIM_EXPORT HalTreeRoot aclInstanceTree;
}

#endif
