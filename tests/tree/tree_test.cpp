// The host's ordered tree, seen through its interface alone.
//
// Balance is seen in the number of compares that a look-up takes: an AVL tree of n nodes is at most
// 1.4405 log2(n + 2) levels high.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "pcsim/host_tree.h"
#include "tests/support/seed.h"

namespace {

struct Item {
    HalTreeNode node;
    uint32_t key;
};

uint32_t compares;

int32_t byKey(const HalTreeNode* a, const HalTreeNode* b) {
    ++compares;
    const uint32_t keyA = reinterpret_cast<const Item*>(a)->key;
    const uint32_t keyB = reinterpret_cast<const Item*>(b)->key;
    return keyA < keyB ? INT32_MIN : (keyA > keyB ? INT32_MAX : 0);
}

class Tree : public testing::Test {
protected:
    HalTreeRoot root_ = nullptr;
    std::vector<Item> items_;

    // Items with the keys 0, 1, 2 ...; none is in the tree yet.
    void makeItems(size_t count) {
        items_.assign(count, {});
        for (size_t i = 0; i < count; ++i) {
            items_[i].key = static_cast<uint32_t>(i);
            std::fill(std::begin(items_[i].node.links), std::end(items_[i].node.links), this);
        }
    }
    int32_t insert(uint32_t key) { return p2BtreeInsert(&items_[key].node, &root_, byKey); }
    void remove(uint32_t key) { p2BtreeDelete(&items_[key].node, &root_); }

    static Item* itemOf(HalTreeNode* node) { return reinterpret_cast<Item*>(node); }
    static Item* find(uint32_t key, HalTreeRoot root) {
        const Item wanted{{}, key};
        return itemOf(findNode(&wanted.node, root, byKey));
    }
    Item* find(uint32_t key) { return find(key, root_); }

    std::vector<uint32_t> keys() {
        std::vector<uint32_t> found;
        for (HalTreeNode* node = p2BtreeFirst(&root_); node != nullptr; node = p2BtreeNext(node))
            found.push_back(itemOf(node)->key);
        return found;
    }

    // The walk has exactly 'expected', every key is found within the height of an AVL tree, and a
    // missing one is missed.
    template <typename Keys>
    void check(const Keys& expected) {
        ASSERT_EQ(keys(), std::vector<uint32_t>(expected.begin(), expected.end()));
        const double limit = 1.4405 * std::log2(static_cast<double>(expected.size()) + 2);
        for (uint32_t key : expected) {
            compares = 0;
            ASSERT_EQ(find(key), &items_[key]);
            ASSERT_LE(compares, limit);
        }
        compares = 0;
        ASSERT_EQ(find(static_cast<uint32_t>(items_.size())), nullptr);
        ASSERT_LE(compares, limit);
    }

