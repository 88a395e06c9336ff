/* The host's ordered tree. Routes, adjacencies, multicast caches and access lists live in it.
 *
 * A node is allocated and freed by the library and begins with four link words that belong to the
 * tree while the node is in it. A root is one pointer to the tree's top node, null when the tree is
 * empty. A compare function orders two nodes; look-ups pass a zero-filled key node with the key
 * fields set.
 *
 * Thread: that of the operation whose table the tree is. */
#ifndef PCSIM_HOST_TREE_H
#define PCSIM_HOST_TREE_H

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

/* First member of every node. */
typedef struct PCSIM_IS(platform, by address) HalTreeNode {
    void* links[4]; /* 0: the tree's */
} HalTreeNode;

typedef HalTreeNode* HalTreeRoot;

/* Negative, 0 or positive as 'a' orders before, with or after 'b'. Callback. */
typedef int32_t HalTreeCompareFn(const HalTreeNode* a, const HalTreeNode* b);

/* Links 'node' into the tree. -1 when the tree refuses it, as for a key that is already there, and
 * then nothing has changed; any other result, 0 by custom, when it is linked. */
int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare);

/* Unlinks 'node', which must be in the tree of '*root'. The result is ignored. */
int32_t p2BtreeDelete(HalTreeNode* node, HalTreeRoot* root);

/* The node that orders first below '*root', or null. */
HalTreeNode* p2BtreeFirst(HalTreeRoot* root);

/* The node that follows 'node' in key order, or null at the end. */
HalTreeNode* p2BtreeNext(HalTreeNode* node);

/* The node that compares equal to 'key', or null. */
HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root, HalTreeCompareFn* compare);

PCSIM_END_DECLS

#endif
