// The host of the scenarios, the scenarios of system, cards, ports, units and devices, and the list
// of all.
#include "tests/platform/failure/scenarios.h"

#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "pcsim/misc.h"
#include "tests/platform/failure/run.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

Tables& tables() {
    static Tables all;
    return all;
}

void* hostAllocates(size_t size) {
    void* const block = std::calloc(1, size);
    ++libc().blocksInUse;
    libc().blockSizes->emplace(block, size);
    return block;
}

void hostFrees(void* block) {
    if (block == nullptr) return;
    --libc().blocksInUse;
    libc().blockSizes->erase(block);
    std::free(block);
}

namespace {

constexpr char kCounterTable[] =
    "Inter-|   Receive\n face |bytes\n"
    "    lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
    "  eth0: 2 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
    "  eth1: 100 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
    "  eth2: 200 4 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";

// eth0 to eth4 have a link of 100 Mbps.
int answerRequest(int, unsigned long request, void* argument) {
    auto* const asked = static_cast<ifreq*>(argument);
    auto* const block = reinterpret_cast<mii_ioctl_data*>(&asked->ifr_ifru);
    if (std::strncmp(asked->ifr_name, "eth", 3) != 0 || asked->ifr_name[3] > '4') {
        errno = ENODEV;
        return -1;
    }
    if (request == SIOCGMIIPHY) block->phy_id = 1;
    if (request == SIOCGMIIREG)
        block->val_out = block->reg_num == MII_BMSR ? BMSR_LSTATUS : LPA_100FULL | LPA_PAUSE_CAP;
    return 0;
}

void runTasks() {
    const std::vector<Task> tasks = std::move(host().tasks);
    host().tasks.clear();
    for (const Task& task : tasks) task.function(task.argument1, task.argument2);
}

// --- System --------------------------------------------------------------------------------------

void noteCapability(Run& run, HalChassisCapability* capability) {
    if (capability == nullptr) return;
    run.note("  types " + std::to_string(capability->entryCount));
    hostFrees(capability);
}

void startAs(Run& run, const std::string& name, int32_t platformType) {
    host().platformType = platformType;
    host().timers.clear();
    HalSystemOps& system = tables().system;
    run.step(name, [&] { return platformSystemInit(&system); });
    run.note("  ports " + std::to_string(pcSimSystemNumPorts));
    static HalChassisInfo info;
    run.step("chassisGetInfo", [&] { return system.chassisGetInfo(&info); });
    HalChassisCapability* capability = nullptr;
    run.step("chassisGetCapability", [&] {
        capability = system.chassisGetCapability();
        return capability != nullptr ? 0 : 1;
    });
    noteCapability(run, capability);
    run.step("timers", [] {
        for (const Timer& timer : std::vector(host().timers)) timer.callback(timer.argument);
        return 0;
    });
    uint32_t all = 0xFFFFFFFF;
    run.step("moduleIoctl", [&] { return system.moduleIoctl(0, HAL_MODULE_SET_CARDS, &all); });
    run.step("checkpointStart", [&] { return system.checkpointStart(); });
}

void driveSystem(Run& run) {
    startAs(run, "start as a stackable", 1);
    startAs(run, "start as a chassis", HAL_PLATFORM_CHASSIS);
}

// The flag of the management port's link is the library's for ever: it goes down again here.
void clearSystem() {
    libc().ioctl = [](int, unsigned long, void* argument) {
        auto* const asked = static_cast<ifreq*>(argument);
        reinterpret_cast<mii_ioctl_data*>(&asked->ifr_ifru)->val_out = 0;
        return asked->ifr_name[3] > '4' ? -1 : 0;
    };
    for (const Timer& timer : std::vector(host().timers)) timer.callback(timer.argument);
    libc().ioctl = answerRequest;
}

// --- Cards ---------------------------------------------------------------------------------------

void noteCapability(Run& run, HalCardCapability* capability) {
    if (capability == nullptr) return;
    run.note("  ports " + std::to_string(capability->portCount));
    hostFrees(capability);
}

void bringUp(Run& run, int32_t slot) {
    HalCardSlotDb& record = tables().slots[slot];
    run.step("cardSlotDBSetup", [&] { return tables().system.cardSlotDBSetup(slot, &record); });
    static HalCardHwInfo info;
    run.step("cardGetHwInfo", [&] { return record.ops.cardGetHwInfo(slot, &info); });
    HalCardCapability* capability = nullptr;
    run.step("cardGetCapability", [&] {
        capability = tables().cards.ops.cardGetCapability(slot, info.name);
        return capability != nullptr ? 0 : 1;
    });
    noteCapability(run, capability);
    run.step("cardPowerEnable", [&] { return tables().cards.ops.cardPowerEnable(slot, 1); });
    run.step("cardInit", [&] { return record.ops.cardInit(slot); });
    run.step("cardRunExtPost", [&] { return record.ops.cardRunExtPost(slot, 10000); });
    run.step("cardStartDownload", [&] { return record.ops.cardStartDownload(slot, "image"); });
    run.step("cardStartBooting", [&] { return record.ops.cardStartBooting(slot); });
    run.step("reports", [] {
        runTasks();
        return 0;
    });
    run.step("cardPowerDisable", [&] { return tables().cards.ops.cardPowerEnable(slot, 0); });
}

void driveCards(Run& run) {
    run.step("cardDBSetup", [] { return tables().system.cardDBSetup(&tables().cards); });
    for (int32_t slot = 1; slot <= 3; ++slot) bringUp(run, slot);
}

void prepareChassis() {
    prepareHost();
    host().platformType = HAL_PLATFORM_CHASSIS;
    setenv("HAL_SIM_REMOTE_IO", "1", 1);
    platformSystemInit(&tables().system);
}

// --- Ports ---------------------------------------------------------------------------------------

void drivePort(Run& run, uint32_t port) {
    const HalCardSlotOps& ops = tables().slots[1].ops;
    run.step("cardPortEnable", [&] { return ops.cardPortEnable(port, 1); });
    uint32_t words[5] = {};
    run.step("cardPortLinkInfo", [&] {
        return ops.cardPortLinkInfo(port, words, words + 1, words + 2, words + 3, words + 4);
    });
    for (const uint32_t word : words) run.note("  link " + std::to_string(word));
    static PortStatsRecord counters;
    counters = {};
    run.step("cardPortGetStats", [&] { return ops.cardPortGetStats(port, &counters); });
    run.note("  bytes " + std::to_string(counters.receivedBytes));
    run.step("cardPortZeroStats", [&] { return ops.cardPortZeroStats(port); });
    run.step("cardPortRestart", [&] { return ops.cardPortRestart(port); });
    run.step("cardPortShutDown", [&] { return ops.cardPortShutDown(port); });
    run.step("cardPortDisable", [&] { return ops.cardPortEnable(port, 0); });
}

void drivePorts(Run& run) {
    for (const uint32_t port : {1u << 16 | 1, 1u << 16 | 2, 1u << 16 | 4}) drivePort(run, port);
    drivePort(run, HAL_PORT_TYPE_MANAGEMENT << 24 | 1u << 16 | 1);
    drivePort(run, HAL_PORT_TYPE_MANAGEMENT << 24 | 2u << 16 | 1);  // leaves the table open
}

// Counters begin anew for the whole slot, once they have all been read.
void clearPorts() {
    for (const uint32_t number : {1u, 2u, 4u}) portInfo[1][number] = 0;
    std::memset(&currstats, 0, sizeof currstats);
    std::memset(&prevstats, 0, sizeof prevstats);
}

// --- Fans and power supplies ---------------------------------------------------------------------

void driveFans(Run& run) {
    HalFanDb fans{};
    HalFanSlotDb slot{};
    uint32_t value = 0;
    run.step("fanDBSetup", [&] { return tables().system.fanDBSetup(&fans); });
    run.step("fanSlotDBSetup", [&] { return tables().system.fanSlotDBSetup(1, &slot); });
    run.step("isPresent", [&] { return fans.isPresent(1); });
    auto* const info = static_cast<HalFanHwInfo*>(hostAllocates(sizeof(HalFanHwInfo) + 32 * 64));
    run.step("fanReadHwInfo", [&] { return slot.fanReadHwInfo(1, info); });
    hostFrees(info);
    run.step("fanReadTemp", [&] { return slot.fanReadTemp(1, &value); });
    run.step("fanReadRpm", [&] { return slot.fanReadRpm(1, 1, &value); });
}

void drivePower(Run& run) {
    HalPowerSupplyDb supplies{};
    HalPSSlotDb slot{};
    uint32_t value = 0;
    run.step("psDBSetup", [&] { return tables().system.psDBSetup(&supplies); });
    run.step("psSlotDBSetup", [&] { return tables().system.psSlotDBSetup(1, &slot); });
    run.step("isPresent", [&] { return supplies.isPresent(1); });
    static HalPowerSupplyHwInfo info;
    run.step("powerSupplyReadHwInfo", [&] { return slot.powerSupplyReadHwInfo(1, &info); });
    run.step("pSReadTemp", [&] { return slot.pSReadTemp(1, &value); });
}

// --- Devices, power over Ethernet, sampling ------------------------------------------------------

void driveDevices(Run& run) {
    for (const char* typeName : {"PSUCTRL", "mouse", "abacus"}) {
        HalDeviceCapability* capability = nullptr;
        run.step("getDeviceCapability", [&] {
            capability = tables().system.getDeviceCapability(typeName);
            return capability != nullptr ? 0 : 1;
        });
        if (capability != nullptr) run.note("  bits " + std::to_string(capability->bits));
        hostFrees(capability);
    }
    for (uint32_t code = HAL_DEVICE_REGISTER; code <= HAL_DEVICE_RESTART + 1; ++code) {
        for (const uint32_t device : {0u, 2u, 3u, 5u}) {
            const HalDeviceCommand command = {.code = code, .device = device, .reply = 7};
            run.step("deviceCommand", [&] { return tables().system.deviceCommand(&command); });
        }
    }
}

// A registration makes the records anew, and with them what the last commands have left.
void clearDevices() {
    pcSimRegisterDevice();
}

void drivePoe(Run& run) {
    const HalCardSlotOps& ops = tables().slots[1].ops;
    const uint32_t port = 1u << 16 | 1;
    run.step("cardPoeGetVersion", [&] { return ops.cardPoeGetVersion(1); });
    run.step("cardPoeSNMPGetSlotInfo", [&] { return ops.cardPoeSNMPGetSlotInfo(1); });
    run.step("cardPoeSNMPGetPortInfo", [&] { return ops.cardPoeSNMPGetPortInfo(port); });
    run.step("cardPoePortInfo", [&] { return ops.cardPoePortInfo(port); });
    run.step("cardPoeGetPortDetails", [&] { return ops.cardPoeGetPortDetails(port, 1); });
}

void driveSampling(Run& run) {
    const HalFamilyOps& family = tables().family;
    sampleFrames = sampleCount = samplePool = 0;
    const HalSamplePort port = {.port = 1, .slot = 1};
    HalSampleCounters counters{};
    run.step("allocSampleBin", [&] { return family.allocSampleBin(); });
    run.step("sflowAddPortsForSample", [&] { return family.sflowAddPortsForSample(0, &port); });
    run.step("sflowGetCntSampleOnPort",
             [&] { return family.sflowGetCntSampleOnPort(1, &counters); });
    run.note("  frames " + std::to_string(counters.frames8));
    run.step("sflowDelPortsForSample", [&] { return family.sflowDelPortsForSample(0, &port); });
}

void nothing() {}

// The devices' records are made anew by whoever asks for them first.
void prepareUnregistered() {
    prepareHost();
    libc().allocation = {.next = 1, .forEver = true};
    platformSystemInit(&tables().system);
    libc().allocation = {};
}

}  // namespace

