// The narrow meeting point of adjacencies and IPv4 routes, which need each other by nature.
//
// Routes take a counted reference on the adjacency of each next hop; an adjacency that the HAL adds
// brings a host route along. Neither side sees more of the other than this.
#ifndef PCSIM_L3_ADJACENCY_ROUTES_H
#define PCSIM_L3_ADJACENCY_ROUTES_H

#include "pcsim/l3.h"
#include "platform/base/export.h"

extern "C" {

// --- What routes use of adjacencies --------------------------------------------------------------

// The adjacency of (vrId, IPv4 address 'ip', vlan). With 'create' one that isn't there is made as a
// placeholder without MAC address and port. Null when there is none, or no memory for it.
PCSIM_EXPORT pcSimIpAdjEntry* pcSimIpAdjLookup(uint32_t vrId, uint32_t ip, uint32_t vlan,
                                               uint8_t create) noexcept;

// Attaches 'nextHop' to 'entry', which then lives at least as long. Constant time, however many
// next hops share the entry. Null traps.
PCSIM_EXPORT void rtAttachIpAdjEntry(pcSimIpAdjEntry* entry, pcSimFibNextHop* nextHop) noexcept;

// Detaches 'nextHop' from its adjacency, which is freed when nothing else needs it. Constant time.
// The next hop's adjacency pointer is left as it was. Null, or no adjacency, traps.
PCSIM_EXPORT void rtDeattachIpAdjEntry(pcSimFibNextHop* nextHop) noexcept;

// --- What adjacencies use of routes --------------------------------------------------------------

// The route of (vrId, address, 255.255.255.255), or null.
PCSIM_EXPORT pcSimIPv4FibRoute* pcSimIPv4FibDirectRtLookup(uint32_t vrId,
                                                           uint32_t address) noexcept;

// Makes that route with one next hop, the address itself on 'vlan', which the caller attaches. Null
// when there is no memory or the tree refuses the route, and then nothing has changed.
PCSIM_EXPORT pcSimIPv4FibRoute* pcSimIPv4FibDirectRtCreate(uint32_t vrId, uint32_t address,
                                                           uint32_t vlan) noexcept;

// Frees 'route' and the first of its next hops, which the caller has detached. Null traps.
PCSIM_EXPORT void pcSimIPv4FibDirectRtFree(pcSimIPv4FibRoute* route) noexcept;
}

#endif
