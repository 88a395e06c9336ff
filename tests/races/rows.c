/* All rows by name, and those about ports, devices and what keeps nothing between calls. */
#include "tests/races/rows.h"

#include <stdlib.h>
#include <string.h>

/* --- Ports ---------------------------------------------------------------------------------- */

static void drivePorts(uint32_t slot) {
    const HalCardSlotOps* const ops = &platform.slots[slot].ops;
    EXPECT(ops->cardInit((int32_t)slot) == 0);
    for (uint32_t port = 1; port <= 2; ++port) {
        const uint32_t instance = portOf(slot, port);
        uint32_t results[5] = {0};
        PortStatsRecord counters;
        memset(&counters, 0, sizeof counters);
        EXPECT(ops->cardPortEnable(instance, 1) == 0);
        EXPECT(ops->cardPortLinkInfo(instance, &results[0], &results[1], &results[2], &results[3],
                                     &results[4]) == 0);
        EXPECT(results[0] == 1);
        EXPECT(ops->cardPortGetStats(instance, &counters) == 0);
        EXPECT(pcSimCardPortGetStats(instance, &counters) == 0);
        written(results, sizeof results);
        written(&counters, sizeof counters);
        EXPECT(ops->cardPortRestart(instance) == 0);
        EXPECT(ops->cardPortZeroStats(instance) == 0);
        EXPECT(ops->cardPortEnable(instance, 0) == 0);
    }
}

static void driveSlot1(uint32_t round) {
    (void)round;
    drivePorts(1);
}

static void driveOtherSlots(uint32_t round) {
    (void)round;
    drivePorts(2);
    runLinkPoll();
}

static void setForwardingState(uint32_t round) {
    const HalCardSlotOps* const ops = &platform.slots[1 + round % 2].ops;
    const uint32_t instance = portOf(1 + round % 2, 1);
    uint32_t state = 0;
    EXPECT(ops->cardPortSetForwardingState(instance, 0, 0, 0, 0, complete, 1, 2) == 1);
    EXPECT(ops->cardPortGetForwardingState(instance, 0, &state) == 0);
    written(&state, sizeof state);
    pcSimSetVpstCallback(1, 2);
}

/* --- Sampling, devices ---------------------------------------------------------------------- */

static void takeSamples(uint32_t round) {
    const HalSamplePort port = {1, 1};
    HalSampleCounters counters;
    (void)round;
    EXPECT(platform.family.allocSampleBin() == 0);
    EXPECT(platform.family.sflowAddPortsForSample(0, &port) == 0);
    EXPECT(platform.family.sflowGetCntSampleOnPort(portOf(1, 1), &counters) == 0);
    written(&counters.bytes, sizeof counters.bytes);
    written(&counters.pool80, sizeof counters.pool80);
    EXPECT(platform.family.sflowDelPortsForSample(0, &port) == 0);
}

static void commandDevices(uint32_t round) {
    HalDeviceCommand command = {.code = 1 + round % 6, .device = round % 3, .reply = 1};
    platform.system.deviceCommand(&command);
    const HalDeviceCli line = {.keyword = "psu"};
    pcSimDeviceCLIHook(&line);
    HalDeviceCapability* const capability = platform.system.getDeviceCapability("mouse");
    written(&capability->bits, sizeof capability->bits);
    free(capability);
    runDevicePoll();
}

/* --- What keeps nothing between calls: VLANs, trunks, PoE, fans, power supplies, cards ------- */

static void useVlans(void) {
    HalVlanIf vlanIf = {.instance = 1, .vlanId = 10};
    HalPif pif = {.instance = portOf(1, 1), .slot = 1, .port = 1};
    HalHwHandle* vlanHandle = NULL;
    HalHwHandle* pifHandle = NULL;
    HalHwHandle* vpifHandle = NULL;
    vlanIf.hwHandle = &vlanHandle;
    pif.hwHandle = &pifHandle;
    HalVpif vpif = {.pif = &pif, .vlanIf = &vlanIf, .hwHandle = &vpifHandle};
    EXPECT(platform.family.vlanIfCreate(&vlanIf, &vlanHandle) == 0);
    EXPECT(platform.family.cardPifCreate(&pif, &pifHandle) == 0);
    EXPECT(platform.family.vpifCreate(&vpif, &vpifHandle) == 0);
    EXPECT(platform.slots[1].ops.cardVlanAddPort(&vpif) == 0);
    EXPECT(platform.slots[1].ops.cardVlanDeletePort(&vpif) == 0);
    EXPECT(platform.family.vpifDelete(&vpif, &vpifHandle) == 0);
    EXPECT(platform.family.cardPifDelete(&pif, &pifHandle) == 0);
    EXPECT(platform.family.vlanIfDelete(&vlanIf, &vlanHandle) == 0);
}

