// The nodes to their last byte, and the place of a member in a long list: with an index, with one
// that has gaps, and without.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>

#include "platform/acl/memberIndex.h"
#include "tests/platform/acl/fixture.h"
#include "tests/support/seed.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

#ifdef __LP64__
static_assert(sizeof(AclList) == 120);
static_assert(offsetof(AclList, name) == 32 && offsetof(AclList, value) == 64);
static_assert(offsetof(AclList, ruleCount) == 68 && offsetof(AclList, counterCount) == 70);
static_assert(offsetof(AclList, rules) == 72 && offsetof(AclList, boundCount) == 80);
static_assert(offsetof(AclList, members) == 88);
static_assert(sizeof(AclInstance) == 112);
static_assert(offsetof(AclInstance, links) == 32 && offsetof(AclInstance, lists) == 64);
static_assert(offsetof(AclInstance, vlan) == 80 && offsetof(AclInstance, port) == 84);
static_assert(offsetof(AclInstance, key) == 88 && offsetof(AclInstance, counters) == 96);
#else
static_assert(sizeof(AclList) == 80);
static_assert(offsetof(AclList, name) == 16 && offsetof(AclList, value) == 48);
static_assert(offsetof(AclList, ruleCount) == 52 && offsetof(AclList, counterCount) == 54);
static_assert(offsetof(AclList, rules) == 56 && offsetof(AclList, boundCount) == 60);
static_assert(offsetof(AclList, members) == 64);
static_assert(sizeof(AclInstance) == 60);
static_assert(offsetof(AclInstance, links) == 16 && offsetof(AclInstance, lists) == 32);
static_assert(offsetof(AclInstance, vlan) == 40 && offsetof(AclInstance, port) == 44);
static_assert(offsetof(AclInstance, key) == 48 && offsetof(AclInstance, counters) == 52);
#endif

// A zero-filled node of the HAL's own making that ends where the memory ends: a byte further on
// stops the process.
template <typename Node>
class LastInMemory {
public:
    LastInMemory() {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        void* const pages =
            mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) std::abort();
        pages_ = static_cast<char*>(pages);
        if (mprotect(pages_ + page, page, PROT_NONE) != 0) std::abort();
        node_ = reinterpret_cast<Node*>(pages_ + page - sizeof(Node));
        size_ = 2 * page;
    }
    ~LastInMemory() { munmap(pages_, size_); }
    LastInMemory(const LastInMemory&) = delete;
    LastInMemory& operator=(const LastInMemory&) = delete;
    Node* get() { return node_; }
    Node* operator->() { return node_; }

private:
    char* pages_;
    size_t size_;
    Node* node_;
};

void initialise(AclList* list) {
    for (ListLink& head : list->members) listInit(&head);
}

TEST(AclMember, NodesOfTheHalsOwnMakingAreBoundWithinTheirSize) {
    for (uint32_t slot : {0, 1}) {
        LastInMemory<AclList> list;
        LastInMemory<AclInstance> first, second;
        initialise(list.get());
        list->counterCount = 2;
        first->vlan = 2;
        second->vlan = 1;
        const uint32_t insertions = tree().insertions;
        EXPECT_EQ(aclAttachInstance(list.get(), slot, first.get()), 0);
        EXPECT_EQ(aclAttachInstance(list.get(), slot, second.get()), 0);
        EXPECT_EQ(tree().insertions, insertions);
        EXPECT_EQ(list->boundCount, 2u);
        EXPECT_EQ(members(list.get(), slot), (Lines{"1/0/0", "2/0/0"}));
        EXPECT_EQ(blocks(), 2) << "two counter blocks";
        EXPECT_EQ(aclUnAttachInstance(list.get(), slot, first.get()), 0);
        EXPECT_EQ(aclUnAttachInstance(list.get(), slot, second.get()), 0);
        EXPECT_EQ(list->boundCount, 0u);
        EXPECT_EQ(members(list.get(), slot), Lines{});
        EXPECT_EQ(blocks(), 0);
    }
}

