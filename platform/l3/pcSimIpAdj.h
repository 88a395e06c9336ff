// The IPv4 adjacencies: for a virtual router, an address and a VLAN, the MAC address and port of
// the neighbour.
//
// Entries live in one tree, ordered by the raw bytes of the key, and are owned by this table. An
// entry comes from the HAL (resolved) or from a route that names its gateway (a placeholder), and
// goes when it has neither a port nor a reference. The table exists from load to the end of the
// process. The HAL serialises calls with those to the IPv4 routes. Contracts in pcsim/l3.h.
#ifndef PCSIM_L3_PCSIMIPADJ_H
#define PCSIM_L3_PCSIMIPADJ_H

#include "platform/l3/adjacencyRoutes.h"

#endif
