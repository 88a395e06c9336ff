/* Layer-3 unicast: IPv4 next-hop adjacencies and the IPv4 and IPv6 route tables, as the HAL
 * programs them through the card family operations, and the nodes in which the platform keeps them.
 *
 * No packet is forwarded with these tables: they are state that can be inspected. An adjacency says
 * through which MAC address and port a neighbour is reached. Every next hop of an IPv4 route holds
 * one counted reference to the adjacency of its gateway, made on demand as a placeholder, so an
 * adjacency lives as long as it has a port or a reference. An adjacency that the HAL adds brings a
 * host route (mask 255.255.255.255) with it. IPv6 next hops reference nothing.
 *
 * Requests and records are the HAL's, read during the call alone. Nodes are the platform's: the HAL
 * and debuggers may look at them between calls, never write. Addresses and masks are in
 * network byte order, everything else in host order.
 *
 * Thread: any of the HAL's, one call at a time into the three tables together. */
#ifndef PCSIM_L3_H
#define PCSIM_L3_H

#include "pcsim/base.h"
#include "pcsim/dump_sink.h"
#include "pcsim/host_tree.h"

PCSIM_BEGIN_DECLS

/* --- Records that the HAL passes -------------------------------------------------------------- */

/* An address of either family, in network byte order. An IPv4 address fills the first word, the
 * others are 0. */
typedef union HalIpAddress {
    PCSIM_IS(ipv6) uint8_t bytes[16];
    PCSIM_IS(hex) uint32_t words[4];
} HalIpAddress;

#define HAL_IP_FAMILY_IPV4 2u

/* One adjacency. The first 28 bytes are its key. */
typedef struct pcSimIpAdjRec {
    HalVirtualRouter vrId;
    uint32_t family; /* 4: HAL_IP_FAMILY_IPV4; the table keeps no other */
    PCSIM_IS(address of family) HalIpAddress ipAddr;
    PCSIM_IS(vlan) uint32_t vlan;
    PCSIM_IS(carried) uint8_t reserved28[2]; /* 28 */
    PCSIM_IS(mac) uint8_t mac[6];
    HalPortInstance port;                     /* 36: 0: not resolved, or removed */
    PCSIM_IS(carried) uint8_t reserved40[24]; /* 40 */
} pcSimIpAdjRec;

typedef struct pcSimIPv4FibSlot {
    uint32_t reserved0;
    HalIpv4Address gateway;
    PCSIM_IS(vlan) uint32_t vlan;
    uint32_t reserved12;
} pcSimIPv4FibSlot;

typedef struct pcSimIPv4FibReq {
    HalVirtualRouter vrId;
    HalIpv4Address prefix;
    HalIpv4Mask mask; /* 8: any bit mask */
    int32_t count; /* 12: number of slots that follow; what 0 and less mean is each operation's */
    /* 16: a flush reads the VLAN of the first, whatever 'count' says */
    PCSIM_IS(count count) pcSimIPv4FibSlot slots[];
} pcSimIPv4FibReq;

typedef struct pcSimIPv6FibSlot {
    PCSIM_IS(ipv6) HalIpAddress gateway;
    PCSIM_IS(vlan) uint32_t vlan;
    uint8_t reserved20[8];
} pcSimIPv6FibSlot;

typedef struct pcSimIPv6FibReq {
    HalVirtualRouter vrId;
    PCSIM_IS(ipv6) HalIpAddress prefix;
    uint8_t maskLen; /* 20: prefix length in bits */
    uint8_t count;   /* 21: number of slots that follow */
    uint8_t reserved22[2];
    /* 24: a flush reads the VLAN of the first, whatever 'count' says */
    PCSIM_IS(count count) pcSimIPv6FibSlot slots[];
} pcSimIPv6FibReq;

/* --- Nodes of the tables ---------------------------------------------------------------------- */

/* A place in a circular doubly linked list; alone, it points at itself. */
typedef struct PCSIM_IS(platform) pcSimFibLinks {
    struct pcSimFibLinks* next;
    struct pcSimFibLinks* previous;
} pcSimFibLinks;

