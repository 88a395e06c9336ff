// Bindings of access lists to instances, and their counters.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/acl/internal.h"
#include "platform/acl/memberIndex.h"

extern "C" {
HalTreeRoot ownAclInstanceTree;
PCSIM_SHOW_AS(aclInstanceTree, ownAclInstanceTree);
}

namespace pcsim {

namespace {

int32_t compareInstanceNodes(const HalTreeNode* a, const HalTreeNode* b) {
    return compareInstances(reinterpret_cast<const AclInstance*>(a),
                            reinterpret_cast<const AclInstance*>(b));
}

// The instance that a request names, made when there is none; null when it can't be.
AclInstance* getInstance(const HalAclBindRequest* request) noexcept {
    AclInstance* instance = findInstance(request->vlan, request->port, request->key);
    if (instance != nullptr) return instance;
    instance = static_cast<AclInstance*>(std::calloc(1, sizeof(AclInstance)));
    if (instance == nullptr) return nullptr;
    instance->vlan = request->vlan;
    instance->port = request->port;
    instance->key = request->key;
    if (p2BtreeInsert(&instance->tree, &ownAclInstanceTree, compareInstanceNodes) != -1)
        return instance;
    std::free(instance);
    return nullptr;
}

// An instance lives as long as one of its slots is bound.
void releaseIfUnbound(AclInstance* instance) noexcept {
    for (const AclList* list : instance->lists)
        if (list != nullptr) return;
    p2BtreeDelete(&instance->tree, &ownAclInstanceTree);
    std::free(instance);
}

// Set by the platform's own unattach. A host that has defined that operation itself knows nothing
// of the entry that the member may have in the list's index.
bool entryForgotten;

// Unbinds a slot.
void release(AclInstance* instance, uint32_t slot) noexcept {
    AclList* const list = instance->lists[slot];
    if (list == nullptr) return;
    entryForgotten = false;
    aclUnAttachInstance(list, slot, instance);
    if (!entryForgotten) forgetMember(list, slot, instance);
}

void printDynamic(const char* action, const HalAclBindRequest* request) noexcept {
    std::printf("%s Dynamic Rule on vlan %d port %08X: index %d\n", action,
                static_cast<int32_t>(request->vlan), request->port,
                static_cast<int32_t>(request->index));
}

// Zeroes counter 'number' of a block, or with number 0 the whole block.
void clearCounter(const AclList* list, uint8_t* block, uint16_t number) noexcept {
    if (number == 0)
        std::memset(block, 0, counterBytes(list));
    else if (number <= list->counterCount)
        std::memset(block + size_t{number - 1u} * kAclCounterSize, 0, kAclCounterSize);
}

}  // namespace

AclInstance* findInstance(uint32_t vlan, uint32_t port, uint8_t key) noexcept {
    AclInstance wanted{};
    wanted.vlan = vlan;
    wanted.port = port;
    wanted.key = key;
    return reinterpret_cast<AclInstance*>(
        findNode(&wanted.tree, ownAclInstanceTree, compareInstanceNodes));
}

}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimIPv4AclConfig(const HalAclBindRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    if (isDynamic(request->name)) {
        printDynamic("Config", request);
        return 0;
    }
    AclList* const list = findList(request->name);
    if (list == nullptr || request->slot >= kAclSlots) return -1;
    AclInstance* const instance = getInstance(request);
    if (instance == nullptr) return -1;
    if (aclAttachInstance(list, request->slot, instance) == 0) return 0;
    releaseIfUnbound(instance);
    return -1;
}

int32_t pcSimIPv4AclUnconfig(const HalAclBindRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    if (isDynamic(request->name)) {
        printDynamic("Unconfig", request);
        return 0;
    }
    AclInstance* const instance = findInstance(request->vlan, request->port, request->key);
    if (instance == nullptr || request->slot >= kAclSlots) return 0;
    // Whatever list it is: the name only tells a dynamic rule.
    release(instance, request->slot);
    releaseIfUnbound(instance);
    return 0;
}

int32_t aclAttachInstance(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    ACL_ASSERT(list != nullptr);
    ACL_ASSERT(instance != nullptr);
    if (slot >= kAclSlots) return -1;
    uint8_t* counters = nullptr;
    if (list->counterCount != 0) {
        counters = static_cast<uint8_t*>(std::calloc(1, counterBytes(list)));
        if (counters == nullptr) return -1;
    }
    if (instance->lists[slot] == list) {
        std::free(instance->counters[slot]);
        instance->counters[slot] = counters;
        return 0;
    }
    release(instance, slot);
    linkMember(list, slot, instance);
    instance->lists[slot] = list;
    instance->counters[slot] = counters;
    ++list->boundCount;
    return 0;
}

int32_t aclUnAttachInstance(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    ACL_ASSERT(list != nullptr);
    ACL_ASSERT(instance != nullptr);
    if (slot >= kAclSlots || instance->lists[slot] != list) return 0;
    unlinkMember(list, slot, instance);
    entryForgotten = true;
    instance->lists[slot] = nullptr;
    std::free(instance->counters[slot]);
    instance->counters[slot] = nullptr;
    if (--list->boundCount != 0) return 0;
    dropMemberIndex(list);
    if (isDeleted(list)) freeList(list);
    return 0;
}

int32_t pcSimIPv4AclGetCounter(HalAclCounterRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    // Any other list's counters stay unread: the HAL shows what it has put into the entries itself.
    if (!isDynamicAnyCase(request->name)) return 0;
    for (uint16_t i = 0; i < request->entryCount; ++i)
        std::memset(request->entries[i].value, 0, sizeof request->entries[i].value);
    return 0;
}

int32_t pcSimIPv4AclClearCounter(const HalAclCounterRequest* request) noexcept {
    ACL_ASSERT(request != nullptr);
    const AclInstance* const instance = findInstance(request->vlan, request->port, request->key);
    if (instance == nullptr || request->slot >= kAclSlots) return 0;
    const AclList* const list = instance->lists[request->slot];
    uint8_t* const block = instance->counters[request->slot];
    if (list == nullptr || block == nullptr) return 0;
    for (uint16_t i = 0; i < request->entryCount; ++i)
        clearCounter(list, block, request->entries[i].counter);
    return 0;
}

PCSIM_ACL_STUBS(PCSIM_DEFINE_STUB)
}
