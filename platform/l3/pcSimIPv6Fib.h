// The IPv6 routes: (virtual router, prefix, prefix length) with a list of next hops, newest first.
//
// The same table as that of IPv4, but for three things that are meant to differ: the mask is a
// length, next hops reference no adjacency, and the dump shows addresses as text and no MAC address
// or port. Algorithms: fibTable.h.
#ifndef PCSIM_L3_PCSIMIPV6FIB_H
#define PCSIM_L3_PCSIMIPV6FIB_H

#include "pcsim/l3.h"
#include "platform/base/stub.h"

extern "C" {

// Root of the tree, ordered by pcSimPCFamIPv6FibEntryCmpFunc.
PCSIM_EXPORT extern HalTreeRoot gIPv6FibTable;

// Operations of the HAL; their contracts are those of the HalIPv6Fib...Fn types.
PCSIM_EXPORT int32_t pcSimPCFamIPv6FibAddEntry(const pcSimIPv6FibReq* request) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv6FibDeleteEntry(const pcSimIPv6FibReq* request) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamIPv6FibReplaceEntry(const pcSimIPv6FibReq* request) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv6FibFlush(const pcSimIPv6FibReq* filter) noexcept;
PCSIM_EXPORT uint32_t pcSimPCFamIPv6FibDump(const pcSimDumpSink* sink) noexcept;

// Accepted and ignored.
#define PCSIM_IPV6_FIB_STUBS(STUB) \
    STUB(pcSimPCFamIPv6FibInit)    \
    STUB(pcSimPCFamIPv6FibCleanup) \
    STUB(pcSimPCFamIPv6FibLookup)  \
    STUB(pcSimCardIPv6SyncBeginHw) \
    STUB(pcSimCardIPv6SyncEndHw)
PCSIM_IPV6_FIB_STUBS(PCSIM_DECLARE_STUB)

// The table's order: VR ascending, prefix length descending, prefix bytes ascending.
PCSIM_EXPORT int32_t pcSimPCFamIPv6FibEntryCmpFunc(const HalTreeNode* a,
                                                   const HalTreeNode* b) noexcept;

// The route of that key, or null. The prefix is four words as they lie in memory.
PCSIM_EXPORT pcSimIPv6FibRoute* pcSimIPv6FibFind(uint32_t vrId, uint32_t prefix0, uint32_t prefix1,
                                                 uint32_t prefix2, uint32_t prefix3,
                                                 uint32_t maskLen) noexcept;

// A zero-filled route that is in no table yet, or null.
PCSIM_EXPORT pcSimIPv6FibRoute* pcSimIPv6FibRouteAlloc(void) noexcept;

// Host routes (length 128), for the HAL; the library itself uses none. The contracts are those of
// the IPv4 ones.
PCSIM_EXPORT pcSimIPv6FibRoute* pcSimIPv6FibDirectRtLookup(uint32_t vrId, uint32_t address0,
                                                           uint32_t address1, uint32_t address2,
                                                           uint32_t address3) noexcept;
PCSIM_EXPORT pcSimIPv6FibRoute* pcSimIPv6FibDirectRtCreate(uint32_t vrId, uint32_t address0,
                                                           uint32_t address1, uint32_t address2,
                                                           uint32_t address3,
                                                           uint32_t vlan) noexcept;
PCSIM_EXPORT void pcSimIPv6FibDirectRtFree(pcSimIPv6FibRoute* route) noexcept;
}

#endif
