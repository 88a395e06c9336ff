// The host's ordered tree: an AVL tree whose nodes carry four link words.
//
// The words are the two children, the parent and the balance (right height minus left height). The
// parent link lets next() climb without a stack or a root, and a root is nothing but the pointer to
// the top node, so any node may be taken as the root of what is below it.
//
// A user looks a key up before it inserts it. The place where a look-up has ended is remembered, so
// that the insert which follows need not descend a second time; see Miss. Threads may work on
// different roots at a time, and take turns at one.
#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>

#include "pcsim/host_tree.h"

namespace {

enum : int { kLeft = 0, kRight = 1, kParent = 2, kBalance = 3 };

HalTreeNode* link(const HalTreeNode* node, int which) {
    return static_cast<HalTreeNode*>(node->links[which]);
}

intptr_t balance(const HalTreeNode* node) {
    return reinterpret_cast<intptr_t>(node->links[kBalance]);
}

void setBalance(HalTreeNode* node, intptr_t value) {
    node->links[kBalance] = reinterpret_cast<void*>(value);
}

// Puts 'child' in the place that 'old' has below 'parent', or makes it the root.
void replaceChild(HalTreeNode* parent, const HalTreeNode* old, HalTreeNode* child,
                  HalTreeRoot* root) {
    if (parent == nullptr)
        *root = child;
    else
        parent->links[link(parent, kLeft) == old ? kLeft : kRight] = child;
    if (child != nullptr) child->links[kParent] = parent;
}

// Lifts the child of 'top' on 'side' above it; returns it. Balances are the caller's business.
HalTreeNode* rotate(HalTreeNode* top, int side, HalTreeRoot* root) {
    HalTreeNode* const up = link(top, side);
    HalTreeNode* const inner = link(up, 1 - side);
    replaceChild(link(top, kParent), top, up, root);
    top->links[side] = inner;
    if (inner != nullptr) inner->links[kParent] = top;
    up->links[1 - side] = top;
    top->links[kParent] = up;
    return up;
}

// Restores the balance of 'top', which leans by two to 'side'; returns the new top of the subtree.
HalTreeNode* rebalance(HalTreeNode* top, int side, HalTreeRoot* root) {
    const intptr_t sign = side == kRight ? 1 : -1;
    HalTreeNode* const child = link(top, side);
    if (balance(child) != -sign) {
        const bool level = balance(child) == 0;
        setBalance(top, level ? sign : 0);
        setBalance(child, level ? -sign : 0);
        return rotate(top, side, root);
    }
    HalTreeNode* const inner = link(child, 1 - side);
    const intptr_t lean = balance(inner);
    rotate(child, 1 - side, root);
    rotate(top, side, root);
    setBalance(top, lean == sign ? -sign : 0);
    setBalance(child, lean == -sign ? sign : 0);
    setBalance(inner, 0);
    return inner;
}

// Has the processor fetch a node up to the line with its byte 'last' while it goes on; any pointer
// will do. A processor without this hint takes it for no operation.
void prefetch(const HalTreeNode* node, int last) {
    const char* const bytes = reinterpret_cast<const char*>(node);
    asm volatile("prefetcht0 %0" : : "m"(bytes[0]));
    asm volatile("prefetcht0 %0" : : "m"(bytes[last]));
}

// For a walk, which hands out each node with what lies behind it.
void prefetch(const HalTreeNode* node) {
    prefetch(node, 64);
}

// For a descent, which compares keys: the links and the words behind them.
void prefetchChildren(const HalTreeNode* node) {
    constexpr int kLastOfKey = 2 * sizeof node->links - 1;
    prefetch(link(node, kLeft), kLastOfKey);
    prefetch(link(node, kRight), kLastOfKey);
}

// The end of the way from 'node' to 'side'. Of every node on the way the other child is fetched: a
// walk comes to it when it returns.
HalTreeNode* outermost(HalTreeNode* node, int side) {
    for (;;) {
        prefetch(link(node, 1 - side));
        if (link(node, side) == nullptr) return node;
        node = link(node, side);
    }
}

// A walk to 'side' has come up to 'node'. The way down behind it, and the one behind its parent,
// begin with a child that has been fetched on the way here; the steps after that one are fetched
// now. Nodes lie anywhere in memory, and without this a walk of a large tree waits for each.
void prefetchBehind(const HalTreeNode* node, int side) {
    const HalTreeNode* const child = link(node, side);
    if (child != nullptr && link(child, 1 - side) != nullptr)
        prefetch(link(link(child, 1 - side), 1 - side));
    const HalTreeNode* const parent = link(node, kParent);
    if (parent != nullptr && link(parent, 1 - side) == node && link(parent, side) != nullptr)
        prefetch(link(link(parent, side), 1 - side));
}

// The node next to 'node' on 'side' in key order, or null at the end.
HalTreeNode* neighbour(HalTreeNode* node, int side) {
    if (link(node, side) != nullptr) return outermost(link(node, side), 1 - side);
    HalTreeNode* parent = link(node, kParent);
    while (parent != nullptr && link(parent, side) == node) {
        node = parent;
        parent = link(node, kParent);
    }
    if (parent != nullptr) prefetchBehind(parent, side);
    return parent;
}

// How often any tree has been changed by any thread. Of a tree whose root a thread may look at, it
// knows all changes, as whoever made them has had his turn before.
std::atomic<uint32_t> changes;

// Where the thread's last look-up that found nothing has ended. It may be used only while no tree
// has changed since: then its nodes are still in the tree of 'top'. The key that is to be inserted
// need not be the one that was looked up, it is compared with what lies to the left and the right
// of the place.
struct Miss {
    const HalTreeNode* top = nullptr;
    HalTreeCompareFn* compare = nullptr;
    HalTreeNode* parent = nullptr;
    int side = kLeft;
    uint32_t changes = 0;
};

thread_local Miss lastMiss;

void noteChange() {
    constexpr auto kRelaxed = std::memory_order_relaxed;
    if (__libc_single_threaded != 0)
        changes.store(changes.load(kRelaxed) + 1, kRelaxed);
    else
        changes.fetch_add(1, kRelaxed);
}

// Whether 'node' belongs where the last look-up has ended.
bool belongsAtLastMiss(const HalTreeNode* node, HalTreeRoot root, HalTreeCompareFn* compare) {
    const Miss& miss = lastMiss;
    if (root == nullptr || miss.top != root || miss.compare != compare) return false;
    if (miss.changes != changes.load(std::memory_order_relaxed)) return false;
    const int32_t order = compare(node, miss.parent);
    if (miss.side == kLeft ? order >= 0 : order <= 0) return false;
    const HalTreeNode* const other = neighbour(miss.parent, miss.side);
    if (other == nullptr) return true;
    const int32_t otherOrder = compare(node, other);
    return miss.side == kLeft ? otherOrder > 0 : otherOrder < 0;
}

// The subtree on 'side' of 'node' has become one level higher.
void grown(HalTreeNode* node, int side, HalTreeRoot* root) {
    for (;;) {
        const intptr_t lean = balance(node) + (side == kRight ? 1 : -1);
        if (lean == 2 || lean == -2) {
            rebalance(node, side, root);
            return;
        }
        setBalance(node, lean);
        HalTreeNode* const parent = link(node, kParent);
        if (lean == 0 || parent == nullptr) return;
        side = link(parent, kLeft) == node ? kLeft : kRight;
        node = parent;
    }
}

// The subtree on 'side' of 'node' has become one level lower.
void shrunk(HalTreeNode* node, int side, HalTreeRoot* root) {
    while (node != nullptr) {
        const intptr_t lean = balance(node) + (side == kRight ? -1 : 1);
        HalTreeNode* top = node;
        if (lean == 2 || lean == -2) {
            top = rebalance(node, 1 - side, root);
            if (balance(top) != 0) return;
        } else {
            setBalance(node, lean);
            if (lean != 0) return;
        }
        HalTreeNode* const parent = link(top, kParent);
        if (parent == nullptr) return;
        side = link(parent, kLeft) == top ? kLeft : kRight;
        node = parent;
    }
}

}  // namespace