/* One adjacency of the table. */
typedef struct PCSIM_IS(platform) pcSimIpAdjEntry {
    HalTreeNode node;
    uint32_t refCount;      /* 16: attached next hops */
    pcSimFibLinks nextHops; /* 20: their list, in the order they were attached */
    pcSimIpAdjRec record;   /* 28 */
} pcSimIpAdjEntry;

struct pcSimIPv4FibRoute;
struct pcSimIPv6FibRoute;

/* One next hop of an IPv4 route. */
typedef struct PCSIM_IS(platform) pcSimFibNextHop {
    pcSimFibLinks links;          /* 0: its place in the adjacency's list */
    struct pcSimFibNextHop* next; /* 8: the next older one of the route */
    HalIpv4Address gateway;
    PCSIM_IS(vlan) uint32_t vlan;
    struct pcSimIPv4FibRoute* route;
    pcSimIpAdjEntry* adjacency; /* 24: null until attached, kept when detached */
} pcSimFibNextHop;

/* One next hop of an IPv6 route: the same shape around a longer gateway. */
typedef struct PCSIM_IS(platform) pcSimIPv6FibNextHop {
    pcSimFibLinks links;              /* 0: always alone */
    struct pcSimIPv6FibNextHop* next; /* 8 */
    PCSIM_IS(ipv6) HalIpAddress gateway;
    PCSIM_IS(vlan) uint32_t vlan;
    struct pcSimIPv6FibRoute* route;
    pcSimIpAdjEntry* adjacency; /* 36: always null */
} pcSimIPv6FibNextHop;

/* One IPv4 route; vrId, prefix and mask are its key. */
typedef struct PCSIM_IS(platform) pcSimIPv4FibRoute {
    HalTreeNode node;
    HalVirtualRouter vrId;
    HalIpv4Address prefix;
    HalIpv4Mask mask;
    pcSimFibNextHop* nextHops; /* 28: the newest one, null when there is none */
} pcSimIPv4FibRoute;

/* One IPv6 route; vrId, prefix and maskLen are its key. */
typedef struct PCSIM_IS(platform) pcSimIPv6FibRoute {
    HalTreeNode node;
    HalVirtualRouter vrId;
    PCSIM_IS(ipv6) HalIpAddress prefix;
    uint32_t maskLen;
    pcSimIPv6FibNextHop* nextHops; /* 40: the newest one, null when there is none */
} pcSimIPv6FibRoute;

/* --- Adjacency operations --------------------------------------------------------------------- */

/* Adds the adjacency of 'record' (VR, address, VLAN), or gives the one that is there, a placeholder
 * too, the record's MAC address, port and carried bytes; references stay. Unless the address has a
 * host route already, one is made that references the adjacency; that this failed is traced and
 * otherwise ignored. 0; -1 when there is no memory, and then nothing has changed. Null traps.
 * Live. */
typedef int32_t HalIpAdjAddFn(const pcSimIpAdjRec* record);

/* Removes the port of the adjacency with 'record's VR, address and VLAN (nothing else is read) and
 * takes its host route away. It stays, with port 0, while other routes reference it. Does nothing
 * when there is no such adjacency. Null traps. Live. */
typedef void HalIpAdjRemoveFn(PCSIM_IS(up to vlan) const pcSimIpAdjRec* record);

/* Lists the adjacencies in the byte order of their keys (so VR 256 comes before VR 1) to 'sink', to
 * standard output when it is null. 0. Live. */
typedef uint32_t HalIpAdjDumpFn(PCSIM_IS(null) const pcSimDumpSink* sink);

/* --- IPv4 route operations -------------------------------------------------------------------- */

/* Adds the slots' next hops to the route of 'request', which is made when it is not there; a slot
 * that the route has already is skipped. With 'count' below 1 a route without next hops is made,
 * and an existing one is left alone. 0; -1 when there is no memory, and then no route has changed.
 * An adjacency that can't be made traps. Live. */
typedef int32_t HalIPv4FibAddEntryFn(const pcSimIPv4FibReq* request);

