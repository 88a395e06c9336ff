/* What a host does with the platform as far as its functions allow: a function that is left out is
 * told of nowhere but in the condition of what it may be left out for. */
#include <arpa/inet.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

#if defined WITHOUT_p2BtreeInsert || defined WITHOUT_p2BtreeDelete || \
    defined WITHOUT_p2BtreeFirst || defined WITHOUT_p2BtreeNext || defined WITHOUT_findNode
#define WITHOUT_TREES
#endif

static const uint32_t kPort = 1u << 16 | 1;

static void sendDeviceCommands(const Platform* platform) {
    HalDeviceCommand command = {.code = HAL_DEVICE_REGISTER, .device = 0, .reply = 1};
    EXPECT(platform->system.deviceCommand(&command) == 0);
    command.code = HAL_DEVICE_GET_INFO;
    EXPECT(platform->system.deviceCommand(&command) == 0);
#if !defined WITHOUT_halUpdateDeviceStatus && !defined WITHOUT_monotime && \
    !defined WITHOUT_halDeviceCmdError
    command.code = HAL_DEVICE_GET_STATUS;
    EXPECT(platform->system.deviceCommand(&command) == 0);
    command.device = 2; /* there is none */
    EXPECT(platform->system.deviceCommand(&command) == HAL_DEVICE_INVALID);
#endif
}

static void takeCheckpoint(const Platform* platform) {
#ifndef WITHOUT_setCheckpointStats
    EXPECT(platform->system.checkpointStart() == 0);
#endif
}

static void queryPoe(const Platform* platform) {
#if !defined WITHOUT_replyHandleSend && !defined WITHOUT_poeHandle
    const HalCardSlotOps* ops = &platform->slots[1].ops;
    EXPECT(ops->cardPoeGetVersion(1) == 0);
    EXPECT(ops->cardPoeSNMPGetSlotInfo(1) == 0);
    EXPECT(ops->cardPoeSNMPGetPortInfo(kPort) == 0);
    EXPECT(ops->cardPoePortInfo(kPort) == 0);
    EXPECT(ops->cardPoeGetPortDetails(kPort, 1) == 0);
#endif
}

static int completions;

static int32_t complete(uint32_t argument1, uint32_t argument2, uint32_t zero1, uint32_t zero2) {
    ++completions;
    return 0;
}

/* Without a callback nobody is told, and nothing is scheduled. */
static void setForwardingState(const Platform* platform) {
    const HalCardSlotOps* ops = &platform->slots[1].ops;
    EXPECT(ops->cardPortSetForwardingState(kPort, 0, 0, 0, 0, NULL, 1, 2) == 0);
    EXPECT(platform->family.fdbFlush(0, 0, NULL, 1, 2) == 0);
#ifndef WITHOUT_halScheduleTask
    EXPECT(ops->cardPortSetForwardingState(kPort, 0, 0, 0, 0, complete, 1, 2) == 1);
    EXPECT(platform->family.fdbFlush(0, 0, complete, 1, 2) == 1);
    runTasks();
    EXPECT(completions == 2);
#else
    EXPECT(completions == 0);
#endif
}

static void setRouterAddress(const Platform* platform) {
#ifndef WITHOUT_halPortInstName
    static const uint8_t kMac[6] = {2, 0, 0, 0, 0, 1};
    EXPECT(platform->slots[1].ops.cardPortSetRouterAddress(kPort, kMac) == 0);
#endif
}

static void learnAddress(const Platform* platform) {
    const HalFamilyOps* family = &platform->family;
    HalFdbEntry* table = NULL;
    EXPECT(family->fdbInit(&table) == 0);
    EXPECT(table != NULL);
#ifndef WITHOUT_getVlanIfByInstance
    HalVlanIf vlanIf = {.instance = 1, .vlanId = 10};
    const HalFdbRecord record = {.vlanInstance = 1, .mac = {2, 0, 0, 0, 0, 1}, .port = kPort};
    const HalFdbKey key = {.vlanInstance = 1, .mac = {2, 0, 0, 0, 0, 1}};
    uint32_t handle = 0;
    HalFdbEntry* slot = NULL;
    EXPECT(family->fdbAllocEntry(&handle, &slot, &key) == 0);
    EXPECT(family->fdbAddEntry(NULL, 7, slot, &record) == 0);
    EXPECT(family->fdbMacLookup(&handle, record.mac, &vlanIf) == 0 && handle == 7);
    EXPECT(family->fdbDump(NULL) == 0);
    EXPECT(family->fdbDeleteEntry(slot) == 0);
#endif
    EXPECT(family->fdbCleanup() == 0);
}

