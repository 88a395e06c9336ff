// Where a new member belongs in the ordered list of an access list's bindings.
//
// The members are walked from the tail back, which is right by itself and enough for short lists
// and for bindings that come in order. A stored list that has grown long gets an index beside it, a
// skip list over about a quarter of the members, which brings the walk close to the place. Neither
// the HAL's nodes nor its tree know of the index: a member that has no entry, as every one without
// memory for it, costs a step of the walk and nothing else.
#ifndef PCSIM_ACL_MEMBERINDEX_H
#define PCSIM_ACL_MEMBERINDEX_H

#include "platform/acl/pcSimIPv4Acl.h"

namespace pcsim {

// Bindings in both slots up to which a list does without an index.
constexpr uint32_t kWalkedBindings = 16;

// Links 'instance' into the members of 'slot' before the first that orders after it, at the tail
// when none does: members of the same key stand in the order in which they came.
void linkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept;

// Reverses it.
void unlinkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept;

// Takes the member's entry, if it has one, out of the list's index, and nothing else: the list
// itself is not looked at.
void forgetMember(const AclList* list, uint32_t slot, const AclInstance* instance) noexcept;

// Frees the index of a list, if it has one. Before the list is freed, and when it is empty.
void dropMemberIndex(const AclList* list) noexcept;

}  // namespace pcsim

#endif
