// The IPv4 multicast database: what the HAL has programmed, in memory; no packet is forwarded.
//
// A cache is one (group, source, incoming VLAN) of a virtual router with its outgoing VLANs and
// ports; nodes.h draws how the nodes hang together and what frees them. Every virtual router has
// 512 buckets of groups, VLANs and ports in use are shared by all. Every step is one of a tree or
// a list unlink: an operation costs the logarithm of what is there and the members that it touches.
//
// The HAL calls from one thread; there are no locks. Null pointers and an exhausted heap stop the
// process. The four hooks are empty here: a host that drives a real switching chip defines them.
#ifndef PCSIM_MCAST_PCSIMIPV4MCDB_H
#define PCSIM_MCAST_PCSIMIPV4MCDB_H

#include "pcsim/mcast.h"
#include "platform/base/export.h"
#include "platform/mcast/nodes.h"

extern "C" {

// --- Set-up --------------------------------------------------------------------------------------

// Makes empty buckets for dmGetMaxVr() virtual routers; called by system initialisation. Whatever
// an earlier call has left is deleted first. 1; 0 when memory runs out, and then nothing changed.
PCSIM_EXPORT int32_t pcSimHalIPv4McDbInit() noexcept;

// --- Caches; include/pcsim/mcast.h has the contracts ---------------------------------------------

PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheAdd(const HalMcastRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheDel(const HalMcastRequest* request) noexcept;

// Stores the cache that 'key' names in '*cache', null when there is none. Without an incoming VLAN
// the source alone is looked for, and may be missed. 0; -1 when not found or the source is 0.
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheFind(const HalMcastKey* key,
                                               pcsim::CacheNode** cache) noexcept;

PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheFlush(const HalMcastRequest* request) noexcept;

// Deletes every cache that uses a VLAN. 0; -1 when a cascade fails.
PCSIM_EXPORT int32_t pcSimHalIpv4McHwFlushAll() noexcept;

// The two ...Oif... operations do the work of the family operations ...OifPort... .
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheOifAdd(const HalMcastRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheOifDel(const HalMcastRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheOifPortAdd(const HalMcastRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheOifPortDel(const HalMcastRequest* request) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwCacheGetStats(HalMcastStats* stats) noexcept;

// --- Interfaces that go away ---------------------------------------------------------------------

// Takes a VLAN out of every cache, and deletes the caches that it was the incoming VLAN of. 0.
PCSIM_EXPORT int32_t pcSimHalIpv4McHwVlanDel(uint32_t vlanInstance) noexcept;

// Takes a port, or one VLAN on a port, out of every cache. 0.
PCSIM_EXPORT int32_t pcSimHalIpv4McHwPifDel(uint32_t portKey) noexcept;
PCSIM_EXPORT int32_t pcSimHalIpv4McHwVpifDel(uint32_t vlanInstance, uint32_t portKey) noexcept;

// --- Dump ----------------------------------------------------------------------------------------

// 0. With a null 'sink' the text goes to standard output.
PCSIM_EXPORT int32_t dumpHalMcDb(const pcSimDumpSink* sink) noexcept;
PCSIM_EXPORT int32_t dumpCacheNode(const pcSimDumpSink* sink, pcsim::CacheNode* cache) noexcept;

// Dotted text of an address in network byte order. Five results stay valid at once.
PCSIM_EXPORT char* hmc_ntoa(uint32_t address) noexcept;

// --- Hooks ---------------------------------------------------------------------------------------

PCSIM_EXPORT void ptagInit() noexcept;     // a cache has been made
PCSIM_EXPORT void ptagRelease() noexcept;  // a cache is being deleted
PCSIM_EXPORT void asicAddPort() noexcept;  // a port has been added to a cache
PCSIM_EXPORT void asicDelPort() noexcept;  // a port has been unlinked from its VLAN on the port

// --- Getters: find the node, else make it --------------------------------------------------------

// Null when the host has no record for the VLAN or port, or its tree refuses the node.
PCSIM_EXPORT pcsim::VlanNode* pcSimGetVlanNode(uint32_t vlanInstance) noexcept;
PCSIM_EXPORT pcsim::CacheIf* pcSimGetCacheIf(pcsim::CacheNode* cache,
                                             uint32_t vlanInstance) noexcept;
PCSIM_EXPORT pcsim::PortNode* pcSimGetPortNode(uint32_t portKey) noexcept;
PCSIM_EXPORT pcsim::VpifNode* pcSimGetVpifNode(pcsim::PortNode* portNode,
                                               uint32_t vlanInstance) noexcept;

// Adds the outgoing port to the cache. 0, also when it is there already; -1 when a getter fails or
// a tree refuses the port: what the getters have made stays.
PCSIM_EXPORT int32_t pcSimAddCachePort(pcsim::CacheNode* cache,
                                       const HalMcastOutgoing* entry) noexcept;

// --- State, for debuggers ------------------------------------------------------------------------

extern PCSIM_EXPORT HalTreeRoot* groupTable;  // 512 roots per virtual router
extern PCSIM_EXPORT HalTreeRoot vlanTree;
extern PCSIM_EXPORT HalTreeRoot portTree;
extern PCSIM_EXPORT uint32_t mcLogMess;  // not 0: operations print a line when called
}

#endif
