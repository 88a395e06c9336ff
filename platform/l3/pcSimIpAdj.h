// The IPv4 adjacencies: for a virtual router, an address and a VLAN, the MAC address and port of
// the neighbour.
//
// Entries live in one tree, ordered by the raw bytes of the key, and are owned by this table. An
// entry comes from the HAL (resolved) or from a route that names its gateway (a placeholder), and
// goes when it has neither a port nor a reference. The table exists from load to the end of the
// process. The HAL serialises calls with those to the IPv4 routes.
#ifndef PCSIM_L3_PCSIMIPADJ_H
#define PCSIM_L3_PCSIMIPADJ_H

#include "platform/l3/adjacencyRoutes.h"

extern "C" {

// Operations of the HAL; their contracts are those of the HalIpAdj...Fn types.
PCSIM_EXPORT int32_t pcSimIpAdjAdd(const pcSimIpAdjRec* record) noexcept;
PCSIM_EXPORT void pcSimIpAdjRemove(const pcSimIpAdjRec* record) noexcept;
PCSIM_EXPORT uint32_t pcSimIpAdjDump(const pcSimDumpSink* sink) noexcept;

// Frees 'entry' unless it is referenced or has a port. Null traps.
PCSIM_EXPORT void _pcSimIpAdjFree(pcSimIpAdjEntry* entry) noexcept;

// The table's order: the 28 key bytes as they lie in memory. A null node traps when the host's
// assertion switch is on, else it is reported on standard output and orders as an all-zero key.
PCSIM_EXPORT int32_t pcSimIpAdjComp(const HalTreeNode* a, const HalTreeNode* b) noexcept;

// The host routes, under the names by which the adjacencies know them.
PCSIM_EXPORT pcSimIPv4FibRoute* directRtLookup(uint32_t vrId, uint32_t address) noexcept;
PCSIM_EXPORT pcSimIPv4FibRoute* directRtCreate(uint32_t vrId, uint32_t address,
                                               uint32_t vlan) noexcept;
PCSIM_EXPORT void directRtFree(pcSimIPv4FibRoute* route) noexcept;
}

#endif
