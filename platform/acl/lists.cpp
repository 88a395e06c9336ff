// Access lists: add, delete, refresh, difference pass.
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/acl/internal.h"
#include "platform/acl/memberIndex.h"

extern "C" {
HalTreeRoot ownAclTree;
PCSIM_SHOW_AS(aclTree, ownAclTree);
}

namespace pcsim {

namespace {

// The name and its terminating NUL.
constexpr size_t kDynamicNameSize = sizeof(HAL_ACL_DYNAMIC_RULES);

// What the rule pointer of a deleted list points at: no HAL can own it.
HalAclRule rulesOfDeleted;

const AclList* listOf(const HalTreeNode* tree) noexcept {
    return reinterpret_cast<const AclList*>(tree);
}

int32_t compareNames(const HalTreeNode* a, const HalTreeNode* b) {
    return std::strcmp(listOf(a)->name, listOf(b)->name);
}

// What a list has of its own from the request that made or refreshed it.
void takeOver(AclList* list, const HalAclListRequest* request) noexcept {
    list->value = request->value;
    list->ruleCount = request->ruleCount;
    list->counterCount = request->counterCount;
    list->rules = request->rules;
}

// Gives a binding a zeroed counter block of the list's present size. Without memory for it the
// binding goes without: a block of the former size would not hold what the list now counts.
void renewCounters(const AclList* list, AclInstance* instance, uint32_t slot,
                   bool resized) noexcept {
    uint8_t*& block = instance->counters[slot];
    const size_t size = counterBytes(list);
    if (resized || block == nullptr) {
        std::free(block);
        block = size != 0 ? static_cast<uint8_t*>(std::calloc(1, size)) : nullptr;
    } else {
        std::memset(block, 0, size);
    }
}

}  // namespace

AclName::AclName(const char* requestName) noexcept {
    std::memset(text, 0, sizeof text);
    std::memcpy(text, requestName, strnlen(requestName, sizeof text - 1));
}

bool isDynamic(const char* requestName) noexcept {
    return std::strncmp(requestName, HAL_ACL_DYNAMIC_RULES, kDynamicNameSize) == 0;
}

bool isDynamicAnyCase(const char* requestName) noexcept {
    return strncasecmp(requestName, HAL_ACL_DYNAMIC_RULES, kDynamicNameSize) == 0;
}

AclList* findList(const char* requestName) noexcept {
    const AclName name(requestName);
    AclList wanted{};
    std::memcpy(wanted.name, name.text, sizeof wanted.name);
    return reinterpret_cast<AclList*>(findNode(&wanted.tree, ownAclTree, compareNames));
}

void markDeleted(AclList* list) noexcept {
    list->rules = &rulesOfDeleted;
}

bool isDeleted(const AclList* list) noexcept {
    return list->rules == &rulesOfDeleted;
}

void freeList(AclList* list) noexcept {
    dropMemberIndex(list);
    std::free(list);
}

// Frees the rules of a request that stores nothing. A HAL that names the same array once more than
// it has given it away must not take it from the list that owns it.
void freeUnlessStored(const HalAclListRequest* request) noexcept {
    const AclList* const list = findList(request->name);
    if (list == nullptr || list->rules != request->rules) std::free(request->rules);
}

void printRules(const char* heading, const char* total, const HalAclRule* rules,
                uint16_t ruleCount) noexcept {
    // The heading has no line end of its own: the first rule follows it on the line.
    std::fputs(heading, stdout);
    const auto* at = reinterpret_cast<const char*>(rules);
    for (uint16_t i = 0; at != nullptr && i < ruleCount; ++i) {
        HalAclRule rule;  // a copy: a length that is no multiple of 4 leaves the next one unaligned
        std::memcpy(&rule, at, sizeof rule);
        const int length = rule.length >> HAL_ACL_RULE_LENGTH_SHIFT;
        if (length == 0) break;  // never ends otherwise
        std::printf("%8d %16.36s %8u %8u\n", static_cast<int>(rule.action & HAL_ACL_RULE_ACTION),
                    rule.name, rule.ruleIndex, rule.nextIndex);
        at += length;
    }
    std::printf("**%s TOTAL =  %d  **\n", total, ruleCount);
}

}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimIPv4AclAdd(const HalAclListRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    // The rules are the platform's in any case, also those that it doesn't store.
    if (isDynamic(request->name)) {
        std::free(request->rules);
        return 0;
    }
    auto* const list = static_cast<AclList*>(std::calloc(1, sizeof(AclList)));
    if (list == nullptr) {
        freeUnlessStored(request);
        return 0;
    }
    std::memcpy(list->name, AclName(request->name).text, sizeof list->name);
    takeOver(list, request);
    for (ListLink& head : list->members) listInit(&head);
    if (p2BtreeInsert(&list->tree, &ownAclTree, compareNames) == -1) {
        std::free(list);
        freeUnlessStored(request);
    }
    return 0;
}

int32_t pcSimIPv4AclDel(const HalAclDeleteRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    if ((request->flags & HAL_ACL_DELETE_DYNAMIC) != 0) {
        std::printf("Delete Dynamic Rule:  index %d\n", static_cast<int32_t>(request->index));
        return 0;
    }
    AclList* const list = findList(request->name);
    if (list == nullptr) return 0;
    p2BtreeDelete(&list->tree, &ownAclTree);
    std::free(list->rules);
    // Instances stay bound, as the HAL expects: it unbinds them one by one. The node waits for the
    // last of them.
    if (list->boundCount != 0)
        markDeleted(list);
    else
        freeList(list);
    return 0;
}

int32_t pcSimIPv4AclRefreshDiff(const HalAclListRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    printRules("\nHAL diffAction name  ruleIndex nextIndex", "HAL diffAction", request->rules,
               request->ruleCount);
    freeUnlessStored(request);
    return 0;
}
int32_t pcSimIPv4AclRefresh(const HalAclListRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    AclList* const list = findList(request->name);
    if (list == nullptr) return 0;
    const uint16_t formerCount = list->counterCount;
    if (list->rules != request->rules) std::free(list->rules);
    takeOver(list, request);
    printRules("HAL refresh name  ruleIndex nextIndex", "HAL refresh", list->rules,
               list->ruleCount);
    if (formerCount == 0 && list->counterCount == 0) return 0;
    for (uint32_t slot = 0; slot < kAclSlots; ++slot) {
        ListLink* const head = &list->members[slot];
        for (ListLink* link = head->next; link != head; link = link->next)
            renewCounters(list, instanceOf(link, slot), slot, formerCount != list->counterCount);
    }
    return 0;
}
}
