// One function per area; records are the HAL's own and live as long as it.
#include "tests/probe/tools/random_calls.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "pcsim/card_slot.h"
#include "pcsim/family.h"

namespace pcsim::probe::test {

HalVlanIf& vlanIfOf(uint32_t index) {
    static HalVlanIf records[kVlans];
    return records[index % kVlans];
}

HalPif& pifOf(uint32_t index) {
    static HalPif records[kPorts];
    return records[index % kPorts];
}

struct RandomCalls::Hal {
    explicit Hal(uint32_t seed) : random(seed) {}

    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random() % limit); }
    uint32_t vlan() { return 100 + below(kVlans); }
    uint32_t portInstance() { return 1u << 16 | (1 + below(kPorts)); }
    uint32_t address() { return 0x0A | below(4) << 8 | below(3) << 16 | below(8) << 24; }

    void system();
    void cards();
    void ports();
    void environment();
    void interfaces();
    void macTable();
    void adjacencies();
    void routes();
    void routes6();
    void multicast();
    void accessLists();
    void sampling();

    std::mt19937 random;
    HalSystemOps system_{};
    HalCardDb cards_{};
    HalFamilyOps family{};
    HalCardSlotDb slot{};
    HalEnvDb fans{}, supplies{};
    HalFanSlotDb fan{};
    HalPSSlotDb supply{};
    HalHwHandle* vlanHandles[kVlans]{};
    HalHwHandle* pifHandles[kPorts]{};
    HalHwHandle* vpifHandle = nullptr;
    HalVpif vpif{};
    uint32_t nextHandle = 1;
};

void RandomCalls::Hal::system() {
    static HalChassisInfo info;
    static HalDeviceCommand command;
    static uint32_t mask;
    switch (below(6)) {
        case 0:
            system_.chassisGetInfo(&info);
            break;
        case 1:
            std::free(system_.chassisGetCapability());
            break;
        case 2:
            mask = 1 + below(31);
            system_.moduleIoctl(0, static_cast<int32_t>(1 + below(2)), &mask);
            break;
        case 3:
            system_.checkpointStart();
            break;
        case 4:
            std::free(system_.getDeviceCapability(below(2) == 0 ? "mouse" : "PSUCTRL"));
            break;
        default:
            command = {1 + below(6), below(6), below(100)};
            system_.deviceCommand(&command);
    }
}

void RandomCalls::Hal::cards() {
    static HalCardHwInfo info;
    static int32_t value;
    static uint32_t mask;
    switch (below(6)) {
        case 0:
            std::free(cards_.ops.cardGetCapability(1, below(2) == 0 ? "PCSimStack" : "other"));
            break;
        case 1:
            cards_.ops.isCardHwPresent(static_cast<int32_t>(below(12)));
            break;
        case 2:
            cards_.ops.cardPowerEnable(1, static_cast<int32_t>(below(2)));
            break;
        case 3:
            slot.ops.cardGetHwInfo(1, &info);
            break;
        case 4:
            slot.ops.cardReadTemperature(static_cast<int32_t>(below(9)), &value);
            break;
        default:
            slot.ops.macIntrGetMask(1, &mask);
    }
}

void RandomCalls::Hal::ports() {
    static uint32_t link, duplex, speed, flow, extra, state;
    static HalPortMediaType media;
    static PortStatsRecord stats;
    static const uint8_t kMac[6] = {2, 0, 0, 0, 0, 9};
    const uint32_t port = portInstance();
    switch (below(9)) {
        case 0:
            slot.ops.cardPortEnable(port, below(2));
            break;
        case 1:
            slot.ops.cardPortLinkInfo(port, &link, &duplex, &speed, &flow, &extra);
            break;
        case 2:
            slot.ops.cardPortGetStats(port, &stats);
            break;
        case 3:
            slot.ops.cardPortGetMediaType(port | below(2) << 24, &media);
            break;
        case 4:
            slot.ops.cardPortGetForwardingState(port, 0, &state);
            break;
        case 5:
            slot.ops.cardPortZeroStats(port);
            break;
        case 6:
            slot.ops.cardPortSetRouterAddress(port, kMac);
            break;
        case 7:
            slot.ops.cardPoeGetPortDetails(port, below(9));
            break;
        default:
            slot.ops.isPortDisabled(port);
    }
}