/* Removes from the route of 'request' the slots' next hops, and the route when it has none left.
 * 'count' 0 removes the route and all it has; a negative one removes it only when it has no next
 * hops. 0, also when there is no such route. Live. */
typedef uint32_t HalIPv4FibDeleteEntryFn(const pcSimIPv4FibReq* request);

/* Makes the slots' next hops the only ones of the route of 'request', which is made when it is not
 * there. What both have stays untouched, with its reference. With 'count' below 1 the route stays
 * without next hops. 0; -1 when there is no memory, and then no route has changed. An adjacency
 * that can't be made traps. Live. */
typedef int32_t HalIPv4FibReplaceEntryFn(const pcSimIPv4FibReq* request);

/* Removes the next hops of 'filter's VR whose gateway agrees with 'prefix' in the bits of 'mask'
 * and whose VLAN is that of the first slot (0: any), and then the VR's routes without next hops. 0.
 * Live. */
typedef uint32_t HalIPv4FibFlushFn(PCSIM_IS(tail 1) const pcSimIPv4FibReq* filter);

/* Lists the routes, by VR, longest mask first, then by address, to 'sink', to standard output when
 * it is null. 0. Live. */
typedef uint32_t HalIPv4FibDumpFn(PCSIM_IS(null) const pcSimDumpSink* sink);

/* --- IPv6 route operations -------------------------------------------------------------------- */
/* As those of IPv4, without adjacencies; 'count' is never negative. Live. */
typedef int32_t HalIPv6FibAddEntryFn(const pcSimIPv6FibReq* request);
typedef uint32_t HalIPv6FibDeleteEntryFn(const pcSimIPv6FibReq* request);
typedef int32_t HalIPv6FibReplaceEntryFn(const pcSimIPv6FibReq* request);

/* As that of IPv4. Gateways agree with 'prefix' in the first 'maskLen' bits; more than 128 mean all
 * of them. Live. */
typedef uint32_t HalIPv6FibFlushFn(PCSIM_IS(tail 1) const pcSimIPv6FibReq* filter);

/* Lists the routes, by VR, longest prefix first, then by address, to 'sink', to standard output
 * when it is null. 0. Live. */
typedef uint32_t HalIPv6FibDumpFn(PCSIM_IS(null) const pcSimDumpSink* sink);

/* --- What serves the operations --------------------------------------------------------------- */
/* The steps that the operations above are made of, for a host that keeps routes of its own beside
 * those of the HAL, and for debuggers. Null where a node is required traps. */

/* Root of the IPv4 routes, ordered by pcSimPCFamIPv4FibEntryCmpFunc, and of the IPv6 routes,
 * ordered by pcSimPCFamIPv6FibEntryCmpFunc; null while there are none. */
extern PCSIM_API HalTreeRoot gIPv4FibTable;
extern PCSIM_API HalTreeRoot gIPv6FibTable;

/* The adjacency of (vrId, IPv4 address 'ip', vlan). With 'create' one that isn't there is made as a
 * placeholder without MAC address and port. Null when there is none, or no memory for it. Live. */
typedef pcSimIpAdjEntry* HalIpAdjLookupFn(HalVirtualRouter vrId, HalIpv4Address ip,
                                          PCSIM_IS(vlan) uint32_t vlan,
                                          PCSIM_IS(flag) uint8_t create);

/* Frees 'entry' unless it is referenced or has a port. Live. */
typedef void HalIpAdjFreeFn(pcSimIpAdjEntry* entry);

/* Attaches 'nextHop' to 'entry', which then lives at least as long. Constant time, however many
 * next hops share the entry. Live. */
typedef void HalRtAttachIpAdjEntryFn(pcSimIpAdjEntry* entry, pcSimFibNextHop* nextHop);

/* Detaches 'nextHop' from its adjacency (none traps), which is freed when nothing else needs it.
 * Constant time. The next hop's adjacency pointer is left as it was. Live. */
typedef void HalRtDeattachIpAdjEntryFn(pcSimFibNextHop* nextHop);

