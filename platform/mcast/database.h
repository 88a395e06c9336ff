// What the files of the multicast database share: fatal conditions, the call trace, look-ups and
// the cascades. Nothing outside this folder includes it.
#ifndef PCSIM_MCAST_DATABASE_H
#define PCSIM_MCAST_DATABASE_H

#include <cstdio>
#include <cstdlib>

#include "platform/base/assertion.h"
#include "platform/mcast/pcSimIPv4McDb.h"

// The name that the HAL's engineers know this module by.
#define MCAST_SOURCE_FILE "pcSimIPv4McDb.c"

// Stops the process unless 'condition' holds; the message shows 'text', or the condition itself.
#define MCAST_ASSERT_NAMED(condition, text) PCSIM_ASSERT_NAMED(MCAST_SOURCE_FILE, condition, text)
#define MCAST_ASSERT(condition) MCAST_ASSERT_NAMED(condition, #condition)

// The line that an operation begins with while mcLogMess is on.
#define MCAST_TRACE()                                                                          \
    do {                                                                                       \
        if (mcLogMess != 0)                                                                    \
            std::printf("VNMC %s %d: %s is called \n", MCAST_SOURCE_FILE, __LINE__, __func__); \
    } while (false)

// groupTable, vlanTree and portTree, which the library itself knows by these names alone.
extern "C" {
extern PCSIM_HIDDEN HalTreeRoot* ownGroupTable;
extern PCSIM_HIDDEN HalTreeRoot ownVlanTree;
extern PCSIM_HIDDEN HalTreeRoot ownPortTree;
}

namespace pcsim {

constexpr uint32_t kBucketsPerRouter = 512;
constexpr uint32_t kDumpedRouter = 2;

// The root that 'bucket' (below 512) of a virtual router has in groupTable; null for a router
// that has no buckets.
HalTreeRoot* bucketRoot(uint32_t virtualRouter, uint32_t bucket) noexcept;

// The bucket of a group: the low bits of its address, which tell groups of one range apart.
uint32_t bucketOf(uint32_t group) noexcept;

inline uint32_t portKeyOf(const HalMcastOutgoing& entry) noexcept {
    return static_cast<uint32_t>(entry.slot) << 16 | entry.port;
}

// Null when there is none.
GroupNode* findGroup(uint32_t virtualRouter, uint32_t group) noexcept;
CacheNode* findCache(GroupNode* groupNode, uint32_t source, uint32_t incomingVlan) noexcept;

// Orders groups by address in host byte order, caches by raw source and incoming VLAN.
int32_t compareGroups(const HalTreeNode* a, const HalTreeNode* b);
int32_t compareCaches(const HalTreeNode* a, const HalTreeNode* b);

// The cascades. They can't fail: a tree always lets go of a node that it holds.
void deleteCachePort(CachePort* port) noexcept;
void deleteCacheIf(CacheIf* cacheIf) noexcept;
void deleteCache(CacheNode* cache) noexcept;

// Take a node without users out of its tree, and free it.
void freePortNode(PortNode* port) noexcept;
void freeVpifNode(VpifNode* vpif) noexcept;

// Puts a cache or a group that is in no tree on the chain of retired nodes, where it stays.
void retire(HalTreeNode* node) noexcept;

// A zero-filled node; null when memory runs out.
template <typename Node>
Node* newNode() noexcept {
    return static_cast<Node*>(std::calloc(1, sizeof(Node)));
}

}  // namespace pcsim

#endif
