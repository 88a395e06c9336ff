// The members of access lists and the indexes over long ones.
#include "platform/acl/memberIndex.h"

#include <bit>
#include <cstdlib>

#include "platform/acl/internal.h"

namespace pcsim {

namespace {

// Each level has a quarter of the entries of the one below.
constexpr uint32_t kLevels = 8;
constexpr uint32_t kBitsPerLevel = 2;

struct Entry {
    uint64_t place;  // its key, here to be near: VLAN and port,
    uint8_t key;     // and key
    AclInstance* instance;
    Entry* next[];  // one per level
};

struct Index {
    Index* next;  // in its bucket
    const AclList* list;
    Entry* heads[kAclSlots][kLevels];
};

// The indexes, by the address of their list.
constexpr uint32_t kBuckets = 256;
Index* buckets[kBuckets];

// Spreads the bits of an address, which the allocator hands out in steps.
uint32_t hashOf(const void* address) noexcept {
    auto hash = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
    hash = (hash ^ hash >> 16) * 0x85EBCA6Bu;
    hash = (hash ^ hash >> 13) * 0xC2B2AE35u;
    return hash ^ hash >> 16;
}

// On how many levels a member has an entry. The address decides, so that a member without one is
// unlinked without a search.
uint32_t heightOf(const AclInstance* instance) noexcept {
    const auto height = static_cast<uint32_t>(std::countr_zero(hashOf(instance))) / kBitsPerLevel;
    return height < kLevels ? height : kLevels;
}

// The link to the list's index, or the last link of its bucket.
Index** linkToIndex(const AclList* list) noexcept {
    Index** link = &buckets[hashOf(list) % kBuckets];
    while (*link != nullptr && (*link)->list != list) link = &(*link)->next;
    return link;
}

// The list's index, made when a stored list has become long; null without one. Lists of the HAL's
// own making get none: it may let go of them, members and all, without a word.
Index* indexFor(const AclList* list) noexcept {
    Index** const link = linkToIndex(list);
    if (*link != nullptr || list->boundCount < kWalkedBindings || findList(list->name) != list)
        return *link;
    auto* const index = static_cast<Index*>(std::calloc(1, sizeof(Index)));
    if (index == nullptr) return nullptr;
    index->list = list;
    *link = index;
    return index;
}

constexpr uint64_t placeOf(const AclInstance* instance) noexcept {
    return uint64_t{instance->vlan} << 32 | instance->port;
}

// The order of the entries. Addresses tell members of the same key apart.
bool precedes(const Entry* entry, uint64_t place, const AclInstance* instance) noexcept {
    if (entry->place != place) return entry->place < place;
    if (entry->key != instance->key) return entry->key < instance->key;
    return reinterpret_cast<uintptr_t>(entry->instance) < reinterpret_cast<uintptr_t>(instance);
}

// Fills 'before' with the link of each level behind which an entry of 'instance' stands or would
// stand.
void search(Index* index, uint32_t slot, const AclInstance* instance,
            Entry** (&before)[kLevels]) noexcept {
    const uint64_t place = placeOf(instance);
    Entry** links = index->heads[slot];
    for (uint32_t level = kLevels; level-- > 0;) {
        while (links[level] != nullptr && precedes(links[level], place, instance))
            links = links[level]->next;
        before[level] = &links[level];
    }
}

void addEntry(Entry** (&before)[kLevels], AclInstance* instance) noexcept {
    const uint32_t height = heightOf(instance);
    if (height == 0) return;
    auto* const entry = static_cast<Entry*>(std::malloc(sizeof(Entry) + height * sizeof(void*)));
    if (entry == nullptr) return;
    entry->instance = instance;
    entry->place = placeOf(instance);
    entry->key = instance->key;
    for (uint32_t level = 0; level < height; ++level) {
        entry->next[level] = *before[level];
        *before[level] = entry;
    }
}

// Whether 'instance' belongs behind everything before 'place'.
bool belongsBefore(const ListLink* place, const AclList* list, uint32_t slot,
                   const AclInstance* instance) noexcept {
    ListLink* const previous = place->previous;
    return previous == &list->members[slot] ||
           compareInstances(instanceOf(previous, slot), instance) <= 0;
}

// A member that orders after 'instance', as near as the index knows one, or the head of the list.
ListLink* nearPlace(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    ListLink* const head = &list->members[slot];
    Index* const index = indexFor(list);
    if (index == nullptr) return head;
    if (heightOf(instance) == 0 && belongsBefore(head, list, slot, instance)) return head;
    Entry** before[kLevels];
    search(index, slot, instance, before);
    const Entry* after = *before[0];
    while (after != nullptr && after->place == placeOf(instance) && after->key == instance->key)
        after = after->next[0];
    addEntry(before, instance);
    return after != nullptr ? &after->instance->links[slot] : head;
}

}  // namespace

void linkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    ListLink* place = nearPlace(list, slot, instance);
    while (!belongsBefore(place, list, slot, instance)) place = place->previous;
    listInsertBefore(&instance->links[slot], place);
}

void forgetMember(const AclList* list, uint32_t slot, const AclInstance* instance) noexcept {
    const uint32_t height = heightOf(instance);
    if (height == 0) return;
    Index* const index = *linkToIndex(list);
    if (index == nullptr) return;
    Entry** before[kLevels];
    search(index, slot, instance, before);
    Entry* const entry = *before[0];
    if (entry == nullptr || entry->instance != instance) return;
    for (uint32_t level = 0; level < height; ++level) *before[level] = entry->next[level];
    std::free(entry);
}

void unlinkMember(AclList* list, uint32_t slot, AclInstance* instance) noexcept {
    forgetMember(list, slot, instance);
    listUnlink(&instance->links[slot]);
}

void dropMemberIndex(const AclList* list) noexcept {
    Index** const link = linkToIndex(list);
    Index* const index = *link;
    if (index == nullptr) return;
    for (Entry** const heads : index->heads) {
        for (Entry *entry = heads[0], *next; entry != nullptr; entry = next) {
            next = entry->next[0];
            std::free(entry);
        }
    }
    *link = index->next;
    std::free(index);
}

}  // namespace pcsim
