// The narrow meeting point of adjacencies and IPv4 routes, which need each other by nature.
//
// Routes take a counted reference on the adjacency of each next hop; an adjacency that the HAL adds
// brings a host route along. Neither side uses more of the other than this; pcsim/l3.h has the
// contracts.
//
//   routes of adjacencies   adjacencyFor, rtAttachIpAdjEntry, rtDeattachIpAdjEntry
//   adjacencies of routes   pcSimIPv4FibDirectRtLookup, ...DirectRtCreate, ...DirectRtFree
#ifndef PCSIM_L3_ADJACENCYROUTES_H
#define PCSIM_L3_ADJACENCYROUTES_H

#include "pcsim/l3.h"
#include "platform/base/export.h"

namespace pcsim {

// The adjacency that a look-up or an add has made last: who has just looked one up and finds it
// here has made it. Compared alone, never followed; whoever looks resets it first.
extern const pcSimIpAdjEntry* newestAdjacency;

// What pcSimIpAdjLookup finds or makes, without the host's tree when it has been used lately.
pcSimIpAdjEntry* adjacencyFor(uint32_t vrId, uint32_t ip, uint32_t vlan) noexcept;

}  // namespace pcsim

#endif