/* The adjacencies' order: the 28 key bytes as they lie in memory. A null node traps when the host's
 * assertion switch (gHal) is on, else it is reported on standard output and orders as an all-zero
 * key. Constant. */
typedef HalTreeCompareFn HalIpAdjCompFn;

/* The routes' order: VR ascending, mask or prefix length descending, prefix ascending; IPv4
 * prefixes as numbers, IPv6 ones byte by byte. Constant. */
typedef HalTreeCompareFn HalIPv4FibEntryCmpFuncFn;
typedef HalTreeCompareFn HalIPv6FibEntryCmpFuncFn;

/* Prints one row per next hop of 'route' to 'sink', to standard output when it is null. A next hop
 * without adjacency traps. Live. */
typedef void HalDumpSimEntryFn(PCSIM_IS(null) const pcSimDumpSink* sink,
                               const pcSimIPv4FibRoute* route);

/* The route of that key, or null. An IPv6 prefix is four words as they lie in memory. Live. */
typedef pcSimIPv4FibRoute* HalIPv4FibFindFn(HalVirtualRouter vrId, HalIpv4Address prefix,
                                            HalIpv4Mask mask);
typedef pcSimIPv6FibRoute* HalIPv6FibFindFn(HalVirtualRouter vrId, PCSIM_IS(hex) uint32_t prefix0,
                                            PCSIM_IS(hex) uint32_t prefix1,
                                            PCSIM_IS(hex) uint32_t prefix2,
                                            PCSIM_IS(hex) uint32_t prefix3, uint32_t maskLen);

/* A zero-filled route that is in no table yet and is the caller's; null when there is no memory.
 * Simulated. */
typedef PCSIM_IS(new) pcSimIPv4FibRoute* HalIPv4FibRouteAllocFn(void);
typedef PCSIM_IS(new) pcSimIPv6FibRoute* HalIPv6FibRouteAllocFn(void);

/* The host route (mask 255.255.255.255, length 128) of an address, or null. Live. */
typedef pcSimIPv4FibRoute* HalIPv4FibDirectRtLookupFn(HalVirtualRouter vrId,
                                                      HalIpv4Address address);
typedef pcSimIPv6FibRoute* HalIPv6FibDirectRtLookupFn(HalVirtualRouter vrId,
                                                      PCSIM_IS(hex) uint32_t address0,
                                                      PCSIM_IS(hex) uint32_t address1,
                                                      PCSIM_IS(hex) uint32_t address2,
                                                      PCSIM_IS(hex) uint32_t address3);

/* Makes a host route with one next hop, the address itself on 'vlan', which the caller attaches
 * (IPv6 ones are attached to nothing). Null when there is no memory or the tree refuses the route,
 * and then nothing has changed. Live. */
typedef PCSIM_IS(new) pcSimIPv4FibRoute* HalIPv4FibDirectRtCreateFn(HalVirtualRouter vrId,
                                                                    HalIpv4Address address,
                                                                    PCSIM_IS(vlan) uint32_t vlan);
typedef PCSIM_IS(new) pcSimIPv6FibRoute* HalIPv6FibDirectRtCreateFn(
    HalVirtualRouter vrId, PCSIM_IS(hex) uint32_t address0, PCSIM_IS(hex) uint32_t address1,
    PCSIM_IS(hex) uint32_t address2, PCSIM_IS(hex) uint32_t address3, PCSIM_IS(vlan) uint32_t vlan);

