// The IPv4 routes: (virtual router, prefix, mask) with a list of next hops, newest first, each of
// which references the adjacency of its gateway.
//
// Routes and next hops are owned by the table. A route lives until a delete or a flush leaves it
// without next hops, or its adjacency is removed. Algorithms: fibTable.h, contracts: pcsim/l3.h.
#ifndef PCSIM_L3_PCSIMIPV4FIB_H
#define PCSIM_L3_PCSIMIPV4FIB_H

#include "platform/base/stub.h"
#include "platform/l3/adjacencyRoutes.h"

// Accepted and ignored.
#define PCSIM_IPV4_FIB_STUBS(STUB)  \
    STUB(pcSimPCFamIPv4FibInit)     \
    STUB(pcSimPCFamIPv4FibCleanup)  \
    STUB(pcSimPCFamIPv4FibLookup)   \
    STUB(pcSimPCFamIPv4FibTransEnd) \
    STUB(pcSimCardIPv4SyncBeginHw)  \
    STUB(pcSimCardIPv4SyncEndHw)    \
    STUB(pcSimPCFamIPv4DirBcast)

#endif
