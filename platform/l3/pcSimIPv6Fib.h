// The IPv6 routes: (virtual router, prefix, prefix length) with a list of next hops, newest first.
//
// The same table as that of IPv4, but for three things that are meant to differ: the mask is a
// length, next hops reference no adjacency, and the dump shows addresses as text and no MAC address
// or port. Algorithms: fibTable.h, contracts: pcsim/l3.h.
#ifndef PCSIM_L3_PCSIMIPV6FIB_H
#define PCSIM_L3_PCSIMIPV6FIB_H

#include "pcsim/l3.h"
#include "platform/base/stub.h"

// Accepted and ignored.
#define PCSIM_IPV6_FIB_STUBS(STUB) \
    STUB(pcSimPCFamIPv6FibInit)    \
    STUB(pcSimPCFamIPv6FibCleanup) \
    STUB(pcSimPCFamIPv6FibLookup)  \
    STUB(pcSimCardIPv6SyncBeginHw) \
    STUB(pcSimCardIPv6SyncEndHw)

#endif
