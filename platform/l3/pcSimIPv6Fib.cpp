// The IPv6 family of the route tables: keys with a prefix length, next hops without adjacencies.
#include "platform/l3/pcSimIPv6Fib.h"

#include <arpa/inet.h>
#include <string.h>

#include "platform/base/order.h"
#include "platform/l3/fibTable.h"

namespace {

struct IPv6Family {
    using Route = pcSimIPv6FibRoute;
    using NextHop = pcSimIPv6FibNextHop;
    using Request = pcSimIPv6FibReq;
    using Slot = pcSimIPv6FibSlot;
    using Address = HalIpAddress;

    static constexpr uint32_t kHostMask = 128;
    static constexpr HalTreeCompareFn* compare = pcSimPCFamIPv6FibEntryCmpFunc;

    static HalTreeRoot& root() noexcept { return gIPv6FibTable; }
    static Route* allocateRoute() noexcept { return pcSimIPv6FibRouteAlloc(); }

    static Route* find(const Request& request) noexcept {
        const uint32_t* const words = request.prefix.words;
        return pcSimIPv6FibFind(request.vrId, words[0], words[1], words[2], words[3],
                                request.maskLen);
    }

    static void setKey(Route& route, uint32_t vrId, const Address& prefix,
                       uint32_t maskLen) noexcept {
        route.vrId = vrId;
        route.prefix = prefix;
        route.maskLen = maskLen;
    }

    static uint32_t mask(const Request& request) noexcept { return request.maskLen; }

    static bool same(const Address& a, const Address& b) noexcept {
        return memcmp(&a, &b, sizeof a) == 0;
    }

    // There are no IPv6 adjacencies.
    static pcsim::Standing attach(NextHop*) noexcept { return pcsim::Standing::kOrdinary; }
    static void detach(NextHop*, pcsim::Standing) noexcept {}

    static bool flushes(const Request& filter, const Address& gateway) noexcept;
    static void dumpHeader(const pcSimDumpSink* sink) noexcept;
    static void dumpRows(const pcSimDumpSink* sink, const Route* route) noexcept;
};

// Whole words first, then the top bits of the one after. A length above 128 means all bits.
bool IPv6Family::flushes(const Request& filter, const Address& gateway) noexcept {
    const uint32_t bits = filter.maskLen < kHostMask ? filter.maskLen : kHostMask;
    const uint32_t words = bits / 32;
    if (memcmp(&gateway, &filter.prefix, words * sizeof(uint32_t)) != 0) return false;
    const uint32_t rest = bits % 32;
    if (rest == 0) return true;
    return ntohl(gateway.words[words] ^ filter.prefix.words[words]) >> (32 - rest) == 0;
}

void IPv6Family::dumpHeader(const pcSimDumpSink* sink) noexcept {
    DUMP_LINE(sink, "                            HAL IPv6 FIB: ");
    DUMP_PRINT(sink, "%-4s %-44s %-8s %-17s %s\n", "VrId", "Prefix/MaskLen", "Vlan", "MAC", "Port");
    DUMP_PRINT(sink, "     %s\n", "Gateway");
    DUMP_LINE(sink,
              "============================================"
              "============================================");
}

// The columns "MAC" and "Port" stay empty.
void IPv6Family::dumpRows(const pcSimDumpSink* sink, const Route* route) noexcept {
    if (route->nextHops == nullptr) return;
    char text[40];
    inet_ntop(AF_INET6, &route->prefix, text, sizeof text);
    for (const NextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
        char gateway[40];
        inet_ntop(AF_INET6, &hop->gateway, gateway, sizeof gateway);
        DUMP_PRINT(sink, "%4d %39s/%3d %08d \n", route->vrId, text, route->maskLen, hop->vlan);
        DUMP_PRINT(sink, "     %s \n", gateway);
    }
}

using Table = pcsim::FibTable<IPv6Family>;

// As memcmp, without the call: every step down the tree compares.
int32_t compareBytes(const HalIpAddress& a, const HalIpAddress& b) noexcept {
    for (size_t i = 0; i < sizeof a / sizeof *a.words; ++i)
        if (a.words[i] != b.words[i]) return pcsim::order(ntohl(a.words[i]), ntohl(b.words[i]));
    return 0;
}

}  // namespace

extern "C" {

HalTreeRoot gIPv6FibTable;

int32_t pcSimPCFamIPv6FibAddEntry(const pcSimIPv6FibReq* request) noexcept {
    return Table::add(request);
}

uint32_t pcSimPCFamIPv6FibDeleteEntry(const pcSimIPv6FibReq* request) noexcept {
    return Table::remove(request);
}

int32_t pcSimPCFamIPv6FibReplaceEntry(const pcSimIPv6FibReq* request) noexcept {
    return Table::replace(request);
}

uint32_t pcSimPCFamIPv6FibFlush(const pcSimIPv6FibReq* filter) noexcept {
    return Table::flush(filter);
}

uint32_t pcSimPCFamIPv6FibDump(const pcSimDumpSink* sink) noexcept {
    return Table::dump(sink);
}

PCSIM_IPV6_FIB_STUBS(PCSIM_DEFINE_STUB)

int32_t pcSimPCFamIPv6FibEntryCmpFunc(const HalTreeNode* a, const HalTreeNode* b) noexcept {
    const auto& routeA = *reinterpret_cast<const pcSimIPv6FibRoute*>(a);
    const auto& routeB = *reinterpret_cast<const pcSimIPv6FibRoute*>(b);
    if (routeA.vrId != routeB.vrId) return routeA.vrId > routeB.vrId ? 1 : -1;
    if (routeA.maskLen != routeB.maskLen) return routeA.maskLen < routeB.maskLen ? 1 : -1;
    return compareBytes(routeA.prefix, routeB.prefix);
}

pcSimIPv6FibRoute* pcSimIPv6FibFind(uint32_t vrId, uint32_t prefix0, uint32_t prefix1,
                                    uint32_t prefix2, uint32_t prefix3, uint32_t maskLen) noexcept {
    pcSimIPv6FibRoute key;
    Table::clear(key);
    IPv6Family::setKey(key, vrId, {.words = {prefix0, prefix1, prefix2, prefix3}}, maskLen);
    return reinterpret_cast<pcSimIPv6FibRoute*>(
        findNode(&key.node, gIPv6FibTable, pcSimPCFamIPv6FibEntryCmpFunc));
}

pcSimIPv6FibRoute* pcSimIPv6FibRouteAlloc() noexcept {
    auto* const route = static_cast<pcSimIPv6FibRoute*>(malloc(sizeof(pcSimIPv6FibRoute)));
    if (route == nullptr) return nullptr;
    Table::clear(*route);
    IPv6Family::setKey(*route, 0, {}, 0);
    return route;
}

pcSimIPv6FibRoute* pcSimIPv6FibDirectRtLookup(uint32_t vrId, uint32_t address0, uint32_t address1,
                                              uint32_t address2, uint32_t address3) noexcept {
    return pcSimIPv6FibFind(vrId, address0, address1, address2, address3, IPv6Family::kHostMask);
}

pcSimIPv6FibRoute* pcSimIPv6FibDirectRtCreate(uint32_t vrId, uint32_t address0, uint32_t address1,
                                              uint32_t address2, uint32_t address3,
                                              uint32_t vlan) noexcept {
    return Table::createHostRoute(vrId, {.words = {address0, address1, address2, address3}}, vlan);
}

void pcSimIPv6FibDirectRtFree(pcSimIPv6FibRoute* route) noexcept {
    Table::freeHostRoute(route);
}
}
