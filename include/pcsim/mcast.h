/* IPv4 multicast: the requests by which the HAL programs forwarding caches, and the operations of
 * the card family that take them.
 *
 * A cache is one (group, source, incoming VLAN) with the ports that its packets leave by. Addresses
 * are in network byte order throughout. The platform keeps its own copy of what a request says and
 * never writes to it; the HAL keeps the interface records alive while a cache names them, and
 * serialises all calls. */
#ifndef PCSIM_MCAST_H
#define PCSIM_MCAST_H

#include "pcsim/base.h"
#include "pcsim/dump_sink.h"

PCSIM_BEGIN_DECLS

/* Which cache a request is about. 0 stands for "any" where an operation takes a pattern. */
typedef struct HalMcastKey {
    uint32_t vr;           /* 0: virtual router, below dmGetMaxVr() */
    uint32_t incomingVlan; /* 4: VLAN instance that the packets arrive on */
    uint32_t reserved8;
    uint32_t group;  /* 12: network byte order */
    uint32_t source; /* 16: network byte order */
} HalMcastKey;

/* One outgoing VLAN and port. */
typedef struct HalMcastOutgoing {
    uint32_t vlanInstance; /* 0 */
    uint16_t port;         /* 4: with 'slot' the port key, slot << 16 | port */
    uint16_t slot;         /* 6 */
    uint32_t portWord;     /* 8: the HAL's; bits 12 to 31 are stored with the port */
    uint32_t vlanWord;     /* 12: the HAL's; the last one given is stored with the VLAN */
} HalMcastOutgoing;

typedef struct HalMcastRequest {
    HalMcastKey key; /* 0 */
    uint32_t reserved20[2];
    int32_t outgoingCount;       /* 28: a count below 1 means none */
    HalMcastOutgoing outgoing[]; /* 32: 'outgoingCount' of them */
} HalMcastRequest;

/* A question for a cache's counters, and its answer. */
typedef struct HalMcastStats {
    HalMcastKey key;    /* 0 */
    uint32_t second[2]; /* 20: the cache's second pair of counters */
    uint32_t first[2];  /* 28: the cache's first pair */
} HalMcastStats;

/* Adds a cache, or extends the one that 'key' names, by the outgoing ports, in order. A source of 0
 * makes a cache of its own for any source.
 * 0; -1 when the virtual router has no table, the same cache for any source is there already, or an
 * outgoing VLAN or port has no interface record: then the ports before it stay. The process stops
 * when memory runs out. */
typedef int32_t HalIpv4McHwCacheAddFn(const HalMcastRequest* request);

/* Deletes the cache that 'key' names; the outgoing ports are not looked at.
 * 0, also when there is no such cache; -1 when group, source or incoming VLAN is 0. */
typedef int32_t HalIpv4McHwCacheDelFn(const HalMcastRequest* request);

/* Adds outgoing ports to a cache.
 * 0; -1 when there is no such cache, or for the first VLAN or port without an interface record: the
 * ports before it stay. */
typedef int32_t HalIpv4McHwCacheOifPortAddFn(const HalMcastRequest* request);

/* Removes outgoing ports from one cache, from the caches of a group, or (source, group and incoming
 * VLAN all 0) from every cache. In an outgoing entry a VLAN of 0 means every VLAN but the incoming
 * one, a port of 0 every port and with it the VLAN.
 * 0; -1 when a source is given without an incoming VLAN, or names no cache. */
typedef int32_t HalIpv4McHwCacheOifPortDelFn(const HalMcastRequest* request);

/* Deletes the caches that match 'key': of an incoming VLAN, of a group on an incoming VLAN, one
 * cache, or all. 0; -1 when a source is given without a group. */
typedef int32_t HalIpv4McHwCacheFlushFn(const HalMcastRequest* request);

/* Copies the counters of the cache that 'key' names. They are constant 0: no packet is forwarded.
 * 0; -1 when there is no such cache, and then nothing is written. */
typedef int32_t HalIpv4McHwCacheGetStatsFn(HalMcastStats* stats);

/* Lists the caches of virtual router 2 to 'sink', or to standard output when it is null. 0. */
typedef int32_t HalDumpHalMcDbFn(const pcSimDumpSink* sink);

PCSIM_END_DECLS

#endif
