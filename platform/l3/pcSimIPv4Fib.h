// The IPv4 routes: (virtual router, prefix, mask) with a list of next hops, newest first, each of
// which references the adjacency of its gateway.
//
// Routes and next hops are owned by the table. A route lives until a delete or a flush leaves it
// without next hops, or its adjacency is removed. Algorithms: fibTable.h.
#ifndef PCSIM_L3_PCSIMIPV4FIB_H
#define PCSIM_L3_PCSIMIPV4FIB_H

#include "platform/base/stub.h"
#include "platform/l3/adjacencyRoutes.h"

extern "C" {

// Root of the tree, ordered by pcSimPCFamIPv4FibEntryCmpFunc.
PCSIM_EXPORT extern HalTreeRoot gIPv4FibTable;

// Operations of the HAL; their contracts are those of the HalIPv4Fib...Fn types.
PCSIM_EXPORT int32_t pcSimPCFamIPv4FibAddEntry(const pcSimIPv4FibReq* request) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv4FibDeleteEntry(const pcSimIPv4FibReq* request) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamIPv4FibReplaceEntry(const pcSimIPv4FibReq* request) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv4FibFlush(const pcSimIPv4FibReq* filter) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv4FibDump(const pcSimDumpSink* sink) noexcept;

// Accepted and ignored.
#define PCSIM_IPV4_FIB_STUBS(STUB)  \
    STUB(pcSimPCFamIPv4FibInit)     \
    STUB(pcSimPCFamIPv4FibCleanup)  \
    STUB(pcSimPCFamIPv4FibLookup)   \
    STUB(pcSimPCFamIPv4FibTransEnd) \
    STUB(pcSimCardIPv4SyncBeginHw)  \
    STUB(pcSimCardIPv4SyncEndHw)    \
    STUB(pcSimPCFamIPv4DirBcast)
PCSIM_IPV4_FIB_STUBS(PCSIM_DECLARE_STUB)

// The table's order: VR ascending, mask descending, prefix ascending, as numbers.
PCSIM_EXPORT int32_t pcSimPCFamIPv4FibEntryCmpFunc(const HalTreeNode* a,
                                                   const HalTreeNode* b) noexcept;

// Prints one row per next hop of 'route' to 'sink', to standard output when it is null. A next hop
// without adjacency traps.
PCSIM_EXPORT void dumpSimEntry(const pcSimDumpSink* sink, const pcSimIPv4FibRoute* route) noexcept;

// The route of that key, or null.
PCSIM_EXPORT pcSimIPv4FibRoute* pcSimIPv4FibFind(uint32_t vrId, uint32_t prefix,
                                                 uint32_t mask) noexcept;

// A zero-filled route that is in no table yet, or null.
PCSIM_EXPORT pcSimIPv4FibRoute* pcSimIPv4FibRouteAlloc(void) noexcept;
}

#endif
