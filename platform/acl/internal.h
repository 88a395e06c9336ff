// What the files of the access lists share. Nothing outside this folder includes it.
#ifndef PCSIM_ACL_INTERNAL_H
#define PCSIM_ACL_INTERNAL_H

#include <cstddef>

#include "platform/acl/pcSimIPv4Acl.h"
#include "platform/base/assertion.h"

// Stops the process unless 'condition' holds.
#define ACL_ASSERT(condition) PCSIM_ASSERT_NAMED("pcSimIPv4Acl.c", condition, #condition)

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

// The instance whose link of 'slot' this is.
inline AclInstance* instanceOf(ListLink* link, uint32_t slot) noexcept {
    const size_t offset = offsetof(AclInstance, links) + slot * sizeof(ListLink);
    return reinterpret_cast<AclInstance*>(reinterpret_cast<char*>(link) - offset);
}

}  // namespace pcsim

#endif
