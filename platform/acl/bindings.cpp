// Bindings of access lists to instances, and their counters.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/acl/internal.h"
#include "platform/base/order.h"

extern "C" {
HalTreeRoot aclInstanceTree;
}

namespace pcsim {

namespace {

// VLAN, then port, then key: the order of the instance tree and of the members of a list.
int32_t compareInstances(const AclInstance* a, const AclInstance* b) noexcept {
    if (const int32_t byVlan = order(a->vlan, b->vlan); byVlan != 0) return byVlan;
    if (const int32_t byPort = order(a->port, b->port); byPort != 0) return byPort;
    return order(a->key, b->key);
}

int32_t compareInstanceNodes(const HalTreeNode* a, const HalTreeNode* b) {
    return compareInstances(reinterpret_cast<const AclInstance*>(a),
                            reinterpret_cast<const AclInstance*>(b));
}

int32_t compareIndexNodes(const HalTreeNode* a, const HalTreeNode* b) {
    return compareInstances(reinterpret_cast<const AclIndexNode*>(a)->instance,
                            reinterpret_cast<const AclIndexNode*>(b)->instance);
}

// Links the instance before the first member that orders after it, at the tail when none does. The
// index finds that member. False when the host's tree refuses the index node.
bool linkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    AclIndexNode* const node = &instance->indexNodes[slot];
    node->instance = instance;
    if (p2BtreeInsert(&node->tree, &list->index[slot], compareIndexNodes) == -1) return false;
    const HalTreeNode* const after = p2BtreeNext(&node->tree);
    ListLink* const place =
        after != nullptr ? &reinterpret_cast<const AclIndexNode*>(after)->instance->links[slot]
                         : &list->members[slot];
    listInsertBefore(&instance->links[slot], place);
    return true;
}

void unlinkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    listUnlink(&instance->links[slot]);
    p2BtreeDelete(&instance->indexNodes[slot].tree, &list->index[slot]);
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
    if (p2BtreeInsert(&instance->tree, &aclInstanceTree, compareInstanceNodes) != -1)
        return instance;
    std::free(instance);
    return nullptr;
}

// An instance lives as long as one of its slots is bound.
void releaseIfUnbound(AclInstance* instance) noexcept {
    for (const AclList* list : instance->lists)
        if (list != nullptr) return;
    p2BtreeDelete(&instance->tree, &aclInstanceTree);
    std::free(instance);
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
        findNode(&wanted.tree, aclInstanceTree, compareInstanceNodes));
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
    AclList* const list = instance->lists[request->slot];
    if (list != nullptr) aclUnAttachInstance(list, request->slot, instance);
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
    AclList* const former = instance->lists[slot];
    if (former == list) {
        std::free(instance->counters[slot]);
        instance->counters[slot] = counters;
        return 0;
    }
    if (former != nullptr) aclUnAttachInstance(former, slot, instance);
    if (!linkMember(list, slot, instance)) {
        std::free(counters);
        return -1;
    }
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
    instance->lists[slot] = nullptr;
    std::free(instance->counters[slot]);
    instance->counters[slot] = nullptr;
    --list->boundCount;
    if (list->deleted && list->boundCount == 0) std::free(list);
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