extern "C" {

int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare) {
    HalTreeNode* parent = nullptr;
    int side = kLeft;
    if (belongsAtLastMiss(node, *root, compare)) {
        parent = lastMiss.parent;
        side = lastMiss.side;
    } else {
        for (HalTreeNode* at = *root; at != nullptr; at = link(at, side)) {
            const int32_t order = compare(node, at);
            if (order == 0) return -1;
            parent = at;
            side = order < 0 ? kLeft : kRight;
        }
    }
    noteChange();
    node->links[kLeft] = nullptr;
    node->links[kRight] = nullptr;
    node->links[kParent] = parent;
    setBalance(node, 0);
    if (parent == nullptr) {
        *root = node;
        return 0;
    }
    parent->links[side] = node;
    grown(parent, side, root);
    return 0;
}

int32_t p2BtreeDelete(HalTreeNode* node, HalTreeRoot* root) {
    noteChange();
    HalTreeNode* const left = link(node, kLeft);
    HalTreeNode* const right = link(node, kRight);
    HalTreeNode* const parent = link(node, kParent);
    if (left == nullptr || right == nullptr) {
        const int side = parent != nullptr && link(parent, kRight) == node ? kRight : kLeft;
        replaceChild(parent, node, left != nullptr ? left : right, root);
        shrunk(parent, side, root);
        return 0;
    }
    // The next node takes the place of the one that goes.
    HalTreeNode* const next = outermost(right, kLeft);
    HalTreeNode* lowered = link(next, kParent);
    int side = kLeft;
    if (lowered == node) {
        lowered = next;
        side = kRight;
    } else {
        replaceChild(lowered, next, link(next, kRight), root);
        next->links[kRight] = right;
        right->links[kParent] = next;
    }
    next->links[kLeft] = left;
    left->links[kParent] = next;
    setBalance(next, balance(node));
    replaceChild(parent, node, next, root);
    shrunk(lowered, side, root);
    return 0;
}

HalTreeNode* p2BtreeFirst(HalTreeRoot* root) {
    return *root == nullptr ? nullptr : outermost(*root, kLeft);
}

HalTreeNode* p2BtreeNext(HalTreeNode* node) {
    return neighbour(node, kRight);
}

HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root, HalTreeCompareFn* compare) {
    HalTreeNode* parent = nullptr;
    int32_t order = 0;
    for (HalTreeNode* at = root; at != nullptr;) {
        // Which of them is next is known a comparison, and often a wrong guess, later.
        prefetchChildren(at);
        order = compare(key, at);
        parent = at;
        if (order < 0)
            at = link(at, kLeft);
        else if (order > 0)
            at = link(at, kRight);
        else
            return at;
    }
    lastMiss = {root, compare, parent, order < 0 ? kLeft : kRight,
                changes.load(std::memory_order_relaxed)};
    return nullptr;
}
}