void RandomCalls::Hal::environment() {
    static uint32_t a, b;
    const uint32_t number = below(6);
    switch (below(7)) {
        case 0:
            fans.isPresent(static_cast<int32_t>(number));
            break;
        case 1:
            supplies.isPresent(static_cast<int32_t>(number));
            break;
        case 2:
            fan.fanReadTemp(number, &a);
            break;
        case 3:
            fan.fanReadRpm(0, number, &a);
            break;
        case 4:
            supply.pSReadTemp(number, &a);
            break;
        case 5:
            supply.pSReadInputLine(number, &a, &b);
            break;
        default:
            supply.pSReadOutputLine(number, 1, &a, &b);
    }
}

void RandomCalls::Hal::interfaces() {
    const uint32_t index = below(kVlans);
    HalVlanIf& vlanIf = vlanIfOf(index);
    HalPif& pif = pifOf(index);
    switch (below(5)) {
        case 0:
            if (vlanHandles[index] == nullptr) family.vlanIfCreate(&vlanIf, &vlanHandles[index]);
            break;
        case 1:
            vlanIf.hwHandle = &vlanHandles[index];
            family.vlanIfDelete(&vlanIf, &vlanHandles[index]);
            break;
        case 2:
            if (pifHandles[index] == nullptr) family.cardPifCreate(&pif, &pifHandles[index]);
            break;
        case 3:
            pif.hwHandle = &pifHandles[index];
            family.cardPifDelete(&pif, &pifHandles[index]);
            break;
        default:
            vpif.pif = &pif;
            vpif.vlanIf = &vlanIf;
            slot.ops.cardVlanAddPort(&vpif);
    }
}

void RandomCalls::Hal::macTable() {
    static HalFdbRecord record;
    static uint32_t handle;
    HalFdbEntry* entry = nullptr;
    const uint32_t index = below(kVlans);
    record = {};
    record.vlanInstance = 100 + index;
    record.mac[0] = 2;
    record.mac[5] = static_cast<uint8_t>(below(20));
    record.port = portInstance();
    record.valueA = below(1000);
    HalFdbKey key{};
    key.vlanInstance = record.vlanInstance;
    std::memcpy(key.mac, record.mac, sizeof key.mac);
    switch (below(4)) {
        case 0:
            family.fdbMacLookup(&handle, record.mac, &vlanIfOf(index));
            break;
        case 1:
            if (family.fdbAllocEntry(&handle, &entry, &key) == 0 && handle != 0)
                family.fdbReadEntry(&entry, &record);
            break;
        case 2:
            if (family.fdbAllocEntry(&handle, &entry, &key) == 0 && handle != 0)
                family.fdbDeleteEntry(entry);
            break;
        default:
            if (family.fdbAllocEntry(&handle, &entry, &key) == 0)
                family.fdbAddEntry(nullptr, nextHandle++, entry, &record);
    }
}

void RandomCalls::Hal::adjacencies() {
    static pcSimIpAdjRec record;
    record = {};
    record.vrId = 1 + below(2);
    record.family = HAL_IP_FAMILY_IPV4;
    record.ipAddr.words[0] = address();
    record.vlan = vlan();
    record.mac[5] = static_cast<uint8_t>(below(256));
    record.port = portInstance();
    if (below(40) == 0)
        family.ipAdjDump(nullptr);
    else if (below(3) == 0)
        family.ipAdjRemove(&record);
    else
        family.ipAdjAdd(&record);
}

void RandomCalls::Hal::routes() {
    constexpr uint32_t kSlots = 3;
    static uint32_t memory[4 + 4 * kSlots];
    auto* const request = reinterpret_cast<pcSimIPv4FibReq*>(memory);
    request->vrId = 1 + below(2);
    request->mask = below(2) == 0 ? 0x00FFFFFF : 0x0000FFFF;
    request->prefix = address() & request->mask;
    request->count = static_cast<int32_t>(below(kSlots + 1));
    for (uint32_t i = 0; i < kSlots; ++i) {
        request->slots[i] = {};
        request->slots[i].gateway = address();
        request->slots[i].vlan = vlan();
    }
    if (below(40) == 0) family.ipv4FibDump(nullptr);
    switch (below(5)) {
        case 0:
            family.ipv4FibDeleteEntry(request);
            break;
        case 1:
            family.ipv4FibReplaceEntry(request);
            break;
        default:
            family.ipv4FibAddEntry(request);
    }
}

void RandomCalls::Hal::routes6() {
    static uint32_t memory[6 + 7];
    auto* const request = reinterpret_cast<pcSimIPv6FibReq*>(memory);
    request->vrId = 1;
    request->prefix = {};
    request->prefix.bytes[0] = 0x20;
    request->prefix.bytes[7] = static_cast<uint8_t>(below(6));
    request->maskLen = 64;
    request->count = 1;
    request->slots[0].gateway.bytes[0] = 0xFE;
    request->slots[0].gateway.bytes[15] = static_cast<uint8_t>(below(4));
    request->slots[0].vlan = vlan();
    if (below(3) == 0)
        family.ipv6FibDeleteEntry(request);
    else
        family.ipv6FibAddEntry(request);
}

