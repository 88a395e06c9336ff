// The scenarios of layer 2 and of access lists.
#include <cstring>

#include "pcsim/acl.h"
#include "pcsim/l2.h"
#include "tests/platform/failure/run.h"
#include "tests/platform/failure/scenarios.h"
#include "tests/support/host.h"

namespace pcsim::test {
namespace {

// A record of the host with the handle that the platform makes for it.
template <typename Record>
struct Handled {
    Record record{};
    HalHwHandle* handle = nullptr;

    Handled() { record.hwHandle = &handle; }
    template <typename Create>
    int32_t create(Run& run, Create* operation) {
        const int32_t result = operation(&record, &handle);
        run.note(handle != nullptr ? "  a handle" : "  no handle");
        return result;
    }
};

// Nothing may be asked of the table behind a clean-up.
bool fdbIsUp;

HalFdbRecord learned(uint8_t last) {
    HalFdbRecord record{};
    record.vlanInstance = 10;
    record.mac[5] = last;
    record.port = 1u << 16 | 1;
    return record;
}

// --- Access lists --------------------------------------------------------------------------------

constexpr uint32_t kPorts = 24;  // more than a list walks without an index
constexpr const char* kLists[] = {"counted", "plain"};

HalAclListRequest requestOf(const char* name, uint16_t counters) {
    HalAclListRequest request{};
    std::strncpy(request.name, name, sizeof request.name - 1);
    request.ruleCount = 1;
    request.counterCount = counters;
    request.rules = static_cast<HalAclRule*>(hostAllocates(sizeof(HalAclRule)));
    std::strcpy(request.rules->name, "rule");
    request.rules->length = sizeof(HalAclRule) << 6;
    return request;
}

HalAclBindRequest bindingOf(const char* name, uint32_t port, uint8_t slot) {
    HalAclBindRequest request{};
    std::strncpy(request.name, name, sizeof request.name - 1);
    request.vlan = 10;
    request.port = 1u << 16 | port;
    request.slot = slot;
    return request;
}

void bindAll(Run& run, const char* name, uint8_t slot) {
    for (uint32_t i = 0; i < kPorts; ++i) {
        const HalAclBindRequest request = bindingOf(name, (i * 7) % kPorts + 1, slot);
        run.step("ipv4AclConfig", [&] { return tables().family.ipv4AclConfig(&request); });
    }
}

void clearCounters(Run& run, uint32_t port) {
    uint32_t words[(sizeof(HalAclCounterRequest) + sizeof(HalAclCounterEntry)) / 4] = {};
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(words);
    request->vlan = 10;
    request->port = 1u << 16 | port;
    request->entryCount = 1;
    request->entries[0].counter = 2;
    run.step("ipv4AclClearCounter", [&] { return tables().family.ipv4AclClearCounter(request); });
}

}  // namespace

void driveVlans(Run& run) {
    const HalFamilyOps& family = tables().family;
    Handled<HalVlanIf> vlan;
    Handled<HalPif> port, trunk;
    Handled<HalVpif> member;
    vlan.record.vlanId = 10;
    member.record.pif = &port.record;
    member.record.vlanIf = &vlan.record;
    run.step("vlanIfCreate", [&] { return vlan.create(run, family.vlanIfCreate); });
    run.step("cardPifCreate", [&] { return port.create(run, family.cardPifCreate); });
    run.step("vpifCreate", [&] { return member.create(run, family.vpifCreate); });
    run.step("trunkCreate", [&] { return trunk.create(run, family.trunkCreate); });
    run.step("trunkDelete", [&] { return family.trunkDelete(&trunk.record, &trunk.handle); });
    run.step("vpifDelete", [&] { return family.vpifDelete(&member.record, &member.handle); });
    run.step("cardPifDelete", [&] { return family.cardPifDelete(&port.record, &port.handle); });
    run.step("vlanIfDelete", [&] { return family.vlanIfDelete(&vlan.record, &vlan.handle); });
}

void driveFdb(Run& run) {
    const HalFamilyOps& family = tables().family;
    HalFdbEntry* table = nullptr;
    run.step("fdbInit", [&] { return family.fdbInit(&table); });
    fdbIsUp = true;
    for (uint8_t i = 1; i <= 3; ++i) {
        const HalFdbRecord record = learned(i);
        HalFdbKey key{.vlanInstance = record.vlanInstance, .mac = {}};
        std::memcpy(key.mac, record.mac, sizeof key.mac);
        uint32_t handle = 0;
        HalFdbEntry* slot = nullptr;
        run.step("fdbAllocEntry", [&] { return family.fdbAllocEntry(&handle, &slot, &key); });
        run.step("fdbAddEntry", [&] { return family.fdbAddEntry(nullptr, i, slot, &record); });
        run.step("fdbMacLookup",
                 [&] { return family.fdbMacLookup(&handle, record.mac, host().vlanIfs[10]); });
        run.note("  handle " + std::to_string(handle));
    }
    run.step("fdbDump", [&] { return family.fdbDump(nullptr); });
}

void clearFdb() {
    fdbIsUp = false;
    tables().family.fdbCleanup();
}

void printFdb() {
    if (fdbIsUp) tables().family.fdbDump(nullptr);
}

void driveAccessLists(Run& run) {
    const HalFamilyOps& family = tables().family;
    for (const char* name : kLists) {
        const HalAclListRequest request = requestOf(name, name == kLists[0] ? 4 : 0);
        run.step("ipv4AclAdd", [&] { return family.ipv4AclAdd(&request); });
    }
    bindAll(run, kLists[0], 0);
    bindAll(run, kLists[1], 1);
    clearCounters(run, 1);
    const HalAclListRequest difference = requestOf(kLists[0], 4);
    run.step("ipv4AclRefreshDiff", [&] { return family.ipv4AclRefreshDiff(&difference); });
    const HalAclListRequest fresh = requestOf(kLists[0], 6);
    run.step("ipv4AclRefresh", [&] { return family.ipv4AclRefresh(&fresh); });
    // The rules of a list that the platform has are printed, those of another stay the host's.
    if (!run.lines().back().starts_with("  prints")) hostFrees(fresh.rules);
    bindAll(run, kLists[1], 0);
    clearCounters(run, 2);
    const HalAclBindRequest gone = bindingOf(kLists[1], 1, 0);
    run.step("ipv4AclUnconfig", [&] { return family.ipv4AclUnconfig(&gone); });
}

void clearAccessLists() {
    const HalFamilyOps& family = tables().family;
    for (uint32_t i = 1; i <= kPorts; ++i) {
        for (const uint8_t slot : {uint8_t{0}, uint8_t{1}}) {
            const HalAclBindRequest request = bindingOf("any", i, slot);
            family.ipv4AclUnconfig(&request);
        }
    }
    for (const char* name : kLists) {
        HalAclDeleteRequest request{};
        std::strcpy(request.name, name);
        family.ipv4AclDel(&request);
    }
}

}  // namespace pcsim::test