/* Frees 'route' and the first of its next hops, which the caller has detached. Live. */
typedef void HalIPv4FibDirectRtFreeFn(pcSimIPv4FibRoute* route);
typedef void HalIPv6FibDirectRtFreeFn(pcSimIPv6FibRoute* route);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalIpAdjAddFn, pcSimIpAdjAdd);
PCSIM_OPERATION(HalIpAdjRemoveFn, pcSimIpAdjRemove);
PCSIM_OPERATION(HalIpAdjLookupFn, pcSimIpAdjLookup);
PCSIM_OPERATION(HalIpAdjFreeFn, _pcSimIpAdjFree);
PCSIM_OPERATION(HalRtAttachIpAdjEntryFn, rtAttachIpAdjEntry);
PCSIM_OPERATION(HalRtDeattachIpAdjEntryFn, rtDeattachIpAdjEntry);
PCSIM_OPERATION(HalIpAdjDumpFn, pcSimIpAdjDump);
PCSIM_OPERATION(HalIpAdjCompFn, pcSimIpAdjComp);
/* The host routes of IPv4, under the names by which the adjacencies know them. */
PCSIM_OPERATION(HalIPv4FibDirectRtLookupFn, directRtLookup);
PCSIM_OPERATION(HalIPv4FibDirectRtCreateFn, directRtCreate);
PCSIM_OPERATION(HalIPv4FibDirectRtFreeFn, directRtFree);

PCSIM_OPERATION(HalIPv4FibAddEntryFn, pcSimPCFamIPv4FibAddEntry);
PCSIM_OPERATION(HalIPv4FibDeleteEntryFn, pcSimPCFamIPv4FibDeleteEntry);
PCSIM_OPERATION(HalIPv4FibReplaceEntryFn, pcSimPCFamIPv4FibReplaceEntry);
PCSIM_OPERATION(HalIPv4FibFlushFn, pcSimPCFamIPv4FibFlush);
PCSIM_OPERATION(HalIPv4FibDumpFn, pcSimPCFamIPv4FibDump);
PCSIM_OPERATION(HalIPv4FibEntryCmpFuncFn, pcSimPCFamIPv4FibEntryCmpFunc);
PCSIM_OPERATION(HalDumpSimEntryFn, dumpSimEntry);
PCSIM_OPERATION(HalIPv4FibFindFn, pcSimIPv4FibFind);
PCSIM_OPERATION(HalIPv4FibRouteAllocFn, pcSimIPv4FibRouteAlloc);
PCSIM_OPERATION(HalIPv4FibDirectRtLookupFn, pcSimIPv4FibDirectRtLookup);
PCSIM_OPERATION(HalIPv4FibDirectRtCreateFn, pcSimIPv4FibDirectRtCreate);
PCSIM_OPERATION(HalIPv4FibDirectRtFreeFn, pcSimIPv4FibDirectRtFree);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv4FibInit);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv4FibCleanup);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv4FibLookup);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv4FibTransEnd);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv4SyncBeginHw);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv4SyncEndHw);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv4DirBcast);

PCSIM_OPERATION(HalIPv6FibAddEntryFn, pcSimPCFamIPv6FibAddEntry);
PCSIM_OPERATION(HalIPv6FibDeleteEntryFn, pcSimPCFamIPv6FibDeleteEntry);
PCSIM_OPERATION(HalIPv6FibReplaceEntryFn, pcSimPCFamIPv6FibReplaceEntry);
PCSIM_OPERATION(HalIPv6FibFlushFn, pcSimPCFamIPv6FibFlush);
PCSIM_OPERATION(HalIPv6FibDumpFn, pcSimPCFamIPv6FibDump);
PCSIM_OPERATION(HalIPv6FibEntryCmpFuncFn, pcSimPCFamIPv6FibEntryCmpFunc);
PCSIM_OPERATION(HalIPv6FibFindFn, pcSimIPv6FibFind);
PCSIM_OPERATION(HalIPv6FibRouteAllocFn, pcSimIPv6FibRouteAlloc);
PCSIM_OPERATION(HalIPv6FibDirectRtLookupFn, pcSimIPv6FibDirectRtLookup);
PCSIM_OPERATION(HalIPv6FibDirectRtCreateFn, pcSimIPv6FibDirectRtCreate);
PCSIM_OPERATION(HalIPv6FibDirectRtFreeFn, pcSimIPv6FibDirectRtFree);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv6FibInit);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv6FibCleanup);
PCSIM_OPERATION(HalStubFn, pcSimPCFamIPv6FibLookup);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv6SyncBeginHw);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv6SyncEndHw);

PCSIM_END_DECLS

#endif
