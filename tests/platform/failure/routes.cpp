// The scenarios of the trees: routes of both families with their neighbours, multicast caches.
#include <arpa/inet.h>

#include <cstring>

#include "pcsim/mcast.h"
#include "tests/platform/failure/run.h"
#include "tests/platform/failure/scenarios.h"
#include "tests/support/host.h"

namespace pcsim::test {
namespace {

// A request with its slots in one block of their size.
template <typename Request, typename Slot>
class WithSlots {
public:
    explicit WithSlots(const std::vector<Slot>& slots)
        : words_((sizeof(Request) + slots.size() * sizeof(Slot)) / sizeof(uint32_t)) {
        if (slots.empty()) return;
        std::memcpy(words_.data() + sizeof(Request) / sizeof(uint32_t), slots.data(),
                    slots.size() * sizeof(Slot));
    }
    Request* operator->() { return reinterpret_cast<Request*>(words_.data()); }
    operator const Request*() const { return reinterpret_cast<const Request*>(words_.data()); }

private:
    std::vector<uint32_t> words_;
};

// --- IPv4 ----------------------------------------------------------------------------------------

using Route4 = WithSlots<pcSimIPv4FibReq, pcSimIPv4FibSlot>;

// The route 10.'number'.0.0/16 by way of gateways 192.168.0.'gateway'.
Route4 route4(uint32_t number, const std::vector<uint32_t>& gateways) {
    std::vector<pcSimIPv4FibSlot> slots;
    for (const uint32_t gateway : gateways)
        slots.push_back(
            {.reserved0 = 0, .gateway = htonl(0xC0A80000 | gateway), .vlan = 10, .reserved12 = 0});
    if (slots.empty()) slots.push_back({});
    Route4 request(slots);
    request->vrId = 1;
    request->prefix = htonl(0x0A000000 | number << 16);
    request->mask = htonl(0xFFFF0000);
    request->count = static_cast<int32_t>(gateways.size());
    return request;
}

pcSimIpAdjRec neighbour(uint32_t gateway) {
    pcSimIpAdjRec record{};
    record.vrId = 1;
    record.family = HAL_IP_FAMILY_IPV4;
    record.ipAddr.words[0] = htonl(0xC0A80000 | gateway);
    record.vlan = 10;
    record.port = 1u << 16 | 1;
    return record;
}

// --- IPv6 ----------------------------------------------------------------------------------------

using Route6 = WithSlots<pcSimIPv6FibReq, pcSimIPv6FibSlot>;

Route6 route6(uint32_t number, const std::vector<uint32_t>& gateways) {
    std::vector<pcSimIPv6FibSlot> slots;
    for (const uint32_t gateway : gateways) {
        pcSimIPv6FibSlot slot{};
        slot.gateway.words[3] = htonl(gateway);
        slot.vlan = 10;
        slots.push_back(slot);
    }
    if (slots.empty()) slots.push_back({});
    Route6 request(slots);
    request->vrId = 1;
    request->prefix.words[0] = htonl(0x20010000 | number);
    request->maskLen = 48;
    request->count = static_cast<uint8_t>(gateways.size());
    return request;
}

// --- Multicast -----------------------------------------------------------------------------------

using Cache = WithSlots<HalMcastRequest, HalMcastOutgoing>;

Cache cacheOf(uint32_t router, uint32_t number, uint32_t source,
              const std::vector<HalMcastOutgoing>& outgoing) {
    Cache request(outgoing);
    request->key = {.vr = router,
                    .incomingVlan = 10,
                    .reserved8 = 0,
                    .group = htonl(0xE1000000 | number),
                    .source = htonl(source)};
    request->outgoingCount = static_cast<int32_t>(outgoing.size());
    return request;
}

constexpr HalMcastOutgoing to(uint32_t vlan, uint16_t port) {
    return {.vlanInstance = vlan, .port = port, .slot = 1, .portWord = 0, .vlanWord = 0};
}

}  // namespace

void driveIpv4(Run& run) {
    const HalFamilyOps& family = tables().family;
    for (const uint32_t gateway : {1u, 2u}) {
        const pcSimIpAdjRec record = neighbour(gateway);
        run.step("ipAdjAdd", [&] { return family.ipAdjAdd(&record); });
    }
    for (const uint32_t number : {1u, 2u, 3u}) {
        const Route4 route = route4(number, {1, 2, number + 2});
        run.step("ipv4FibAddEntry", [&] { return family.ipv4FibAddEntry(route); });
    }
    const Route4 more = route4(1, {1, 7, 8});
    run.step("ipv4FibAddEntry", [&] { return family.ipv4FibAddEntry(more); });
    const Route4 other = route4(2, {2, 9});
    run.step("ipv4FibReplaceEntry", [&] { return family.ipv4FibReplaceEntry(other); });
    const Route4 fewer = route4(3, {1});
    run.step("ipv4FibDeleteEntry",
             [&] { return static_cast<int32_t>(family.ipv4FibDeleteEntry(fewer)); });
    run.step("ipv4FibDump", [&] { return static_cast<int32_t>(family.ipv4FibDump(nullptr)); });
    run.step("ipAdjDump", [&] { return static_cast<int32_t>(family.ipAdjDump(nullptr)); });
}

void clearIpv4() {
    const HalFamilyOps& family = tables().family;
    for (const uint32_t gateway : {1u, 2u}) {
        const pcSimIpAdjRec record = neighbour(gateway);
        family.ipAdjRemove(&record);
    }
    Route4 all = route4(0, {});
    all->prefix = all->mask = 0;
    family.ipv4FibFlush(all);
}

void printIpv4() {
    tables().family.ipv4FibDump(nullptr);
    tables().family.ipAdjDump(nullptr);
}

void driveIpv6(Run& run) {
    const HalFamilyOps& family = tables().family;
    for (const uint32_t number : {1u, 2u, 3u}) {
        const Route6 route = route6(number, {1, 2, number + 2});
        run.step("ipv6FibAddEntry", [&] { return family.ipv6FibAddEntry(route); });
    }
    const Route6 more = route6(1, {1, 7, 8});
    run.step("ipv6FibAddEntry", [&] { return family.ipv6FibAddEntry(more); });
    const Route6 other = route6(2, {2, 9});
    run.step("ipv6FibReplaceEntry", [&] { return family.ipv6FibReplaceEntry(other); });
    const Route6 fewer = route6(3, {1});
    run.step("ipv6FibDeleteEntry",
             [&] { return static_cast<int32_t>(family.ipv6FibDeleteEntry(fewer)); });
    run.step("ipv6FibDump", [&] { return static_cast<int32_t>(family.ipv6FibDump(nullptr)); });
}

// A route at a time: what a flush takes depends on the gateways.
void clearIpv6() {
    for (const uint32_t number : {1u, 2u, 3u})
        tables().family.ipv6FibDeleteEntry(route6(number, {}));
}

void printIpv6() {
    tables().family.ipv6FibDump(nullptr);
}

void driveMulticast(Run& run) {
    const HalFamilyOps& family = tables().family;
    for (const uint32_t router : {0u, 2u}) {
        for (const uint32_t number : {1u, 2u}) {
            const Cache request = cacheOf(router, number, 1, {to(11, 1), to(11, 2), to(12, 1)});
            run.step("ipv4McHwCacheAdd", [&] { return family.ipv4McHwCacheAdd(request); });
        }
        const Cache more = cacheOf(router, 1, 1, {to(12, 3), to(13, 1)});
        run.step("ipv4McHwCacheOifPortAdd", [&] { return family.ipv4McHwCacheOifPortAdd(more); });
        const Cache fewer = cacheOf(router, 1, 1, {to(11, 2)});
        run.step("ipv4McHwCacheOifPortDel", [&] { return family.ipv4McHwCacheOifPortDel(fewer); });
        HalMcastStats stats{};
        stats.key = static_cast<const HalMcastRequest*>(more)->key;
        run.step("ipv4McHwCacheGetStats", [&] { return family.ipv4McHwCacheGetStats(&stats); });
    }
    run.step("dumpHalMcDb", [&] { return family.dumpHalMcDb(nullptr); });
    const Cache gone = cacheOf(0, 2, 1, {});
    run.step("ipv4McHwCacheDel", [&] { return family.ipv4McHwCacheDel(gone); });
}

// A flush of all leaves the ports that an add has made and then not used; the set-up doesn't.
void clearMulticast() {
    pcSimHalIPv4McDbInit();
}

}  // namespace pcsim::test
