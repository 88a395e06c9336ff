// Every list and instance in its order, members, counters, blocks.
#include <cstring>
#include <set>

#include "platform/acl/internal.h"
#include "tests/fuzz/acl/model.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"

namespace pcsim::fuzz {
namespace {

void checkMembers(const AclModel& model, const List& list) {
    uint32_t bound = 0;
    for (uint32_t slot = 0; slot < kAclSlots; ++slot) {
        const ListLink* const head = &list.real->members[slot];
        const ListLink* at = head;
        for (const auto& [place, slots] : model.places) {
            if (slots[slot].list.get() != &list) continue;
            ++bound;
            ListLink* const link = at->next;
            FUZZ_CHECK(link != head && link->previous == at);
            const AclInstance& instance = *instanceOf(link, slot);
            FUZZ_CHECK(place == Place(instance.vlan, instance.port, instance.key));
            at = link;
        }
        FUZZ_CHECK(at->next == head && head->previous == at);
    }
    FUZZ_SAME(list.real->boundCount, bound);
}

void checkList(const AclModel& model, const List& list) {
    const AclList& real = *list.real;
    FUZZ_CHECK(isLive(&real));
    FUZZ_CHECK(list.name == real.name);
    checkMembers(model, list);
    FUZZ_SAME(isDeleted(&real), !list.stored);
    if (!list.stored) return;
    FUZZ_SAME(real.value, list.value);
    FUZZ_SAME(real.ruleCount, list.ruleCount);
    FUZZ_CHECK(real.rules == list.rules && (list.rules == nullptr || isLive(list.rules)));
    FUZZ_SAME(real.counterCount, list.counterCount);
}

void checkBinding(const AclInstance& instance, uint32_t slot, const Binding& binding) {
    FUZZ_CHECK(instance.lists[slot] == (binding.list != nullptr ? binding.list->real : nullptr));
    const uint8_t* const block = instance.counters[slot];
    FUZZ_SAME(block != nullptr, binding.hasBlock);
    if (block == nullptr) return;
    FUZZ_CHECK(isLive(block));
    for (size_t i = 0; i < binding.counters.size() * kAclCounterSize; ++i)
        FUZZ_SAME(block[i], binding.counters[i / kAclCounterSize]);
}

}  // namespace

void checkAcl(const AclModel& model) {
    size_t blocks = 0;
    size_t indexBlocks = 0;
    HalTreeNode* node = p2BtreeFirst(&ownAclTree);
    for (const auto& [name, list] : model.lists) {
        FUZZ_CHECK(node == &list->real->tree);
        checkList(model, *list);
        blocks += 1 + (list->rules != nullptr);
        node = p2BtreeNext(node);
    }
    FUZZ_CHECK(node == nullptr);
    node = p2BtreeFirst(&ownAclInstanceTree);
    std::set<const List*> seen;
    for (const auto& [place, slots] : model.places) {
        const auto& instance = *reinterpret_cast<const AclInstance*>(node);
        FUZZ_CHECK(node != nullptr && isLive(node));
        FUZZ_CHECK(place == Place(instance.vlan, instance.port, instance.key));
        ++blocks;
        for (uint32_t slot = 0; slot < kAclSlots; ++slot) {
            const Binding& binding = slots[slot];
            checkBinding(instance, slot, binding);
            blocks += binding.hasBlock;
            const List* const list = binding.list.get();
            if (list == nullptr) continue;
            if (list->grewLong) ++indexBlocks;
            if (!seen.insert(list).second) continue;
            if (list->grewLong) ++indexBlocks;
            if (list->stored) continue;
            checkList(model, *list);
            ++blocks;
        }
        node = p2BtreeNext(node);
    }
    FUZZ_CHECK(node == nullptr);
    // Of an index it is only known how many blocks it has at most.
    FUZZ_CHECK(liveBlocks() >= blocks && liveBlocks() <= blocks + indexBlocks);
}

}  // namespace pcsim::fuzz