void RandomCalls::Hal::multicast() {
    static uint32_t memory[8 + 4];
    static HalMcastStats stats;
    auto* const request = reinterpret_cast<HalMcastRequest*>(memory);
    request->key = {};
    request->key.vr = 2;
    request->key.incomingVlan = vlan();
    request->key.group = 0xEF | below(3) << 24;
    request->key.source = address();
    request->outgoingCount = 1;
    request->outgoing[0] = {};
    request->outgoing[0].vlanInstance = vlan();
    request->outgoing[0].port = static_cast<uint16_t>(1 + below(kPorts));
    request->outgoing[0].slot = 1;
    if (below(40) == 0) family.dumpHalMcDb(nullptr);
    switch (below(5)) {
        case 0:
            family.ipv4McHwCacheDel(request);
            break;
        case 1:
            stats.key = request->key;
            family.ipv4McHwCacheGetStats(&stats);
            break;
        case 2:
            family.ipv4McHwCacheOifPortAdd(request);
            break;
        default:
            family.ipv4McHwCacheAdd(request);
    }
}

void RandomCalls::Hal::accessLists() {
    static HalAclListRequest request;
    static HalAclBindRequest bind;
    static const char* const kNames[] = {"alpha", "beta", "gamma"};
    const char* const name = kNames[below(3)];
    if (below(2) == 0) {
        bind = {};
        std::strcpy(bind.name, name);
        bind.vlan = vlan();
        bind.port = portInstance();
        bind.slot = static_cast<uint8_t>(below(2));
        if (below(3) == 0)
            family.ipv4AclUnconfig(&bind);
        else
            family.ipv4AclConfig(&bind);
        return;
    }
    request = {};
    std::strcpy(request.name, name);
    request.ruleCount = 1;
    request.counterCount = 2;
    auto* const rules = static_cast<HalAclRule*>(std::calloc(2, sizeof(HalAclRule)));
    std::strcpy(rules[0].name, "rule");
    rules[0].action = 1;
    rules[0].length = sizeof(HalAclRule) << HAL_ACL_RULE_LENGTH_SHIFT;
    request.rules = rules;
    family.ipv4AclAdd(&request);
}

void RandomCalls::Hal::sampling() {
    static HalSampleCounters counters;
    static HalSamplePort port;
    port = {static_cast<uint16_t>(1 + below(kPorts)), 1};
    if (below(3) == 0)
        family.sflowAddPortsForSample(0, &port);
    else
        family.sflowGetCntSampleOnPort(portInstance(), &counters);
}

RandomCalls::RandomCalls(HalPlatformSystemInitFn* init, uint32_t seed)
    : hal_(std::make_unique<Hal>(seed)) {
    Hal& hal = *hal_;
    for (uint32_t i = 0; i < kVlans; ++i) {
        vlanIfOf(i).instance = 100 + i;
        vlanIfOf(i).vlanId = static_cast<uint16_t>(100 + i);
    }
    for (uint32_t i = 0; i < kPorts; ++i) {
        pifOf(i).instance = 1u << 16 | (1 + i);
        pifOf(i).slot = 1;
        pifOf(i).port = static_cast<uint16_t>(1 + i);
    }
    init(&hal.system_);
    hal.system_.cardDBSetup(&hal.cards_);
    hal.system_.cardSlotDBSetup(1, &hal.slot);
    hal.cards_.ops.familyDBSetup(0, &hal.family);
    hal.system_.fanDBSetup(&hal.fans);
    hal.system_.fanSlotDBSetup(0, &hal.fan);
    hal.system_.psDBSetup(&hal.supplies);
    hal.system_.psSlotDBSetup(0, &hal.supply);
    HalFdbEntry* table = nullptr;
    hal.family.fdbInit(&table);
}

RandomCalls::~RandomCalls() = default;

void RandomCalls::make() {
    static constexpr void (Hal::*kAreas[])() = {
        &Hal::system,     &Hal::cards,     &Hal::ports,       &Hal::environment,
        &Hal::interfaces, &Hal::macTable,  &Hal::adjacencies, &Hal::routes,
        &Hal::routes6,    &Hal::multicast, &Hal::accessLists, &Hal::sampling,
    };
    (*hal_.*kAreas[hal_->below(std::size(kAreas))])();
}

}  // namespace pcsim::probe::test
