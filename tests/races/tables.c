/* The rows that are tables: addresses, routes, caches, lists. Records lie on the stack of whoever
 * calls, as those of a HAL's threads do, so that what two of them share is the platform's. */
#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

#include "tests/races/rows.h"

/* --- MAC table ------------------------------------------------------------------------------ */

void useMacTable(uint32_t round) {
    const HalVlanIf vlanIf = {.instance = 1, .vlanId = 10};
    HalFdbEntry* kept[16];
    for (uint8_t i = 0; i < 16; ++i) {
        const HalFdbRecord record = {
            .vlanInstance = 1, .mac = {2, 0, 0, (uint8_t)round, 0, i}, .port = portOf(1, 1)};
        HalFdbKey key = {.vlanInstance = 1};
        memcpy(key.mac, record.mac, sizeof key.mac);
        uint32_t handle = 0;
        HalFdbRecord read = {0};
        EXPECT(platform.family.fdbAllocEntry(&handle, &kept[i], &key) == 0);
        EXPECT(platform.family.fdbAddEntry(NULL, 7, kept[i], &record) == 0);
        EXPECT(platform.family.fdbMacLookup(&handle, record.mac, &vlanIf) == 0);
        EXPECT(platform.family.fdbReadEntry(&kept[i], &read) == 0);
        written(&handle, sizeof handle);
        written(&read, sizeof read);
    }
    if (round % 64 == 0) platform.family.fdbDump(&kSink);
    EXPECT(platform.family.fdbFlush(0, 0, complete, 1, 2) == 1);
    pcSimFlushCallback(1, 2);
    for (int i = 0; i < 16; ++i) EXPECT(platform.family.fdbDeleteEntry(kept[i]) == 0);
}

/* --- Adjacencies and routes ----------------------------------------------------------------- */

void routeIpv4(uint32_t round) {
    union {
        pcSimIPv4FibReq request;
        uint8_t bytes[sizeof(pcSimIPv4FibReq) + 2 * sizeof(pcSimIPv4FibSlot)];
    } route;
    memset(&route, 0, sizeof route);
    route.request.vrId = round % 4;
    route.request.prefix = htonl(0x0A000000 + (round % 16 << 8));
    route.request.mask = htonl(0xFFFFFF00);
    route.request.count = 2;
    route.request.slots[0].gateway = htonl(0x0A010001);
    route.request.slots[1].gateway = htonl(0x0A010002);
    route.request.slots[0].vlan = route.request.slots[1].vlan = 1;
    pcSimIpAdjRec neighbour = {
        .vrId = round % 4, .family = HAL_IP_FAMILY_IPV4, .vlan = 1, .port = portOf(1, 1)};
    neighbour.ipAddr.words[0] = htonl(0x0A010001);
    EXPECT(platform.family.ipAdjAdd(&neighbour) == 0);
    EXPECT(platform.family.ipv4FibAddEntry(&route.request) == 0);
    const pcSimIPv4FibRoute* const found =
        pcSimIPv4FibFind(route.request.vrId, route.request.prefix, route.request.mask);
    EXPECT(found != NULL);
    written(&found->prefix, sizeof found->prefix);
    written(&found->nextHops->gateway, sizeof found->nextHops->gateway);
    route.request.count = 1;
    EXPECT(platform.family.ipv4FibReplaceEntry(&route.request) == 0);
    if (round % 64 == 0) {
        platform.family.ipAdjDump(&kSink);
        platform.family.ipv4FibDump(&kSink);
    }
    platform.family.ipv4FibDeleteEntry(&route.request);
    platform.family.ipAdjRemove(&neighbour);
    platform.family.ipv4FibFlush(&route.request);
}