void prepareHost() {
    static MemoryFile counters;
    if (libc().redirectTo) return;
    counters.write(kCounterTable);
    libc().redirectedPath = "/proc/net/dev";
    libc().redirectTo = counters.path();
    libc().ioctl = answerRequest;
    libc().now = 0x5F5E1234;
    host().attachComponents();
    host().trace.open();
    for (uint16_t vlan = 10; vlan < 14; ++vlan) host().addVlanIf(vlan, vlan);
    for (uint16_t port = 1; port <= 4; ++port) host().addPif(1u << 16 | port, 1, port);
}

void prepareStackable() {
    prepareHost();
    platformSystemInit(&tables().system);
    tables().system.cardDBSetup(&tables().cards);
    tables().system.cardSlotDBSetup(1, &tables().slots[1]);
    tables().cards.ops.familyDBSetup(0, &tables().family);
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = {
        {"System", kAllocation | kSocket | kRequest, prepareHost, driveSystem, clearSystem,
         nullptr},
        {"Cards", kAllocation, prepareChassis, driveCards, runTasks, nullptr},
        {"Ports", kOpen | kRead | kSocket | kRequest, prepareStackable, drivePorts, clearPorts,
         nullptr},
        {"Vlans", kAllocation, prepareStackable, driveVlans, nothing, nullptr},
        {"Fdb", kAllocation, prepareStackable, driveFdb, clearFdb, printFdb},
        {"Ipv4", kAllocation | kTreeInsert, prepareStackable, driveIpv4, clearIpv4, printIpv4},
        {"Ipv6", kAllocation | kTreeInsert, prepareStackable, driveIpv6, clearIpv6, printIpv6},
        {"Multicast", kAllocation | kTreeInsert, prepareStackable, driveMulticast, clearMulticast,
         nullptr},
        {"AccessLists", kAllocation | kTreeInsert, prepareStackable, driveAccessLists,
         clearAccessLists, nullptr},
        {"Fans", 0, prepareStackable, driveFans, nothing, nullptr},
        {"Power", 0, prepareStackable, drivePower, nothing, nullptr},
        {"Devices", kAllocation, prepareUnregistered, driveDevices, clearDevices, nullptr},
        {"Poe", 0, prepareStackable, drivePoe, nothing, nullptr},
        {"Sampling", 0, prepareStackable, driveSampling, nothing, nullptr},
    };
    return all;
}

}  // namespace pcsim::test
