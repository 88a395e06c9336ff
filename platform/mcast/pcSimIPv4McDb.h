// The IPv4 multicast database: what the HAL has programmed, in memory; no packet is forwarded.
//
// A cache is one (group, source, incoming VLAN) of a virtual router with its outgoing VLANs and
// ports; nodes.h draws how the nodes hang together and what frees them. Every virtual router has
// 512 buckets of groups, VLANs and ports in use are shared by all. Every step is one of a tree or
// a list unlink: an operation costs the logarithm of what is there and the members that it touches.
//
// The HAL calls from one thread; there are no locks. Null pointers and an exhausted heap stop the
// process. The four hooks are empty here: a host that drives a real switching chip defines them.
// Contracts in pcsim/mcast.h.
#ifndef PCSIM_MCAST_PCSIMIPV4MCDB_H
#define PCSIM_MCAST_PCSIMIPV4MCDB_H

#include "pcsim/mcast.h"
#include "platform/base/export.h"
#include "platform/mcast/nodes.h"

extern "C" {
// State, for debuggers.
extern PCSIM_EXPORT HalTreeRoot* groupTable;  // 512 roots per virtual router
extern PCSIM_EXPORT HalTreeRoot vlanTree;
extern PCSIM_EXPORT HalTreeRoot portTree;
}

#endif