void routeIpv6(uint32_t round) {
    union {
        pcSimIPv6FibReq request;
        uint8_t bytes[sizeof(pcSimIPv6FibReq) + 2 * sizeof(pcSimIPv6FibSlot)];
    } route;
    memset(&route, 0, sizeof route);
    route.request.vrId = round % 4;
    route.request.prefix.words[0] = htonl(0xFD000000 + round % 16);
    route.request.maskLen = 64;
    route.request.count = 2;
    route.request.slots[1].vlan = 1;
    EXPECT(platform.family.ipv6FibAddEntry(&route.request) == 0);
    const pcSimIPv6FibRoute* const found =
        pcSimIPv6FibFind(route.request.vrId, route.request.prefix.words[0], 0, 0, 0, 64);
    EXPECT(found != NULL);
    written(&found->prefix, sizeof found->prefix);
    EXPECT(platform.family.ipv6FibReplaceEntry(&route.request) == 0);
    if (round % 64 == 0) platform.family.ipv6FibDump(&kSink);
    platform.family.ipv6FibDeleteEntry(&route.request);
    platform.family.ipv6FibFlush(&route.request);
}

/* --- Multicast ------------------------------------------------------------------------------ */

void forwardMulticast(uint32_t round) {
    union {
        HalMcastRequest request;
        uint8_t bytes[sizeof(HalMcastRequest) + 2 * sizeof(HalMcastOutgoing)];
    } cache;
    memset(&cache, 0, sizeof cache);
    cache.request.key = (HalMcastKey){
        .vr = 0, .incomingVlan = 1, .group = htonl(0xE1000001), .source = htonl(0x0A000001)};
    cache.request.outgoingCount = 2;
    cache.request.outgoing[0] = (HalMcastOutgoing){.vlanInstance = 1, .port = 1, .slot = 1};
    cache.request.outgoing[1] = (HalMcastOutgoing){.vlanInstance = 2, .port = 1, .slot = 1};
    EXPECT(platform.family.ipv4McHwCacheAdd(&cache.request) == 0);
    EXPECT(platform.family.ipv4McHwCacheOifPortAdd(&cache.request) == 0);
    HalMcastStats stats = {.key = cache.request.key};
    EXPECT(platform.family.ipv4McHwCacheGetStats(&stats) == 0);
    written(&stats, sizeof stats);
    const char* const text = hmc_ntoa(cache.request.key.group);
    EXPECT(strlen(text) == strlen("225.0.0.1"));
    if (round % 64 == 0) platform.family.dumpHalMcDb(&kSink);
    EXPECT(platform.family.ipv4McHwCacheOifPortDel(&cache.request) == 0);
    EXPECT(platform.family.ipv4McHwCacheDel(&cache.request) == 0);
    EXPECT(platform.family.ipv4McHwCacheFlush(&cache.request) == 0);
}

/* --- Access lists --------------------------------------------------------------------------- */

void filterPackets(uint32_t round) {
    HalAclListRequest list = {.name = "list", .ruleCount = 1, .counterCount = 2};
    list.rules = calloc(2, sizeof *list.rules);
    list.rules[0].length = sizeof *list.rules << 6;
    const HalAclDeleteRequest removal = {.name = "list"};
    HalAclBindRequest binding = {.name = "list", .vlan = 1};
    union {
        HalAclCounterRequest request;
        uint8_t bytes[sizeof(HalAclCounterRequest) + 2 * sizeof(HalAclCounterEntry)];
    } counters;
    memset(&counters, 0, sizeof counters);
    strcpy(counters.request.name, "list");
    counters.request.vlan = 1;
    counters.request.entryCount = 2;
    EXPECT(platform.family.ipv4AclAdd(&list) == 0);
    /* More bindings than are found without an index. */
    for (uint32_t port = 1; port <= 40; ++port) {
        binding.port = portOf(1, port);
        EXPECT(platform.family.ipv4AclConfig(&binding) == 0);
    }
    counters.request.port = portOf(1, 1 + round % 40);
    platform.family.ipv4AclGetCounter(&counters.request);
    written(counters.request.entries[0].value, sizeof counters.request.entries[0].value);
    platform.family.ipv4AclClearCounter(&counters.request);
    for (uint32_t port = 1; port <= 40; ++port) {
        binding.port = portOf(1, port);
        EXPECT(platform.family.ipv4AclUnconfig(&binding) == 0);
    }
    EXPECT(platform.family.ipv4AclDel(&removal) == 0);
}