    std::vector<uint32_t> allKeys() {
        std::vector<uint32_t> all(items_.size());
        std::iota(all.begin(), all.end(), 0u);
        return all;
    }
};

TEST_F(Tree, EmptyTree) {
    EXPECT_EQ(p2BtreeFirst(&root_), nullptr);
    EXPECT_EQ(find(1), nullptr);
}

TEST_F(Tree, NodeHasFourLinkWordsAndARootIsOne) {
    EXPECT_EQ(sizeof(HalTreeNode), 4 * sizeof(void*));
    EXPECT_EQ(sizeof(HalTreeRoot), sizeof(void*));
}

TEST_F(Tree, OneNode) {
    makeItems(1);
    EXPECT_EQ(insert(0), 0);
    EXPECT_EQ(root_, &items_[0].node);
    EXPECT_EQ(p2BtreeFirst(&root_), &items_[0].node);
    EXPECT_EQ(p2BtreeNext(&items_[0].node), nullptr);
    remove(0);
    EXPECT_EQ(root_, nullptr);
}

TEST_F(Tree, KeyThatIsThereIsRefused) {
    makeItems(100);
    for (uint32_t key = 0; key < 99; ++key) ASSERT_EQ(insert(key), 0);
    for (uint32_t key = 0; key < 99; ++key) {
        Item& twin = items_[99];
        twin.key = key;
        const HalTreeNode before = twin.node;
        ASSERT_EQ(p2BtreeInsert(&twin.node, &root_, byKey), -1);
        ASSERT_TRUE(std::equal(before.links, before.links + 4, twin.node.links));
    }
    items_.pop_back();
    check(allKeys());
}

TEST_F(Tree, OrderedLoadsAndUnloads) {
    for (const bool up : {true, false}) {
        for (const bool unloadUp : {true, false}) {
            makeItems(4000);
            std::vector<uint32_t> order = allKeys();
            if (!up) std::reverse(order.begin(), order.end());
            for (uint32_t key : order) ASSERT_EQ(insert(key), 0);
            check(allKeys());
            std::vector<uint32_t> left = allKeys();
            while (left.size() > 2000) {
                remove(unloadUp ? left.front() : left.back());
                left.erase(unloadUp ? left.begin() : left.end() - 1);
            }
            check(left);
            for (uint32_t key : left) remove(key);
            ASSERT_EQ(root_, nullptr);
        }
    }
}

// All shapes that small trees take on the way in, and every node taken out of each.
TEST_F(Tree, EveryOrderOfSevenKeysAndEveryRemoval) {
    makeItems(7);
    std::vector<uint32_t> order = allKeys();
    do {
        for (uint32_t gone = 0; gone < 7; ++gone) {
            root_ = nullptr;
            for (uint32_t key : order) ASSERT_EQ(insert(key), 0);
            remove(gone);
            std::vector<uint32_t> left = allKeys();
            left.erase(left.begin() + gone);
            check(left);
        }
    } while (std::next_permutation(order.begin(), order.end()) && !HasFailure());
}

TEST_F(Tree, RandomInsertsAndRemovalsAgainstASet) {
    std::mt19937 random(pcsim::test::modelSeed());
    makeItems(3000);
    std::set<uint32_t> model;
    for (uint32_t step = 0; step < 300'000; ++step) {
        // The tree grows and shrinks in waves.
        const bool growing = step / 20'000 % 2 == 0;
        const uint32_t key = random() % 3000;
        if (random() % 4 < (growing ? 3 : 1)) {
            const bool isNew = !model.contains(key);
            if (isNew) {
                ASSERT_EQ(insert(key), 0);
                model.insert(key);
            } else {
                ASSERT_EQ(find(key), &items_[key]);
            }
        } else if (model.erase(key) == 1) {
            remove(key);
        } else {
            ASSERT_EQ(find(key), nullptr);
        }
        if (step % 10'000 == 0) {
            check(model);
            if (HasFailure()) return;
        }
    }
    check(model);
}

TEST_F(Tree, EveryNodeIsTheRootOfWhatIsBelowIt) {
    makeItems(1000);
    std::vector<uint32_t> order = allKeys();
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    for (uint32_t key : order) ASSERT_EQ(insert(key), 0);
    // A look-up from any node finds a run of consecutive keys around it, and the runs of all nodes
    // nest: together they have as many keys as there are steps from the root to each node.
    uint64_t found = 0, steps = 0;
    for (Item& top : items_) {
        HalTreeRoot root = &top.node;
        ASSERT_EQ(find(top.key, root), &top);
        uint32_t low = top.key, high = top.key;
        while (low > 0 && find(low - 1, root) != nullptr) --low;
        while (high + 1 < items_.size() && find(high + 1, root) != nullptr) ++high;
        ASSERT_EQ(itemOf(p2BtreeFirst(&root))->key, low);
        found += high - low + 1;
        compares = 0;
        find(top.key);
        steps += compares;
    }
    EXPECT_EQ(found, steps);
}

TEST_F(Tree, NextNeedsNoRootAndSurvivesTheRemovalOfOthers) {
    makeItems(1000);
    for (uint32_t key = 0; key < 1000; ++key) insert(key);
    // As a flush does: the successor is fetched, then the node goes.
    std::vector<uint32_t> seen;
    HalTreeNode* next = nullptr;
    for (HalTreeNode* node = p2BtreeFirst(&root_); node != nullptr; node = next) {
        next = p2BtreeNext(node);
        seen.push_back(itemOf(node)->key);
        if (seen.back() % 3 != 0) remove(seen.back());
    }
    EXPECT_EQ(seen, allKeys());
    std::vector<uint32_t> left;
    for (uint32_t key = 0; key < 1000; key += 3) left.push_back(key);
    check(left);
}

// --- An insert after a look-up that found nothing
// --------------------------------------------------

TEST_F(Tree, InsertAfterAMissNeedsNoSecondDescent) {
    makeItems(2001);
    for (uint32_t key = 0; key < 2000; key += 2) ASSERT_EQ(insert(key), 0);
    for (uint32_t key = 1; key < 2000; key += 2) {
        ASSERT_EQ(find(key), nullptr);
        compares = 0;
        ASSERT_EQ(insert(key), 0);
        ASSERT_LE(compares, 2u);
    }
    items_.pop_back();
    check(allKeys());
}

TEST_F(Tree, InsertOfAnotherKeyThanTheMissedOneGoesToItsOwnPlace) {
    for (uint32_t missed = 1; missed < 16; missed += 2) {
        for (uint32_t key = 0; key < 16; ++key) {
            root_ = nullptr;
            makeItems(17);
            std::set<uint32_t> expected;
            for (uint32_t present = 0; present < 16; present += 2) {
                ASSERT_EQ(insert(present), 0);
                expected.insert(present);
            }
            ASSERT_EQ(find(missed), nullptr);
            Item& item = items_[16];
            item.key = key;
            ASSERT_EQ(p2BtreeInsert(&item.node, &root_, byKey), key % 2 == 0 ? -1 : 0);
            expected.insert(key);
            ASSERT_EQ(keys(), (std::vector<uint32_t>{expected.begin(), expected.end()}));
        }
    }
}

int32_t byKeyDownwards(const HalTreeNode* a, const HalTreeNode* b) {
    return byKey(b, a);
}

TEST_F(Tree, MissOfAnotherTreeOrOrderIsNoHint) {
    makeItems(30);
    HalTreeRoot other = nullptr;
    for (uint32_t key = 0; key < 20; key += 2) {
        ASSERT_EQ(insert(key), 0);
        ASSERT_EQ(p2BtreeInsert(&items_[key + 1].node, &other, byKeyDownwards), 0);
    }
    ASSERT_EQ(find(21), nullptr);
    ASSERT_EQ(p2BtreeInsert(&items_[21].node, &other, byKeyDownwards), 0);
    EXPECT_EQ(itemOf(p2BtreeFirst(&other))->key, 21u);
    EXPECT_EQ(itemOf(p2BtreeNext(p2BtreeFirst(&other)))->key, 19u);
    EXPECT_EQ(find(21), nullptr);
}

// Whatever happens between a miss and an insert: removals, other inserts, dropped trees.
// Threads take turns at a tree: what one has found out is nothing when another has been there
// since.
TEST_F(Tree, MissBeforeAnotherThreadsTurnIsNoHint) {
    makeItems(64);
    for (uint32_t key = 0; key < 64; key += 2) insert(key);
    EXPECT_EQ(find(31), nullptr);
    std::thread([this] {
        for (uint32_t key = 0; key < 64; key += 2)
            if (key != 32) remove(key);
        for (Item& item : items_)
            if (item.key % 2 == 0 && item.key != 32)
                std::fill(std::begin(item.node.links), std::end(item.node.links), this);
    }).join();
    EXPECT_EQ(insert(31), 0);
    EXPECT_EQ(keys(), (std::vector<uint32_t>{31, 32}));
}

TEST_F(Tree, MissOfAnotherThreadIsNoHint) {
    makeItems(8);
    HalTreeRoot other = nullptr;
    std::vector<Item> others(2);
    others[1].key = 5;
    for (uint32_t key = 0; key < 8; key += 2) insert(key);
    p2BtreeInsert(&others[0].node, &other, byKey);
    EXPECT_EQ(find(3), nullptr);
    std::thread([&] {
        EXPECT_EQ(find(5, other), nullptr);
        EXPECT_EQ(p2BtreeInsert(&others[1].node, &other, byKey), 0);
    }).join();
    EXPECT_EQ(insert(3), 0);
    EXPECT_EQ(keys(), (std::vector<uint32_t>{0, 2, 3, 4, 6}));
}

TEST_F(Tree, RandomMissesNeverMisleadAnInsert) {
    std::mt19937 random(std::random_device{}());
    makeItems(200);
    std::set<uint32_t> model;
    for (uint32_t step = 0; step < 200'000 && !HasFailure(); ++step) {
        const uint32_t key = random() % 200;
        switch (random() % 8) {
            case 0:
            case 1:
            case 2:
                ASSERT_EQ(find(key), model.contains(key) ? &items_[key] : nullptr);
                break;
            case 3:
            case 4:
            case 5:
                if (!model.contains(key)) {
                    ASSERT_EQ(insert(key), 0);
                    model.insert(key);
                }
                break;
            case 6:
                if (model.erase(key) == 1) {
                    remove(key);
                    // What is freed is overwritten.
                    std::fill(std::begin(items_[key].node.links), std::end(items_[key].node.links),
                              nullptr);
                }
                break;
            default:
                if (random() % 500 == 0) {
                    root_ = nullptr;
                    model.clear();
                    makeItems(200);
                }
        }
        if (step % 1000 == 0) check(model);
    }
}

TEST_F(Tree, TreesAreIndependent) {
    makeItems(20);
    HalTreeRoot roots[2] = {nullptr, nullptr};
    for (Item& item : items_) ASSERT_EQ(p2BtreeInsert(&item.node, &roots[item.key % 2], byKey), 0);
    for (uint32_t key = 0; key < 20; ++key) {
        EXPECT_EQ(find(key, roots[key % 2]), &items_[key]);
        EXPECT_EQ(find(key, roots[1 - key % 2]), nullptr);
    }
}

}  // namespace