static void forwardMulticast(const Platform* platform) {
#if !defined WITHOUT_TREES && !defined WITHOUT_getVlanIfByInstance && \
    !defined WITHOUT_getPifBySlotPort
    const HalFamilyOps* family = &platform->family;
    union {
        HalMcastRequest request;
        uint8_t bytes[sizeof(HalMcastRequest) + sizeof(HalMcastOutgoing)];
    } cache;
    memset(&cache, 0, sizeof cache);
    cache.request.key = (HalMcastKey){
        .vr = 0, .incomingVlan = 1, .group = htonl(0xE1000001), .source = htonl(0x0A000001)};
    cache.request.outgoingCount = 1;
    cache.request.outgoing[0] = (HalMcastOutgoing){.vlanInstance = 1, .port = 1, .slot = 1};
    EXPECT(family->ipv4McHwCacheAdd(&cache.request) == 0);
    HalMcastStats stats = {.key = cache.request.key};
    EXPECT(family->ipv4McHwCacheGetStats(&stats) == 0);
    EXPECT(family->dumpHalMcDb(NULL) == 0);
    EXPECT(family->ipv4McHwCacheDel(&cache.request) == 0);
#endif
}

static void formTrunk(const Platform* platform) {
    static HalPif trunk = {.instance = HAL_PORT_TYPE_TRUNK << 24 | 1};
    HalHwHandle* handle = NULL;
    EXPECT(platform->family.trunkCreate(&trunk, &handle) == 0);
    EXPECT(handle != NULL);
    trunk.hwHandle = &handle;
#if !defined WITHOUT_getFirstPif && !defined WITHOUT_getNextPif && \
    !defined WITHOUT_getPifByPortInstance
    EXPECT(platform->slots[1].ops.trunkSyncSlot(1) == 0);
#endif
    EXPECT(platform->family.trunkDelete(&trunk, &handle) == 0);
}

/* A refused adjacency is what the 'trace' component hears of; the host is asked to register it when
 * it has a descriptor. */
static void routePackets(const Platform* platform) {
#ifndef WITHOUT_TREES
    const HalFamilyOps* family = &platform->family;
    pcSimIpAdjRec neighbour = {.family = HAL_IP_FAMILY_IPV4, .vlan = 1, .port = kPort};
    neighbour.ipAddr.words[0] = htonl(0x0A000001);
#if defined WITHOUT_emsRegisterComponent == defined WITHOUT__ems_trace_ComponentDesc
    refuseInsert = 1;
    EXPECT(family->ipAdjAdd(&neighbour) == -1);
    refuseInsert = 0;
#endif
    EXPECT(family->ipAdjAdd(&neighbour) == 0);
    EXPECT(family->ipAdjDump(NULL) == 0);
    EXPECT(family->ipv4FibDump(NULL) == 0);
    family->ipAdjRemove(&neighbour);
    union {
        pcSimIPv6FibReq request;
        uint8_t bytes[sizeof(pcSimIPv6FibReq) + sizeof(pcSimIPv6FibSlot)];
    } route;
    memset(&route, 0, sizeof route);
    route.request.maskLen = 64;
    route.request.count = 1;
    EXPECT(family->ipv6FibAddEntry(&route.request) == 0);
    EXPECT(family->ipv6FibDeleteEntry(&route.request) == 0);
#endif
}

/* An invalid compare is reported; only the host's switch makes it fatal. */
static void compareNothing(const Platform* platform) {
    int32_t (*compare)(const void*, const void*) =
        (int32_t(*)(const void*, const void*))dlsym(platform->library, "pcSimIpAdjComp");
    EXPECT(compare != NULL && compare(NULL, NULL) == 0);
}

static void filterPackets(const Platform* platform) {
#ifndef WITHOUT_TREES
    const HalFamilyOps* family = &platform->family;
    HalAclListRequest list = {.name = "list", .ruleCount = 1};
    list.rules = calloc(1, sizeof *list.rules);
    const HalAclBindRequest binding = {.name = "list", .vlan = 1, .port = kPort};
    const HalAclDeleteRequest removal = {.name = "list"};
    EXPECT(family->ipv4AclAdd(&list) == 0);
    EXPECT(family->ipv4AclConfig(&binding) == 0);
    EXPECT(family->ipv4AclUnconfig(&binding) == 0);
    EXPECT(family->ipv4AclDel(&removal) == 0);
#endif
}

void doEverything(const Platform* platform) {
    sendDeviceCommands(platform);
    takeCheckpoint(platform);
    queryPoe(platform);
    setForwardingState(platform);
    setRouterAddress(platform);
    learnAddress(platform);
    forwardMulticast(platform);
    formTrunk(platform);
    routePackets(platform);
    compareNothing(platform);
    filterPackets(platform);
}
