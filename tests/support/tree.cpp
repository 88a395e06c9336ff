// The host's own tree, its insertion behind a gate, its look-up behind a counter.
#include "tests/support/tree.h"

#define p2BtreeInsert hostTreeInsert
#define findNode hostTreeFind
#include "tree/tree.cpp"
#undef p2BtreeInsert
#undef findNode

namespace pcsim::test {

TreeState& tree() {
    static TreeState state;
    return state;
}

}  // namespace pcsim::test

extern "C" int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare) {
    pcsim::test::TreeState& state = pcsim::test::tree();
    ++state.insertions;
    if (state.refuseInsert != 0 && --state.refuseInsert == 0) return -1;
    if (state.refusals.fails()) return -1;
    return hostTreeInsert(node, root, compare) == -1 ? -1 : state.success;
}

extern "C" HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root,
                                 HalTreeCompareFn* compare) {
    ++pcsim::test::tree().lookups;
    return hostTreeFind(key, root, compare);
}
