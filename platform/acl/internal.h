// What the files of the access lists share. Nothing outside this folder includes it.
#ifndef PCSIM_ACL_INTERNAL_H
#define PCSIM_ACL_INTERNAL_H

#include <cstddef>

#include "platform/acl/pcSimIPv4Acl.h"
#include "platform/base/assertion.h"
#include "platform/base/order.h"

// Stops the process unless 'condition' holds.
#define ACL_ASSERT(condition) PCSIM_ASSERT_NAMED("pcSimIPv4Acl.c", condition, #condition)

// aclTree and aclInstanceTree, which the library itself knows by these names alone.
extern "C" {
extern PCSIM_HIDDEN HalTreeRoot ownAclTree;
extern PCSIM_HIDDEN HalTreeRoot ownAclInstanceTree;
}

namespace pcsim {

// A list name as it is stored and looked for: cut at 31 characters, zero-filled.
struct AclName {
    char text[HAL_ACL_NAME_SIZE];
    explicit AclName(const char* requestName) noexcept;
};

// Whether a request is about the HAL's own dynamic rules, which are never stored.
bool isDynamic(const char* requestName) noexcept;
// The same without regard to letter case, as a counter read compares.
bool isDynamicAnyCase(const char* requestName) noexcept;

// Null when there is none.
AclList* findList(const char* requestName) noexcept;
AclInstance* findInstance(uint32_t vlan, uint32_t port, uint8_t key) noexcept;

// The size of a list's counter blocks in bytes.
inline size_t counterBytes(const AclList* list) noexcept {
    return size_t{list->counterCount} * kAclCounterSize;
}

// Prints the rules of an array under 'heading' and a line with their count under 'total'.
void printRules(const char* heading, const char* total, const HalAclRule* rules,
                uint16_t ruleCount) noexcept;

// VLAN, then port, then key: the order of the instance tree and of the members of a list.
inline int32_t compareInstances(const AclInstance* a, const AclInstance* b) noexcept {
    if (const int32_t byVlan = order(a->vlan, b->vlan); byVlan != 0) return byVlan;
    if (const int32_t byPort = order(a->port, b->port); byPort != 0) return byPort;
    return order(a->key, b->key);
}

// The instance whose link of 'slot' this is.
inline AclInstance* instanceOf(ListLink* link, uint32_t slot) noexcept {
    const size_t offset = offsetof(AclInstance, links) + slot * sizeof(ListLink);
    return reinterpret_cast<AclInstance*>(reinterpret_cast<char*>(link) - offset);
}

// A list that is deleted while it is bound has no rules any more. Its rule pointer says so.
void markDeleted(AclList* list) noexcept;
bool isDeleted(const AclList* list) noexcept;

// Frees a list that is in no tree.
void freeList(AclList* list) noexcept;

}  // namespace pcsim

#endif
