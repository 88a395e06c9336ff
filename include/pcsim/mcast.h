/* IPv4 multicast: the requests by which the HAL programs forwarding caches, and the operations of
 * the card family that take them.
 *
 * A cache is one (group, source, incoming VLAN) with the ports that its packets leave by. Addresses
 * are in network byte order throughout. The platform keeps its own copy of what a request says and
 * never writes to it; the HAL keeps the interface records alive while a cache names them.
 *
 * Thread: any of the HAL's, one multicast call at a time. */
#ifndef PCSIM_MCAST_H
#define PCSIM_MCAST_H

#include "pcsim/base.h"
#include "pcsim/dump_sink.h"

PCSIM_BEGIN_DECLS

/* Which cache a request is about. 0 stands for "any" where an operation takes a pattern. */
typedef struct HalMcastKey {
    HalVirtualRouter vr;          /* 0: virtual router, below what dmGetMaxVr() was at set-up */
    HalVlanInstance incomingVlan; /* 4: that the packets arrive on */
    uint32_t reserved8;
    HalIpv4Address group;  /* 12 */
    HalIpv4Address source; /* 16 */
} HalMcastKey;

/* One outgoing VLAN and port. */
typedef struct HalMcastOutgoing {
    HalVlanInstance vlanInstance;    /* 0 */
    uint16_t port;                   /* 4: with 'slot' the port key, slot << 16 | port */
    uint16_t slot;                   /* 6 */
    PCSIM_IS(hex) uint32_t portWord; /* 8: the HAL's; bits 12 to 31 are stored with the port */
    PCSIM_IS(hex) uint32_t vlanWord; /* 12: the HAL's; the last one given is stored with the VLAN */
} HalMcastOutgoing;

typedef struct HalMcastRequest {
    HalMcastKey key; /* 0 */
    uint32_t reserved20[2];
    int32_t outgoingCount;                                     /* 28: a count below 1 means none */
    PCSIM_IS(count outgoingCount) HalMcastOutgoing outgoing[]; /* 32 */
} HalMcastRequest;

/* A question for a cache's counters, and its answer. */
typedef struct HalMcastStats {
    HalMcastKey key;                  /* 0 */
    PCSIM_IS(out) uint32_t second[2]; /* 20: the cache's second pair of counters */
    PCSIM_IS(out) uint32_t first[2];  /* 28: the cache's first pair */
} HalMcastStats;

/* Adds a cache, or extends the one that 'key' names, by the outgoing ports, in order. A source of 0
 * makes a cache of its own for any source.
 * 0; -1 when the virtual router has no table, the same cache for any source is there already, or an
 * outgoing VLAN or port has no interface record: then the ports before it stay. The process stops
 * when memory runs out. Live. */
typedef int32_t HalIpv4McHwCacheAddFn(const HalMcastRequest* request);

/* Deletes the cache that 'key' names; the outgoing ports are not looked at.
 * 0, also when there is no such cache; -1 when group, source or incoming VLAN is 0. Live. */
typedef int32_t HalIpv4McHwCacheDelFn(PCSIM_IS(up to key) const HalMcastRequest* request);

/* Adds outgoing ports to a cache.
 * 0; -1 when there is no such cache, or for the first VLAN or port without an interface record: the
 * ports before it stay. Live. */
typedef int32_t HalIpv4McHwCacheOifPortAddFn(const HalMcastRequest* request);

/* Removes outgoing ports from one cache, from the caches of a group, or (source, group and incoming
 * VLAN all 0) from every cache. In an outgoing entry a VLAN of 0 means every VLAN but the incoming
 * one, a port of 0 every port and with it the VLAN.
 * 0; -1 when a source is given without an incoming VLAN, or names no cache. Live. */
typedef int32_t HalIpv4McHwCacheOifPortDelFn(const HalMcastRequest* request);

/* Deletes the caches that match 'key': of an incoming VLAN, of a group on an incoming VLAN, one
 * cache, or all. 0; -1 when a source is given without a group. Live. */