TEST(AclMember, MembersOfTheSameKeyStandInTheOrderInWhichTheyCame) {
    addList("web");
    AclList* const list = storedList("web");
    std::vector<AclInstance> nodes(200);
    std::vector<AclInstance*> expected;
    // From the last in memory to the first, between neighbours that are there before and after.
    for (size_t i = nodes.size(); i-- > 0;) {
        nodes[i].vlan = static_cast<uint32_t>(i % 3);
        EXPECT_EQ(aclAttachInstance(list, 0, &nodes[i]), 0);
        expected.push_back(&nodes[i]);
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto* a, const auto* b) { return a->vlan < b->vlan; });
    std::vector<AclInstance*> real;
    for (ListLink* link = list->members[0].next; link != &list->members[0]; link = link->next)
        real.push_back(reinterpret_cast<AclInstance*>(reinterpret_cast<char*>(link) -
                                                      offsetof(AclInstance, links)));
    EXPECT_EQ(real, expected);
    for (AclInstance& one : nodes) aclUnAttachInstance(list, 0, &one);
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

// A list that the HAL has made and dropped together with its members leaves nothing that the next
// one at the same place could meet.
TEST(AclMember, ListsOfTheHalsOwnMakingMayBeDroppedWhileTheyAreBound) {
    LastInMemory<AclList> list;
    std::strcpy(list->name, "web");
    addList("web");
    for (int round = 0; round < 3; ++round) {
        std::vector<AclInstance> nodes(100);
        initialise(list.get());
        list->boundCount = 0;
        for (uint32_t i = 0; i < 100; ++i) {
            nodes[i].vlan = i * 37 % 100;
            EXPECT_EQ(aclAttachInstance(list.get(), 0, &nodes[i]), 0);
        }
        const Lines all = members(list.get(), 0);
        ASSERT_EQ(all.size(), 100u);
        for (uint32_t i = 0; i < 100; ++i) EXPECT_EQ(all[i], std::to_string(i) + "/0/0");
    }
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclMember, ANewInstanceIsInsertedOnceAndAKnownOneNever) {
    addList("web", 1);
    addList("mail", 1);
    for (uint32_t i = 0; i < 100; ++i) {
        const uint32_t before = tree().insertions;
        EXPECT_EQ(bind("web", {i, 1, 0, 0}), 0);
        EXPECT_EQ(tree().insertions, before + 1);
        EXPECT_EQ(bind("mail", {i, 1, 0, 1}), 0);
        EXPECT_EQ(bind("mail", {i, 1, 0, 0}), 0);
        EXPECT_EQ(bind("mail", {i, 1, 0, 0}), 0);
        EXPECT_EQ(tree().insertions, before + 1);
    }
}

// A bind asks for memory for the instance and its counters, in this order, whatever else the
// platform would like to have: without memory for that it binds as well.
TEST(AclMember, OnlyInstanceAndCountersAreNeeded) {
    addList("web", 4);
    std::vector<uint32_t> order(1000);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(modelSeed()));
    for (size_t i = 0; i < order.size(); ++i) {
        const bool starved =
            i % 50 >= 10;  // every so often there is memory, and an index with gaps
        if (starved) libc().failAllFrom(3);
        ASSERT_EQ(bind("web", {order[i], 1, 0, 0}), 0);
        libc().failNone();
    }
    const Lines all = members(storedList("web"), 0);
    ASSERT_EQ(all.size(), order.size());
    for (uint32_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i], std::to_string(i) + "/1/0");
    std::shuffle(order.begin(), order.end(), std::mt19937(modelSeed()));
    for (uint32_t i : order) ASSERT_EQ(unbind({i, 1, 0, 0}), 0);
    EXPECT_EQ(blocks(), 2) << "the list and its rules";
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclMember, AShortListTakesNoMemoryOfItsOwn) {
    addList("web", 0);
    const int32_t before = blocks();
    for (uint32_t i = 0; i < kWalkedBindings; ++i) bind("web", {i, 1, 0, 0});
    EXPECT_EQ(blocks(), before + static_cast<int32_t>(kWalkedBindings));
}

// How many members a bind looks at is not seen from outside, but a walk over half of them each time
// would take longer here than a case may.
TEST(AclMember, AQuarterMillionBindingsInAnyOrderStandInOrder) {
    constexpr uint32_t kCount = 250000;
    addList("web");
    for (uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(bind("web", {i * 7919 % kCount, 1, 0, 1}), 0);
    const Lines all = members(storedList("web"), 1);
    ASSERT_EQ(all.size(), kCount);
    for (uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(all[i], std::to_string(i) + "/1/0");
    for (uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(unbind({i * 6007 % kCount, 1, 0, 1}), 0);
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

}  // namespace