static void useTrunks(void) {
    HalPif trunk = {.instance = HAL_PORT_TYPE_TRUNK << 24 | 1};
    HalHwHandle* handle = NULL;
    trunk.hwHandle = &handle;
    const HalPortInstance members[] = {portOf(1, 1), portOf(1, 2)};
    EXPECT(platform.family.trunkCreate(&trunk, &handle) == 0);
    EXPECT(platform.family.trunkAddPorts(&trunk, 2, members, 0) == 0);
    EXPECT(platform.slots[1].ops.trunkSyncSlot(1) == 0);
    EXPECT(platform.family.trunkDelete(&trunk, &handle) == 0);
}

static void queryPower(void) {
    const HalCardSlotOps* const ops = &platform.slots[1].ops;
    uint32_t values[4] = {0};
    HalFanHwInfo* const fanInfo = calloc(1, sizeof *fanInfo + 16 * sizeof(HalFanEntry));
    HalPowerSupplyHwInfo supplyInfo;
    memset(&supplyInfo, 0, sizeof supplyInfo);
    EXPECT(ops->cardPoeGetVersion(1) == 0);
    EXPECT(ops->cardPoeSNMPGetSlotInfo(1) == 0);
    EXPECT(ops->cardPoeSNMPGetPortInfo(portOf(1, 1)) == 0);
    EXPECT(ops->cardPoePortInfo(portOf(1, 1)) == 0);
    EXPECT(ops->cardPoeGetPortDetails(portOf(1, 1), 1) == 0);
    EXPECT(platform.fans.isPresent(1) == HAL_FAN_PRESENT);
    EXPECT(platform.fan.fanReadHwInfo(1, fanInfo) == 0);
    EXPECT(platform.fan.fanReadTemp(1, &values[0]) == 0);
    EXPECT(platform.fan.fanReadRpm(1, 1, &values[1]) == 0);
    EXPECT(platform.supplies.isPresent(1) == HAL_POWER_SUPPLY_PRESENT);
    EXPECT(platform.supply.powerSupplyReadHwInfo(1, &supplyInfo) == 0);
    EXPECT(platform.supply.pSReadTemp(1, &values[2]) == 0);
    written(fanInfo, sizeof *fanInfo);
    written(&supplyInfo, sizeof supplyInfo);
    written(values, sizeof values);
    free(fanInfo);
}

static void lookAtCards(void) {
    static const int32_t kSlot = 3;
    HalCardHwInfo info;
    memset(&info, 0, sizeof info);
    int32_t temperature = 0;
    int32_t odometer = 0;
    const HalCardSlotOps* const ops = &platform.slots[kSlot].ops;
    EXPECT(ops->cardGetHwInfo(kSlot, &info) == 0);
    HalCardCapability* const capability = platform.cards.ops.cardGetCapability(kSlot, info.name);
    EXPECT(capability != NULL);
    written(capability, sizeof *capability);
    written(capability->ports, capability->portCount * sizeof capability->ports[0]);
    free(capability);
    EXPECT(platform.cards.ops.isCardHwPresent(kSlot) == HAL_CARD_HW_PRESENT);
    EXPECT(platform.cards.ops.cardPowerEnable(kSlot, 1) >= 0);
    EXPECT(ops->cardRunExtPost(kSlot, 10000) >= 0);
    EXPECT(ops->cardStartDownload(kSlot, "image") >= 0);
    EXPECT(ops->cardStartBooting(kSlot) >= 0);
    EXPECT(ops->cardReadTemperature(kSlot, &temperature) == 0);
    EXPECT(ops->cardGetOdometer(kSlot, &odometer) == 0);
    written(&info, sizeof info);
    written(&temperature, sizeof temperature);
    written(&odometer, sizeof odometer);
}

static void keepNothing(uint32_t round) {
    (void)round;
    useVlans();
    useTrunks();
    queryPower();
    lookAtCards();
}

const Row kRows[] = {
    {"MAC table", useMacTable},
    {"adjacencies and IPv4 routes", routeIpv4},
    {"IPv6 routes", routeIpv6},
    {"multicast", forwardMulticast},
    {"access lists", filterPackets},
    {"ports of one slot", driveSlot1},
    {"ports of another slot", driveOtherSlots},
    {"forwarding states of ports", setForwardingState},
    {"sampling", takeSamples},
    {"devices", commandDevices},
    {"what keeps nothing", keepNothing},
};
const size_t kRowCount = sizeof kRows / sizeof *kRows;