typedef int32_t HalIpv4McHwCacheFlushFn(PCSIM_IS(up to key) const HalMcastRequest* request);

/* Copies the counters of the cache that 'key' names. They are constant 0: no packet is forwarded.
 * 0; -1 when there is no such cache, and then nothing is written. Constant. */
typedef int32_t HalIpv4McHwCacheGetStatsFn(HalMcastStats* stats);

/* Lists the caches of virtual router 2 to 'sink', or to standard output when it is null. 0.
 * Live. */
typedef int32_t HalDumpHalMcDbFn(PCSIM_IS(null) const pcSimDumpSink* sink);

/* --- What serves the operations --------------------------------------------------------------- */
/* Operations and state that are in no table: what a host does when an interface goes away, what the
 * operations above are made of, and hooks that a host may define in the library's stead. */

/* Not 0: the operations that change caches, and the dump, print a line when they are called. 0 at
 * load; the host's to set. */
extern PCSIM_API uint32_t mcLogMess;

/* A cache, one VLAN of a cache, a VLAN, a port, a VLAN on a port: the library's, never looked into.
 * A cache that has been deleted stays readable for whoever looked it up; the others do not. */
typedef struct HalMcastCacheNode HalMcastCacheNode;
typedef struct HalMcastCacheIf HalMcastCacheIf;
typedef struct HalMcastVlanNode HalMcastVlanNode;
typedef struct HalMcastPortNode HalMcastPortNode;
typedef struct HalMcastVpifNode HalMcastVpifNode;

/* Makes empty buckets for dmGetMaxVr() virtual routers, asked once at each call; system
 * initialisation calls it. Whatever an earlier call has left is deleted first. 1; 0 when memory
 * runs out, and then nothing has changed. Live. */
typedef int32_t HalIPv4McDbInitFn(void);

/* Stores the cache that 'key' names in '*cache', null when there is none. Without an incoming VLAN
 * the source alone is looked for, and may be missed. 0; -1 when not found or the source is 0.
 * Live. */
typedef int32_t HalIpv4McHwCacheFindFn(const HalMcastKey* key,
                                       PCSIM_IS(out) HalMcastCacheNode** cache);

/* Deletes every cache, one VLAN after the other. 0; -1 when pcSimHalIpv4McHwVlanDel, which it calls
 * by name, returns anything but 0. Live. */
typedef int32_t HalIpv4McHwFlushAllFn(void);

/* Do the work of the table's words ...OifPortAdd and ...OifPortDel, with the same results. Live. */
typedef int32_t HalIpv4McHwCacheOifAddFn(const HalMcastRequest* request);
typedef int32_t HalIpv4McHwCacheOifDelFn(const HalMcastRequest* request);

/* A VLAN goes away: takes it out of every cache, and deletes the caches that it was the incoming
 * VLAN of. Called before the host frees the VLAN's record. Always 0. Live. */
typedef int32_t HalIpv4McHwVlanDelFn(HalVlanInstance vlanInstance);

/* A port ('portKey': slot << 16 | port), or one VLAN on a port, goes away: takes it out of every
 * cache. Called before the host frees the port's record. Always 0. Live. */
typedef int32_t HalIpv4McHwPifDelFn(PCSIM_IS(port key) uint32_t portKey);
typedef int32_t HalIpv4McHwVpifDelFn(HalVlanInstance vlanInstance,
                                     PCSIM_IS(port key) uint32_t portKey);

/* Lists one cache to 'sink', to standard output when it is null. Always 0. Live. */
typedef int32_t HalDumpCacheNodeFn(PCSIM_IS(null) const pcSimDumpSink* sink,
                                   HalMcastCacheNode* cache);

/* Dotted text of an address in network byte order, in one of five buffers of the library: five
 * results stay valid at once. Constant. */
typedef PCSIM_IS(text) char* HalHmcNtoaFn(HalIpv4Address address);

/* What ptagInit (a cache has been made), ptagRelease (one is being deleted), asicAddPort (a port
 * has been added to a cache) and asicDelPort (a port has been taken from its VLAN on the port) are.
 * The library calls them by name and its own are empty: a host that drives a real switching chip
 * defines them, and its definitions are called instead. Accepted and ignored. */
typedef void HalMcastHookFn(void);

/* The node of a VLAN, of a VLAN in a cache, of a port, of a VLAN on a port: the one that is there,
 * else a new one. Null when the host has no record for the VLAN or port, or its tree refuses the
 * node. The process stops when memory runs out. Live. */
typedef HalMcastVlanNode* HalGetVlanNodeFn(HalVlanInstance vlanInstance);
typedef HalMcastCacheIf* HalGetCacheIfFn(HalMcastCacheNode* cache, HalVlanInstance vlanInstance);
typedef HalMcastPortNode* HalGetPortNodeFn(PCSIM_IS(port key) uint32_t portKey);
typedef HalMcastVpifNode* HalGetVpifNodeFn(HalMcastPortNode* portNode,
                                           HalVlanInstance vlanInstance);

/* Adds the outgoing port to the cache. 0, also when it is there already; -1 when one of the nodes
 * above can't be had or a tree refuses the port: what has been made stays. Live. */
typedef int32_t HalAddCachePortFn(HalMcastCacheNode* cache, const HalMcastOutgoing* entry);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalIPv4McDbInitFn, pcSimHalIPv4McDbInit);
PCSIM_OPERATION(HalIpv4McHwCacheAddFn, pcSimHalIpv4McHwCacheAdd);
PCSIM_OPERATION(HalIpv4McHwCacheDelFn, pcSimHalIpv4McHwCacheDel);
PCSIM_OPERATION(HalIpv4McHwCacheFindFn, pcSimHalIpv4McHwCacheFind);
PCSIM_OPERATION(HalIpv4McHwCacheFlushFn, pcSimHalIpv4McHwCacheFlush);
PCSIM_OPERATION(HalIpv4McHwFlushAllFn, pcSimHalIpv4McHwFlushAll);
PCSIM_OPERATION(HalIpv4McHwCacheOifAddFn, pcSimHalIpv4McHwCacheOifAdd);
PCSIM_OPERATION(HalIpv4McHwCacheOifDelFn, pcSimHalIpv4McHwCacheOifDel);
PCSIM_OPERATION(HalIpv4McHwCacheOifPortAddFn, pcSimHalIpv4McHwCacheOifPortAdd);
PCSIM_OPERATION(HalIpv4McHwCacheOifPortDelFn, pcSimHalIpv4McHwCacheOifPortDel);
PCSIM_OPERATION(HalIpv4McHwCacheGetStatsFn, pcSimHalIpv4McHwCacheGetStats);
PCSIM_OPERATION(HalIpv4McHwVlanDelFn, pcSimHalIpv4McHwVlanDel);
PCSIM_OPERATION(HalIpv4McHwPifDelFn, pcSimHalIpv4McHwPifDel);
PCSIM_OPERATION(HalIpv4McHwVpifDelFn, pcSimHalIpv4McHwVpifDel);
PCSIM_OPERATION(HalDumpHalMcDbFn, dumpHalMcDb);
PCSIM_OPERATION(HalDumpCacheNodeFn, dumpCacheNode);
PCSIM_OPERATION(HalHmcNtoaFn, hmc_ntoa);
PCSIM_OPERATION(HalMcastHookFn, ptagInit);
PCSIM_OPERATION(HalMcastHookFn, ptagRelease);
PCSIM_OPERATION(HalMcastHookFn, asicAddPort);
PCSIM_OPERATION(HalMcastHookFn, asicDelPort);
PCSIM_OPERATION(HalGetVlanNodeFn, pcSimGetVlanNode);
PCSIM_OPERATION(HalGetCacheIfFn, pcSimGetCacheIf);
PCSIM_OPERATION(HalGetPortNodeFn, pcSimGetPortNode);
PCSIM_OPERATION(HalGetVpifNodeFn, pcSimGetVpifNode);
PCSIM_OPERATION(HalAddCachePortFn, pcSimAddCachePort);

PCSIM_END_DECLS

#endif
